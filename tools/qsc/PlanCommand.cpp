// SPDX-License-Identifier: Apache-2.0
// plan and apply: changes that are seen before they are made, and made as one.
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include <json-c/json.h>

#include "base/Text.h"
#include "include/qsc_apply.h"
#include "tools/client/qsc_client.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/ChangeLines.h"
#include "tools/qsc/Commands.h"
#include "tools/qsc/DaemonSocket.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/PlanText.h"
#include "tools/qsc/Printable.h"
#include "tools/qsc/Report.h"
#include "tools/queue/Payload.h"

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

/// Whether somebody has to confirm, or the device has to judge.
bool wants_window(const Options& options)
{
    return options.confirm != 0 || options.check_count != 0;
}

void show(const Options& options, json_object* report)
{
    if (options.as_json) {
        print_json(report);
    } else if (options.quiet) {
        std::printf("%s\n", json_object_get_string(json_object_object_get(report, "hash")));
    } else {
        print_changes(report);
    }
}

/// Has a running daemon do it; `name` is that of the parameter that says what.
ExitCode call_service(const Options& options, const char* method, const char* name, JsonRef subject,
                      bool sets_only)
{
    JsonRef params = apply_options(options, sets_only);
    JsonRef checks{json_object_new_array()};
    for (u32 i = 0; i < options.check_count; ++i) {
        json_object_array_add(checks.get(), json_object_new_string(options.checks[i]));
    }
    const bool is_made = params != nullptr && add(params.get(), name, std::move(subject)) &&
                         (options.confirm == 0 ||
                          add(params.get(), "confirm", JsonRef{json_object_new_int64(options.confirm)})) &&
                         (options.check_count == 0 || add(params.get(), "checks", std::move(checks))) &&
                         (options.retries == 0 ||
                          add(params.get(), "retries", JsonRef{json_object_new_int64(options.retries)}));
    if (!is_made) {
        return out_of_memory();
    }
    const JsonRef answer = call_daemon(options.socket != nullptr ? options.socket : QSC_CLIENT_SOCKET, method,
                                       std::move(params));
    if (answer == nullptr) {
        return wants_window(options) ? failure("a change that is to be confirmed needs a running qscd")
                                     : kFailed;
    }
    if (say_error(answer.get())) {
        return kFailed;
    }
    json_object* const result = queue::member_of(answer.get(), "result");
    json_object* const accepted = queue::member_of(result, "accepted");
    json_object* const plan = queue::member_of(result, "plan");
    json_object* const report = plan != nullptr ? plan : queue::member_of(result, "report");
    if (options.as_json && plan == nullptr) {
        print_json(result);
    } else if (accepted == nullptr) {
        show(options, report);
    } else if (!options.quiet) {
        std::fputs("accepted ", stdout);
        print_escaped(or_empty(json_object_get_string(accepted)));
        json_object* const outcome = queue::member_of(report, "outcome");
        std::printf("%s%s\n", outcome != nullptr ? ", and " : "", or_empty(json_object_get_string(outcome)));
    }
    return kDone;
}

/// Has the library plan, make or take back changes: call(options, report).
template <typename Call>
ExitCode call_library(const Options& options, bool sets_only, Call call)
{
    if (options.by_queue) {
        return wrong_usage("plan, apply and rollback are not sent through a queue");
    }
    const JsonRef wanted = apply_options(options, sets_only);
    if (wanted == nullptr) {
        return out_of_memory();
    }
    json_object* answer = nullptr;
    const u32 code = call(wanted.get(), &answer);
    const JsonRef report{answer};
    if (report != nullptr) {
        show(options, report.get());
    }
    return code == 0 ? kDone : failure("%s", QSysCmdHal_LastError());
}

/// Whether it is the daemon's to do.
bool is_for_daemon(const Options& options)
{
    return options.socket != nullptr || wants_window(options);
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
    const bool sets_only = !words.empty() && !options.apply;
    if (result == kDone && options.socket != nullptr) {
        return call_service(options, "plan", "changes", JsonRef{json_object_get(changes.get())}, sets_only);
    }
    return result != kDone ? result
                           : call_library(options, sets_only, [&](json_object* wanted, json_object** report) {
                                 return QSysCmdHal_Plan(changes.get(), wanted, report);
                             });
}

ExitCode apply_changes(const Options& options, Words)
{
    const JsonRef changes{json_object_new_array()};
    const ExitCode result = read_change_lines(options, changes.get());
    if (result == kDone && is_for_daemon(options)) {
        return call_service(options, "apply", "changes", JsonRef{json_object_get(changes.get())}, false);
    }
    return result != kDone ? result
                           : call_library(options, false, [&](json_object* wanted, json_object** report) {
                                 return QSysCmdHal_Apply(changes.get(), wanted, report);
                             });
}

ExitCode rollback(const Options& options, Words words)
{
    if (is_for_daemon(options)) {
        return call_service(options, "rollback", "undo", JsonRef{json_object_new_string(words[0])}, false);
    }
    return call_library(options, false, [&](json_object* wanted, json_object** report) {
        return QSysCmdHal_Rollback(words[0], wanted, report);
    });
}

} // namespace qsc
