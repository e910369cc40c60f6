// SPDX-License-Identifier: Apache-2.0
// Characters of texts in UTF-8 that may be none.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// One character at the start of a text; size 0: its first byte starts none.
struct Utf8Character {
    u32 code = 0;
    std::size_t size = 0;

    /// Control characters, DEL and the second set of controls, U+0080 to U+009F.
    [[nodiscard]] constexpr bool is_control() const
    {
        return size != 0 && (code < 0x20 || (code >= 0x7F && code < 0xA0));
    }
};

/// How many bytes a character has that begins with this one; 0: none does.
constexpr std::size_t utf8_size(char first)
{
    const auto byte = static_cast<u8>(first);
    return byte < 0x80 ? 1 : byte < 0xC2 ? 0 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF5 ? 4 : 0;
}

/// Reads the first character of a text that is not empty. Overlong forms, surrogates and what lies beyond
/// U+10FFFF are none.
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

/// How much of a text that was cut somewhere ends with a whole character.
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
