// SPDX-License-Identifier: Apache-2.0
// Making changes to objects: checked as a whole, then set, then applied if that is wanted.
#pragma once

#include "tools/qsc/Options.h"

struct json_object;

namespace qsc
{

/// Sets what a plan, an object with the requests by their paths, says. All of it is checked before the first
/// is set; the first failure ends it. With --apply, commits and services follow.
ExitCode make_changes(const Options& options, json_object* plan);

} // namespace qsc
