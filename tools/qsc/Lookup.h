// SPDX-License-Identifier: Apache-2.0
// Finding what a path, a name or a number on the command line means.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
#include "tools/qsc/Options.h"
#include "tools/qsc/Tables.h"

namespace qsc
{

/// Reads a whole text as a number, decimal or with 0x.
[[nodiscard]] bool parse_number(std::string_view text, u32& number);

/// The longest path that is worth looking at.
using PathText = Text<510>;

/// An object, and the path to hand to its dispatcher.
struct Target {
    Object object;
    PathText path;
};

/// Finds the subtree of a path: the first in table order that is the path or above it, whatever
/// follows there. Unlike the plain prefix rule, part of a name is not enough. False: there is none, which has
/// been said.
[[nodiscard]] bool find_subtree(const char* path, Target& target);

/// Finds the object that is exactly what a path leads to. False: there is none.
[[nodiscard]] bool find_object(std::string_view path, Target& target);

/// Finds a parameter by its name. False: the object has none of that name.
[[nodiscard]] bool find_parameter(const Object& object, std::string_view name, Parameter& parameter);

/// Checks that an object has a parameter. What it ends with if it has not has been said.
[[nodiscard]] ExitCode check_parameter(const Target& target, std::string_view name);

/// Says that a path leads to nothing that this library serves. @return kFailed
ExitCode not_served(std::string_view path);

} // namespace qsc
