// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Changes.h"

#include "tools/qsc/Answers.h"
#include "tools/qsc/Apply.h"
#include "tools/qsc/Json.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Requests.h"

namespace qsc
{

namespace
{

ExitCode check_all(const Options& options, json_object* plan)
{
    // The daemon judges what it is sent; here its configuration may not even be readable.
    if (options.by_queue || options.socket != nullptr) {
        return kDone;
    }
    return for_each_in(plan, [&](const char* path, json_object* request) {
        Target target;
        if (!find_object(path, target)) {
            return kFailed;
        }
        const u32 code = QSysCmdHal_Check(target.path.c_str(), request, options.commander);
        return code == 0 ? kDone : refused(target, "set", failed_parameter(target.object, request), code);
    });
}

ExitCode set_all(const Options& options, json_object* plan)
{
    Text<1022> done;
    return for_each_in(plan, [&](const char* path, json_object* request) {
        Target target;
        if (!find_object(path, target) || send(options, target, "set", QSC_OPER_SET, request) != kDone) {
            if (!done.view().empty()) {
                note("set before that: %s", done.c_str());
            }
            return kFailed;
        }
        done.append(done.view().empty() ? "" : ", ").append(path);
        return kDone;
    });
}

} // namespace

ExitCode make_changes(const Options& options, json_object* plan)
{
    ExitCode result = check_all(options, plan);
    if (result == kDone) {
        result = set_all(options, plan);
    }
    if (options.as_json) {
        print_plan(plan, json_object_object_length(plan) == 1);
    }
    return result == kDone && options.apply ? apply(options, plan) : result;
}

} // namespace qsc
