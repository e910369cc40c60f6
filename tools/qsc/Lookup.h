// SPDX-License-Identifier: Apache-2.0
// Finding what a person means: subtrees by path, parameters by name, numbers.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
#include "include/qsyscmdhal.h"
#include "tools/qsc/Options.h"

namespace qsc
{

/// Reads a whole text as a number, decimal or with 0x.
[[nodiscard]] bool parse_number(std::string_view text, u32& number);

/// The longest path that is worth looking at.
using PathText = Text<510>;

/// A subtree, and the path to hand to it.
struct Target {
    const Qsc_CommandEntry* entry = nullptr;
    PathText path; ///< as given, with the dot that the subtree's own path ends with
};

/// Finds the subtree of a path: the first in table order that is the path or stands above it. Unlike the
/// plain prefix rule, part of a name is not enough. False: there is none, which has been said.
[[nodiscard]] bool find_target(const char* path, Target& target);

/// The parameters of what a path leads to; ends at once when there are none in this library.
[[nodiscard]] const Qsc_ParamEntry* parameters_of(const Target& target);

/// Checks that a path has a parameter. What it ends with if it has not has been said.
[[nodiscard]] ExitCode check_parameter(const Target& target, std::string_view name);

/// Checks that a path has any parameter at all, likewise.
[[nodiscard]] ExitCode check_any_parameter(const Target& target);

} // namespace qsc
