// SPDX-License-Identifier: Apache-2.0
// Making changes last and take effect: who commits and restarts for an object.
#pragma once

#include "tools/qsc/Commands.h"
#include "tools/qsc/Lookup.h"

struct json_object;

namespace qsc
{

/// Commits what was set on the objects of a plan, then restarts what uses it; each subtree that does so is
/// asked once, and the first failure ends it.
ExitCode apply(const Options& options, json_object* plan);

} // namespace qsc
