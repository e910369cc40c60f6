// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/Columns.h"

#include <algorithm>

namespace qsc::wifi
{

Column find_column(std::string_view header, std::string_view name)
{
    std::size_t begin = header.find_first_not_of(' ');
    while (begin != std::string_view::npos) {
        const std::size_t end = std::min(header.find(' ', begin), header.size());
        const std::size_t next = header.find_first_not_of(' ', end);
        if (header.substr(begin, end - begin) == name) {
            return {begin, next};
        }
        begin = next;
    }
    return {};
}

std::string_view cell(std::string_view line, Column column)
{
    if (column.begin >= line.size()) {
        return {};
    }
    const std::string_view text = line.substr(column.begin, column.end - column.begin);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

bool take_line(std::string_view& text, std::string_view& line)
{
    if (text.empty()) {
        return false;
    }
    line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return true;
}

} // namespace qsc::wifi
