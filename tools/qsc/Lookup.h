// SPDX-License-Identifier: Apache-2.0
// Finding what a person means: subtrees by path, parameters by name, and the nearest right word.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/Text.h"
#include "base/Types.h"
#include "include/qsyscmdhal.h"

namespace qsc
{

/// Finds the word that is nearest to a misspelt one.
class Suggestion
{
  public:
    explicit Suggestion(std::string_view given) : given_(given) {}

    void consider(const char* candidate);
    [[nodiscard]] const char* best() const { return best_; }

  private:
    std::string_view given_;
    const char* best_ = "";
    std::size_t distance_ = static_cast<std::size_t>(-1);
};

/// How many letters to change, add or drop, whatever their case. Texts beyond 255 characters are cut.
[[nodiscard]] std::size_t edit_distance(std::string_view first, std::string_view second);

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

/// The parameters of a subtree, or of what a path leads to in it; ends at once when they are not known.
[[nodiscard]] const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry);
[[nodiscard]] const Qsc_ParamEntry* parameters_of(const Target& target);

/// How a change below some subtrees takes effect, where that is not the subtree's own commit and service.
struct Application {
    const char* subtrees;    ///< what their paths begin with
    const char* path;        ///< the subtree that commits and serves them
    const char* packages[2]; ///< what it commits
};

/// Null: the subtree's own commit and service.
[[nodiscard]] const Application* application_of(const Qsc_CommandEntry& entry);

/// Whether a subtree may have a parameter of that name. False: it has not, which has been said.
[[nodiscard]] bool check_parameter(const Target& target, std::string_view name);

} // namespace qsc
