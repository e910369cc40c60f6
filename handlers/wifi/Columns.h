// SPDX-License-Identifier: Apache-2.0
// Tables with a header line, as the driver's tools print them. A column begins where its name does and ends
// where the next one begins. Lines are cut there and never at blanks, because what strangers call themselves
// may hold any.
#pragma once

#include <cstddef>
#include <string_view>

namespace qsc::wifi
{

struct Column {
    std::size_t begin = std::string_view::npos; ///< it is not there
    std::size_t end = std::string_view::npos;
};

/// Finds a column by its name, which is a word of the header.
[[nodiscard]] Column find_column(std::string_view header, std::string_view name);

/// What a line has in a column, without the blanks that fill it up; empty: nothing.
[[nodiscard]] std::string_view cell(std::string_view line, Column column);

/// Takes the next line off a text; false: there is none.
[[nodiscard]] bool take_line(std::string_view& text, std::string_view& line);

} // namespace qsc::wifi
