// SPDX-License-Identifier: Apache-2.0
// This process's connection to the service daemon.
#pragma once

#include "base/Json.h"

namespace qsc
{

/// Sends a request, on the connection that there is or on a new one, and answers the daemon's answer; null:
/// none came, which has been said. Params are taken over.
[[nodiscard]] JsonRef call_daemon(const char* socket, const char* method, JsonRef params);

/// Waits for the next message that is no answer; null: the connection has ended.
[[nodiscard]] JsonRef next_event();

/// Says an answer's error. False: it has none.
[[nodiscard]] bool say_error(json_object* answer);

} // namespace qsc
