// SPDX-License-Identifier: Apache-2.0
// What a parameter may hold, in words.
#pragma once

#include "tools/qsc/Tables.h"

namespace qsc
{

/// Whether there is anything to say.
[[nodiscard]] bool has_limits(const Parameter& parameter);

/// Prints the values that a parameter takes, such as "0 to 3", "One, Two" or "up to 63 characters", and what
/// else is to be known before setting it. Nothing, if there is nothing to say.
void print_limits(const Parameter& parameter);

} // namespace qsc
