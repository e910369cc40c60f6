// SPDX-License-Identifier: Apache-2.0
// The service step: init scripts run with the action that a request names.
#pragma once

#include <span>
#include <string_view>

#include "core/Request.h"

namespace qsc
{

/// Takes the request's "action". EFAULT: missing, not a text, empty, or not safe in a shell command.
[[nodiscard]] u32 take_action(json_object* request, std::string_view& action);

/// Runs an init script with an action that take_action() let pass.
[[nodiscard]] u32 run_init_script(const char* script, std::string_view action);

/// Runs init scripts in order with the request's action, up to the first that fails, and ends the service.
u32 serve_service(json_object* request, std::span<const char* const> scripts);

} // namespace qsc
