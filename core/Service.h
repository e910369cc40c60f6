// SPDX-License-Identifier: Apache-2.0
// The service step: init scripts run with the action that a request names.
#pragma once

#include <string_view>

#include "core/Request.h"

namespace qsc
{

/// Takes the request's "action". EFAULT: missing, not a text, empty, or not safe in a shell command.
[[nodiscard]] u32 take_action(json_object* request, std::string_view& action);

/// Runs an init script with an action that take_action() let pass.
[[nodiscard]] u32 run_init_script(std::string_view script, std::string_view action);

/// The same without a shell, however long it takes.
[[nodiscard]] u32 start_init_script(std::string_view script, std::string_view action);

/// Ends a service with the result of run(action), for an action that take_action() let pass.
template <typename Run>
u32 serve_action(json_object* request, Run run)
{
    if (!is_object(request)) {
        return EINVAL;
    }
    std::string_view action;
    const u32 code = take_action(request, action);
    return finish(request, code != 0 ? code : run(action));
}

/// Runs init scripts, with blanks between their names, in order with the request's action, up to the first
/// that fails, and ends the service. "firewall" among them is checked first: a rule set that does not load
/// would leave the router open.
u32 serve_scripts(json_object* request, const char* scripts);

/// The same by commands of a shell, for the subtrees whose commands are part of their contract.
u32 serve_shell_scripts(json_object* request, const char* scripts);

} // namespace qsc
