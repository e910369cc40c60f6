// SPDX-License-Identifier: Apache-2.0
// Sending requests, to the library or through the daemon.
#pragma once

#include "tools/qsc/Lookup.h"
#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Has a request served. False: it never got there, which has been said.
[[nodiscard]] bool dispatch(const Options& options, const Target& target, u32 operation, json_object* object,
                            u32& code);

/// Says why a request was refused: in the library's words, with the step if it was not a get or set, or by
/// the code if the library has none. `parameter` is the one to blame, or null. @return kFailed
ExitCode refused(const Target& target, const char* step, const char* parameter, u32 code);

/// Has a request served and says what failed, with the parameter if the handlers named it.
ExitCode send(const Options& options, const Target& target, const char* step, u32 operation,
              json_object* object);

} // namespace qsc
