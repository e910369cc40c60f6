// SPDX-License-Identifier: Apache-2.0
// One staged change: a line "[MARK]PACKAGE.SECTION[.OPTION][='VALUE']".
#pragma once

#include <string_view>

#include "uci/Arena.h"
#include "uci/Growing.h"
#include "uci/Key.h"
#include "uci/List.h"

namespace qrnuci
{

struct Change {
    char mark = '='; ///< + - @ ^ | ~ as written; '=' for a plain one
    Key key;
    std::string_view value;
    bool has_value = false;
    bool is_superseded = false; ///< nothing depends on it any more
    Change* next = nullptr;
    Change* next_of_target = nullptr;
};

/// Reads a line without its quotes; false: it is none.
[[nodiscard]] bool parse_change(std::string_view text, Change& change);

/// Writes a line. A null value is none.
void write_change(Growing& lines, std::string_view mark, std::string_view package, std::string_view section,
                  std::string_view option, const std::string_view* value);

/// Marks the changes after which others make the same difference alone.
/// It must not be applied any more then, for a change may have taken the value of a later one.
/// @return false: no memory, and the marks are of no use
[[nodiscard]] bool mark_superseded(const List<Change>& changes, Arena& arena);

} // namespace qrnuci
