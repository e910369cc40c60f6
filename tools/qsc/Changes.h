// SPDX-License-Identifier: Apache-2.0
// Making changes to objects: checked as a whole, then set, then applied if that is wanted.
#pragma once

#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"
#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Sets what a plan, an object with the requests by their paths, says. All of it is checked before the first
/// is set; the first failure ends it. With --apply, commits and services follow.
ExitCode make_changes(const Options& options, json_object* plan);

/// Puts the request that adds an instance to a list into a plan: LIST NAME=VALUE... It gets a number that
/// none has, nor any of the paths that are members of `taken`. What it ends with if that cannot be done has
/// been said.
[[nodiscard]] ExitCode plan_addition(const Options& options, Words words, json_object* taken,
                                     json_object* plan, PathText& path, u32& number);

/// Puts the requests that delete instances into a plan, likewise.
[[nodiscard]] ExitCode plan_deletions(Words words, json_object* plan);

} // namespace qsc
