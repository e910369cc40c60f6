// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration: "PACKAGE.SECTION" and "PACKAGE.SECTION.OPTION".
#pragma once

#include <string_view>

#include "base/Types.h"

namespace qrnuci
{

using qsc::i32;
using qsc::i64;
using qsc::u32;
using qsc::u64;

/// How a key names its section.
struct SectionRef {
    std::string_view name; ///< the section's name; empty: it is chosen by type and index
    std::string_view type; ///< of "@TYPE[INDEX]"; empty: sections of every type count
    i32 index = 0;         ///< from 0; negative: from the end
};

/// A well-formed key, cut into views of the text it was read from.
struct Key {
    std::string_view package;
    SectionRef section;
    std::string_view option; ///< empty: the key names the section itself
};

/// Letters, digits, "_" and "-", at least one: never a path.
[[nodiscard]] bool is_package_name(std::string_view text);

/// Letters, digits and "_", at least one: sections and options.
[[nodiscard]] bool is_name(std::string_view text);

/// Visible ASCII, at least one: types of sections.
[[nodiscard]] bool is_type(std::string_view text);

/// Reads a key; false: it is malformed.
[[nodiscard]] bool parse_key(std::string_view text, Key& key);

} // namespace qrnuci
