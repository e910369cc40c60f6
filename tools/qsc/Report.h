// SPDX-License-Identifier: Apache-2.0
// What the program says when something goes wrong: one sentence on standard error.
#pragma once

#include "base/Types.h"
#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Says what was wrong with the command line. @return kUsage
[[gnu::format(printf, 1, 2)]] ExitCode wrong_usage(const char* format, ...);

/// Says what failed. @return kFailed
[[gnu::format(printf, 1, 2)]] ExitCode failure(const char* format, ...);

/// Says something that is good to know.
[[gnu::format(printf, 1, 2)]] void note(const char* format, ...);

/// What a result code means, for people.
const char* meaning_of(u32 code);

} // namespace qsc
