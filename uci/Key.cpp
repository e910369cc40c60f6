// SPDX-License-Identifier: Apache-2.0
#include "uci/Key.h"

#include <algorithm>
#include <array>

#include "base/Parse.h"

namespace qrnuci
{

namespace
{

/// Keys are parsed on every read, so their characters are looked up instead of compared.
constexpr auto kNameCharacters = [] {
    std::array<bool, 256> table{};
    for (std::size_t c = 0; c < 128; ++c) {
        const char character = static_cast<char>(c);
        table[c] = qsc::is_digit(character) || qsc::is_lower(character) || qsc::is_upper(character) ||
                   character == '_';
    }
    return table;
}();

constexpr bool is_name_character(char c)
{
    return kNameCharacters[static_cast<unsigned char>(c)];
}

/// Takes what stands before the first dot; the rest stays behind it.
std::string_view take_part(std::string_view& rest)
{
    const std::size_t length = std::min(rest.find('.'), rest.size());
    const std::string_view part{rest.data(), length};
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return part;
}

/// "@TYPE[INDEX]"
bool parse_indexed_section(std::string_view text, SectionRef& section)
{
    const std::size_t bracket = text.find('[');
    if (!text.starts_with('@') || !text.ends_with(']') || bracket == std::string_view::npos) {
        return false;
    }
    section.type = {text.data() + 1, bracket - 1};
    text.remove_prefix(bracket + 1);
    text.remove_suffix(1);
    return (section.type.empty() || is_type(section.type)) && qsc::parse_whole(text, section.index);
}

} // namespace

bool is_package_name(std::string_view text)
{
    return !text.empty() &&
           std::ranges::all_of(text, [](char c) { return is_name_character(c) || c == '-'; });
}

bool is_name(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, is_name_character);
}

bool is_type(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

bool parse_key(std::string_view text, Key& key)
{
    const auto dots = std::ranges::count(text, '.');
    if (dots != 1 && dots != 2) {
        return false;
    }
    key.package = take_part(text);
    const std::string_view section = take_part(text);
    key.option = text;
    if (is_name(section)) {
        key.section = {.name = section, .type = {}};
    } else if (!parse_indexed_section(section, key.section)) {
        return false;
    }
    return is_package_name(key.package) && (dots == 1 || is_name(key.option));
}

} // namespace qrnuci
