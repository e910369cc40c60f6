// SPDX-License-Identifier: Apache-2.0
// Text utilities: hexadecimal conversion, character classes, trimming, version comparison; and the no-op
// set-up of the foundation library.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/Parse.h"
#include "base/Text.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

constexpr bool is_letter(char c)
{
    return is_lower(c) || is_upper(c);
}

constexpr bool is_alphanumeric(char c)
{
    return is_letter(c) || is_digit(c);
}

constexpr bool is_printable(char c)
{
    return c >= ' ' && c <= '~';
}

constexpr bool is_hex_digit(char c)
{
    return hex_value(c) >= 0;
}

/// A class of texts: an optional prefix, and the characters that follow it (at least one).
struct TextClass {
    enum Prefix { kNone, kSign, kHex } prefix;
    bool (*contains)(char);
};

constexpr TextClass kTextClasses[] = {
    {TextClass::kNone, is_alphanumeric}, {TextClass::kNone, is_letter},    {TextClass::kNone, is_digit},
    {TextClass::kNone, is_lower},        {TextClass::kNone, is_printable}, {TextClass::kNone, is_upper},
    {TextClass::kNone, is_hex_digit},    {TextClass::kSign, is_digit},     {TextClass::kHex, is_hex_digit},
};

/// The number that a token starts with, or 0; clamped to the range of an int.
int leading_number(const char* token)
{
    return static_cast<int>(std::clamp<long long>(std::strtoll(token, nullptr, 10), INT32_MIN, INT32_MAX));
}

} // namespace

uint32_t BaCL_Init(void)
{
    return 0;
}

uint32_t BaCL_Close(void)
{
    return 0;
}

uint32_t BaCL_Binary2HexString(char* text, int32_t size, const uint8_t* data, int32_t length)
{
    if (text == nullptr || size <= 0 || data == nullptr || length < 0 || size <= i64{length} * 2) {
        return EINVAL;
    }
    std::memset(text, 0, static_cast<std::size_t>(size));
    for (i32 i = 0; i < length; ++i) {
        *text++ = "0123456789ABCDEF"[data[i] >> 4];
        *text++ = "0123456789ABCDEF"[data[i] & 0xF];
    }
    return 0;
}

uint32_t BaCL_HexString2Binary(uint8_t* data, int32_t* length, const char* text)
{
    if (data == nullptr || length == nullptr || *length <= 0 || text == nullptr) {
        return EINVAL;
    }
    const auto capacity = static_cast<std::size_t>(*length);
    const std::string_view digits{text};
    std::memset(data, 0, capacity);
    if (digits.size() % 2 != 0 || capacity < digits.size() / 2) {
        return EINVAL;
    }
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = hex_value(digits[i]);
        const int low = hex_value(digits[i + 1]);
        data[i / 2] = static_cast<u8>(high < 0 ? 0 : low < 0 ? high : high * 16 + low);
    }
    *length = static_cast<i32>(digits.size() / 2);
    return 0;
}

uint32_t BaCL_IsStringType(const char* text, uint32_t type)
{
    if (text == nullptr || type >= std::size(kTextClasses)) {
        return 0;
    }
    std::string_view rest{text};
    const TextClass& wanted = kTextClasses[type];
    if (wanted.prefix == TextClass::kSign && (rest.starts_with('+') || rest.starts_with('-'))) {
        rest.remove_prefix(1);
    } else if (wanted.prefix == TextClass::kHex) {
        if (!rest.starts_with("0x") && !rest.starts_with("0X")) {
            return 0;
        }
        rest.remove_prefix(2);
    }
    return !rest.empty() && std::ranges::all_of(rest, wanted.contains) ? 1 : 0;
}

uint32_t BaCL_RemoveLineFeed(char* text, int32_t size)
{
    if (text == nullptr || size <= 0) {
        return EINVAL;
    }
    for (std::size_t end = strnlen(text, static_cast<std::size_t>(size)); end > 0 && text[end - 1] == '\n';
         --end) {
        text[end - 1] = '\0';
    }
    return 0;
}

uint32_t BaCL_TrimLTWhiteSpace(char* text)
{
    if (text == nullptr) {
        return EINVAL;
    }
    std::size_t length = std::strlen(text);
    while (length > 0 && is_space(text[length - 1])) {
        text[--length] = '\0';
    }
    const char* const start = std::ranges::find_if_not(text, text + length, is_space);
    std::memmove(text, start, static_cast<std::size_t>(text + length - start) + 1);
    return 0;
}

int32_t BaCL_VersionCompare(char* first, char* second, const char* separators)
{
    if (is_empty(first) || is_empty(second)) {
        return 0;
    }
    if (is_empty(separators)) {
        separators = ".";
    }
    char* first_rest = nullptr;
    char* second_rest = nullptr;
    const char* left = strtok_r(first, separators, &first_rest);
    const char* right = strtok_r(second, separators, &second_rest);
    while (left != nullptr && right != nullptr) {
        const int left_number = leading_number(left);
        const int right_number = leading_number(right);
        if (left_number != right_number) {
            return left_number > right_number ? 1 : -1;
        }
        left = strtok_r(nullptr, separators, &first_rest);
        right = strtok_r(nullptr, separators, &second_rest);
    }
    return 0;
}
