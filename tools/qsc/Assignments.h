// SPDX-License-Identifier: Apache-2.0
// The words of a set: PATH NAME=VALUE... PATH NAME=VALUE..., or PATH.NAME=VALUE.
#pragma once

#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"

struct json_object;

namespace qsc
{

/// Reads all words into a plan: an object with the requests by their paths. What it ends with if they are
/// wrong has been said.
[[nodiscard]] ExitCode read_assignments(Words words, json_object* plan);

/// Reads one assignment of an object's parameter into its request. What it ends with if it is wrong has been
/// said.
[[nodiscard]] ExitCode read_assignment(const Target& target, const char* word, json_object* request);

/// Reads a path that has to be one object's. What it ends with if it is not has been said.
[[nodiscard]] ExitCode read_object(const char* text, Target& target);

} // namespace qsc
