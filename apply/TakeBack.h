// SPDX-License-Identifier: Apache-2.0
// Taking a change of a package back where others have gone on from it.
#pragma once

#include "base/Json.h"

namespace qsc::apply
{

/// A change of a package, and the package now; null: there is no file.
struct ChangedPackage {
    const char* name;
    const char* before;
    const char* after;
    const char* now;
};

/// Works out what the package has to be for the change to be undone and all that came after it to stay.
/// EAGAIN: something that came after it has touched the same; that goes to `conflicts`, an array of
/// {"package", "section", "option"}, without "option" for a section as such. `text`: null: there is no file.
[[nodiscard]] u32 take_back(const ChangedPackage& package, JsonRef& text, json_object* conflicts);

} // namespace qsc::apply
