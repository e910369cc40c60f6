// SPDX-License-Identifier: Apache-2.0
// What the tool knows about subtrees beyond the command table: their parameters, and who makes a change last.
#pragma once

#include <span>
#include <string_view>

#include "include/qsyscmdhal.h"

namespace qsc
{

/// The parameters of a path in a subtree, which ends at once when there are none in this library.
[[nodiscard]] const Qsc_ParamEntry* parameters_of(const Qsc_CommandEntry& entry, std::string_view path);

using Packages = std::span<const char* const>;

/// How a change below some subtrees is made to last and takes effect, where that is not the subtree's own
/// commit and service.
struct Application {
    const char* subtrees; ///< what their paths begin with
    const char* path;     ///< the subtree that commits and serves them; null: none does
    Packages packages;    ///< what is committed
};

/// Null: the subtree's own commit and service.
[[nodiscard]] const Application* application_of(const Qsc_CommandEntry& entry);

} // namespace qsc
