// SPDX-License-Identifier: Apache-2.0
// The lines of changes that are planned, or made as one: PATH.NAME=VALUE..., "add LIST NAME=VALUE...",
// "delete PATH...".
#pragma once

#include "tools/qsc/Commands.h"

struct json_object;

namespace qsc
{

/// Reads the words of a set, an add or a delete into an array of changes, as the library takes them. What it
/// ends with if they are wrong has been said.
[[nodiscard]] ExitCode read_change(const Options& options, const char* command, Words words,
                                   json_object* changes);

/// Reads all lines of standard input, likewise. Sets of one object that follow each other are one change.
[[nodiscard]] ExitCode read_change_lines(const Options& options, json_object* changes);

} // namespace qsc
