// SPDX-License-Identifier: Apache-2.0
// Decoding of text that should be UTF-8 but need not be valid.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// A decoded character; its size is 0 if the bytes are not valid UTF-8.
struct Utf8Character {
    u32 code = 0;
    std::size_t size = 0;

    /// C0 controls, DEL and C1 controls (U+0080 to U+009F).
    [[nodiscard]] constexpr bool is_control() const
    {
        return size != 0 && (code < 0x20 || (code >= 0x7F && code < 0xA0));
    }
};

/// Returns the length in bytes of a character that starts with this byte, or 0 if none does.
constexpr std::size_t utf8_size(char first)
{
    const auto byte = static_cast<u8>(first);
    return byte < 0x80 ? 1 : byte < 0xC2 ? 0 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 0;
}

/// Decodes the first character of a non-empty text. Overlong forms, surrogates and code points above U+10FFFF
/// are invalid.
constexpr Utf8Character first_character(std::string_view text)
{
    const std::size_t size = utf8_size(text.front());
    if (size == 0 || size > text.size()) {
        return {};
    }
    u32 code = static_cast<u8>(text.front()) & (size == 1 ? 0x7Fu : 0xFFu >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<u8>(text[i]);
        if ((byte & 0xC0) != 0x80) {
            return {};
        }
        code = code << 6 | (byte & 0x3F);
    }
    constexpr u32 kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = code >= 0xD800 && code < 0xE000;
    return code < kLeast[size] || code > 0x10FFFF || is_surrogate ? Utf8Character{}
                                                                  : Utf8Character{code, size};
}

/// Returns the length of a truncated text without the incomplete character at its end, if there is one.
constexpr std::size_t size_of_whole_characters(std::string_view text)
{
    for (std::size_t back = 1; back <= 3 && back <= text.size(); ++back) {
        const char byte = text[text.size() - back];
        if ((static_cast<u8>(byte) & 0xC0) != 0x80) {
            return utf8_size(byte) > back ? text.size() - back : text.size();
        }
    }
    return text.size();
}

} // namespace qsc
