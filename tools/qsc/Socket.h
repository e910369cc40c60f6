// SPDX-License-Identifier: Apache-2.0
// Sending a request through the service daemon's socket instead of calling the library.
#pragma once

#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Sends a request and puts the answer into its object. All of a process go over one connection. False: it
/// did not come back, which has been said.
[[nodiscard]] bool dispatch_by_socket(const Options& options, const char* path, u32 operation,
                                      json_object* object, u32& code);

/// Why the daemon's library refused the last request, in its words; empty: it did not.
[[nodiscard]] const char* daemon_refusal();

} // namespace qsc
