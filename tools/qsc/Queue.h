// SPDX-License-Identifier: Apache-2.0
// Sending a request through the service daemon instead of calling the library.
#pragma once

#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Finds the queue of --queue: an identifier in decimal, or a key as 0x. False: there is none, which has been
/// said.
[[nodiscard]] bool find_queue(const char* text, u32& queue);

/// Sends a request and puts the answer into its object. False: it did not come back, which has been said.
[[nodiscard]] bool dispatch_by_queue(const Options& options, const char* path, u32 operation,
                                     json_object* object, u32& code);

} // namespace qsc
