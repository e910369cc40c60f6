// SPDX-License-Identifier: Apache-2.0
// Paths as people write them: of an object, of one parameter, of all below, with "*" for every instance.
#pragma once

#include <string_view>

#include "base/Json.h"
#include "tools/qsc/Lookup.h"

namespace qsc
{

/// What a path on the command line leads to.
struct Place {
    enum Reach {
        kObject,  ///< one object
        kObjects, ///< the objects that "*" means
        kBelow    ///< all objects at and below the path
    };

    Reach reach = kObject;
    PathText path;
    Text<254> parameter; ///< empty: the path names none
};

/// Reads a path. One that ends with a dot reaches all below it, and so does one that is only above
/// others. What it ends with if it leads nowhere has been said.
[[nodiscard]] ExitCode read_place(const char* text, Place& place);

/// Whether a word can only be a path: it holds a dot, or is the path of an object.
[[nodiscard]] bool is_path(std::string_view word);

/// Lists the objects of a place that exist and that this library serves, as an array of the paths that
/// requests name, parents before children and instances by number. What it ends with if it cannot has been
/// said.
[[nodiscard]] ExitCode list_objects(const Options& options, const Place& place, JsonRef& paths);

} // namespace qsc
