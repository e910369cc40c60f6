// SPDX-License-Identifier: Apache-2.0
// ASCII character classes, independent of the locale, and number parsing.
#pragma once

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

/// Takes the next word off a text, up to white space; empty: there is none.
inline std::string_view take_word(std::string_view& rest)
{
    while (!rest.empty() && is_space(rest.front())) {
        rest.remove_prefix(1);
    }
    std::size_t length = 0;
    while (length < rest.size() && !is_space(rest[length])) {
        ++length;
    }
    const std::string_view word{rest.data(), length};
    rest.remove_prefix(length);
    return word;
}

/// Returns the value of a hexadecimal digit, or -1 if it is not one.
constexpr int hex_value(char c)
{
    return is_digit(c)              ? c - '0'
           : (c >= 'a' && c <= 'f') ? c - 'a' + 10
           : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                                    : -1;
}

/// How a number is written, and its range.
struct NumberForm {
    i64 least;
    u64 most;
    int base;
};

template <typename Number>
constexpr NumberForm form_of(int base)
{
    using Limits = std::numeric_limits<Number>;
    return {Limits::min(), static_cast<u64>(Limits::max()), base};
}

/// Parses the number that a text begins with; a negative one as its two's complement. Returns its length, or
/// 0 if there is none or it is out of range, and then leaves `number` unchanged.
[[nodiscard]] std::size_t parse_number(std::string_view text, const NumberForm& form, u64& number);

/// Parses the decimal number that a text begins with. Returns false if there is none, or it is out of range,
/// and leaves `number` unchanged.
template <typename Number>
[[nodiscard]] bool parse_leading(std::string_view text, Number& number)
{
    u64 parsed = 0;
    const bool is_number = parse_number(text, form_of<Number>(10), parsed) != 0;
    number = is_number ? static_cast<Number>(parsed) : number;
    return is_number;
}

/// Parses a text that is a number as a whole. Returns false if it is not, or is out of range, and leaves
/// `number` unchanged.
template <typename Number>
[[nodiscard]] bool parse_whole(std::string_view text, Number& number, int base = 10)
{
    u64 parsed = 0;
    const bool is_number = !text.empty() && parse_number(text, form_of<Number>(base), parsed) == text.size();
    number = is_number ? static_cast<Number>(parsed) : number;
    return is_number;
}

/// Parses a whole text as a number with an optional sign: hexadecimal after 0x, octal after 0, else decimal.
[[nodiscard]] bool parse_any_base(std::string_view text, i32& number);

} // namespace qsc
