// SPDX-License-Identifier: Apache-2.0
// ASCII character classes, independent of the locale, and number parsing.
#pragma once

#include <charconv>
#include <limits>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

constexpr bool is_lower(char c)
{
    return c >= 'a' && c <= 'z';
}

constexpr bool is_upper(char c)
{
    return c >= 'A' && c <= 'Z';
}

constexpr char to_lower(char c)
{
    return is_upper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char to_upper(char c)
{
    return is_lower(c) ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr bool is_control(char c)
{
    return static_cast<unsigned char>(c) < ' ' || c == 0x7F;
}

/// Whether the character could start another command or a redirection in a shell.
constexpr bool is_shell_special(char c)
{
    return std::string_view{"`;|&{}$<>"}.find(c) != std::string_view::npos;
}

constexpr bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

/// Returns the value of a hexadecimal digit, or -1 if it is not one.
constexpr int hex_value(char c)
{
    return is_digit(c)              ? c - '0'
           : (c >= 'a' && c <= 'f') ? c - 'a' + 10
           : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                    : -1;
}

/// Parses a text that is a number as a whole. Returns false if it is not, or is out of range, and leaves
/// `number` unchanged.
template <typename Number>
[[nodiscard]] bool parse_whole(std::string_view text, Number& number, int base = 10)
{
    Number parsed{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), parsed, base);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return false;
    }
    number = parsed;
    return true;
}

/// Parses a whole text as a number with an optional sign: hexadecimal after 0x, octal after 0, else decimal.
[[nodiscard]] inline bool parse_any_base(std::string_view text, i32& number)
{
    const bool is_negative = text.starts_with('-');
    if (is_negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hex ? 2 : 0);
    u32 magnitude = 0;
    if (!parse_whole(text, magnitude,
                     is_hex                                     ? 16
                     : text.size() > 1 && text.starts_with('0') ? 8
                                                                : 10) ||
        magnitude > u32{INT32_MAX} + (is_negative ? 1 : 0)) {
        return false;
    }
    number = static_cast<i32>(is_negative ? -i64{magnitude} : i64{magnitude});
    return true;
}

} // namespace qsc
