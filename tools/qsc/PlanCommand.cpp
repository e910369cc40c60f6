// SPDX-License-Identifier: Apache-2.0
// plan and apply: changes that are seen before they are made, and made as one.
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <json-c/json.h>

#include "base/Text.h"
#include "include/qsc_apply.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/ChangeLines.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/PlanText.h"
#include "tools/qsc/Printable.h"
#include "tools/qsc/Report.h"

namespace qsc
{

namespace
{

/// The options of a request to the library; null: no memory.
JsonRef apply_options(const Options& options, bool sets_only)
{
    JsonRef made{json_object_new_object()};
    const bool is_made =
        add(made.get(), "commander", JsonRef{json_object_new_int64(options.commander)}) &&
        (options.hash == nullptr || add(made.get(), "hash", JsonRef{json_object_new_string(options.hash)})) &&
        (options.id == nullptr || add(made.get(), "id", JsonRef{json_object_new_string(options.id)})) &&
        (!sets_only || add(made.get(), "sets_only", JsonRef{json_object_new_boolean(1)}));
    return is_made ? std::move(made) : JsonRef{};
}

/// Has the library plan, make or take back changes: call(options, report).
template <typename Call>
ExitCode call_library(const Options& options, bool sets_only, Call call)
{
    if (options.by_queue || options.socket != nullptr) {
        return wrong_usage("plan, apply and rollback are not sent through a qscd");
    }
    const JsonRef wanted = apply_options(options, sets_only);
    if (wanted == nullptr) {
        return out_of_memory();
    }
    json_object* answer = nullptr;
    const u32 code = call(wanted.get(), &answer);
    const JsonRef report{answer};
    if (options.as_json && report != nullptr) {
        print_json(report.get());
    } else if (report != nullptr && options.quiet) {
        std::printf("%s\n", json_object_get_string(json_object_object_get(report.get(), "hash")));
    } else if (report != nullptr) {
        print_changes(report.get());
    }
    return code == 0 ? kDone : failure("%s", QSysCmdHal_LastError());
}

} // namespace

ExitCode plan(const Options& options, Words words)
{
    const JsonRef changes{json_object_new_array()};
    const std::string_view command{words.empty() ? "" : words[0]};
    if (!words.empty() && command != "set" && command != "add" && command != "delete") {
        return wrong_usage("plan takes set, add or delete and its words, or lines from standard input");
    }
    const ExitCode result = words.empty() ? read_change_lines(options, changes.get())
                                          : read_change(options, words[0], words.subspan(1), changes.get());
    return result != kDone ? result
                           : call_library(options, !words.empty() && !options.apply,
                                          [&](json_object* wanted, json_object** report) {
                                              return QSysCmdHal_Plan(changes.get(), wanted, report);
                                          });
}

ExitCode apply_changes(const Options& options, Words)
{
    const JsonRef changes{json_object_new_array()};
    const ExitCode result = read_change_lines(options, changes.get());
    return result != kDone ? result
                           : call_library(options, false, [&](json_object* wanted, json_object** report) {
                                 return QSysCmdHal_Apply(changes.get(), wanted, report);
                             });
}

ExitCode rollback(const Options& options, Words words)
{
    return call_library(options, false, [&](json_object* wanted, json_object** report) {
        return QSysCmdHal_Rollback(words[0], wanted, report);
    });
}

} // namespace qsc
