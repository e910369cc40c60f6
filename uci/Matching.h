// SPDX-License-Identifier: Apache-2.0
// Which section of one package is which of another.
#pragma once

#include <span>

#include "uci/Package.h"

namespace qrnuci
{

/// A section of one package, and what has become of it in the other.
struct Matched {
    const Section* section = nullptr;
    u64 content = 0; ///< a hash of what it says, its name apart
    u32 position = 0;
    Matched* partner = nullptr; ///< null: the other package has none
    bool is_moved = false;      ///< in the new package: among those that are in both
};

/// All sections of a package, in their order; not ok: no memory.
struct Sections {
    std::span<Matched> all;
    bool is_ok = false;
};
[[nodiscard]] Sections list_sections(Package& package);

/// Finds the partners of all. False: no memory.
[[nodiscard]] bool match(std::span<Matched> old_sections, std::span<Matched> new_sections, Arena& arena);

/// Whether two options say the same.
[[nodiscard]] bool is_same(const Option& one, const Option& other);

/// The option of that name; null: there is none.
[[nodiscard]] const Option* find_option(const Section& section, std::string_view name);

} // namespace qrnuci
