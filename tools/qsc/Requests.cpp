// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Requests.h"

#include "base/Text.h"
#include "tools/qsc/Answers.h"
#include "tools/qsc/Queue.h"
#include "tools/qsc/Report.h"
#include "tools/qsc/Socket.h"

namespace qsc
{

bool dispatch(const Options& options, const Target& target, u32 operation, json_object* object, u32& code)
{
    if (options.by_queue) {
        return dispatch_by_queue(options, target.path.c_str(), operation, object, code);
    }
    if (options.socket != nullptr) {
        return dispatch_by_socket(options, target.path.c_str(), operation, object, code);
    }
    code = target.object.entry->dispatcher(target.path.c_str(), object, operation, options.commander, 0, 0);
    return true;
}

ExitCode refused(const Target& target, const char* step, const char* parameter, u32 code)
{
    const std::string_view what{step};
    const bool is_plain = what == "get" || what == "set";
    const char* const sentence = *daemon_refusal() != '\0' ? daemon_refusal() : QSysCmdHal_LastError();
    return *sentence != '\0'
               ? failure("%s%s%s", is_plain ? "" : step, is_plain ? "" : ": ", sentence)
               : failure("%s: %s%s%s failed: code %u (%s)", target.path.c_str(), step,
                         parameter != nullptr ? " of " : "", or_empty(parameter), code, meaning_of(code));
}

ExitCode send(const Options& options, const Target& target, const char* step, u32 operation,
              json_object* object)
{
    u32 code = 0;
    if (!dispatch(options, target, operation, object, code)) {
        return kFailed;
    }
    return code == 0 ? kDone : refused(target, step, failed_parameter(target.object, object), code);
}

} // namespace qsc
