// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Printable.h"

#include <algorithm>

#include "base/Types.h"

namespace qsc
{

namespace
{

/// One character of a text.
struct Character {
    std::string_view octets;
    u32 code; ///< its code point, where it is UTF-8
    enum Kind { kPlain, kControl, kBroken } kind;
};

/// What a first octet says about its character.
struct Lead {
    unsigned mask, mark;
    std::size_t length;
    u32 least; ///< a smaller code point would have a shorter form
};

constexpr Lead kLeads[] = {
    {0x80, 0x00, 1, 0},
    {0xE0, 0xC0, 2, 0x80},
    {0xF0, 0xE0, 3, 0x800},
    {0xF8, 0xF0, 4, 0x10000},
};

/// The character that a text, which is not empty, begins with. An octet that begins none is one of its own.
Character first_character(std::string_view text)
{
    const auto octet = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const Lead* const lead =
        std::ranges::find_if(kLeads, [&](const Lead& each) { return (octet(0) & each.mask) == each.mark; });
    const Character broken{{text.data(), 1}, 0, Character::kBroken};
    if (lead == std::end(kLeads) || lead->length > text.size()) {
        return broken;
    }
    u32 code = octet(0) & ~lead->mask;
    for (std::size_t i = 1; i < lead->length; ++i) {
        if ((octet(i) & 0xC0U) != 0x80) {
            return broken;
        }
        code = code << 6 | (octet(i) & 0x3FU);
    }
    if (code < lead->least || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) {
        return broken;
    }
    const bool is_control = code < ' ' || (code >= 0x7F && code < 0xA0);
    return {{text.data(), lead->length}, code, is_control ? Character::kControl : Character::kPlain};
}

template <typename Print>
void for_each_character(std::string_view text, Print print)
{
    while (!text.empty()) {
        const Character character = first_character(text);
        print(character);
        text.remove_prefix(character.octets.size());
    }
}

void put(std::FILE* to, std::string_view octets)
{
    (void)std::fwrite(octets.data(), 1, octets.size(), to);
}

} // namespace

void print_escaped(std::string_view text)
{
    for_each_character(text, [](const Character& character) {
        if (character.octets == "\n") {
            put(stdout, "\\n");
        } else if (character.octets == "\\") {
            put(stdout, "\\\\");
        } else if (character.kind == Character::kPlain) {
            put(stdout, character.octets);
        } else {
            for (const char octet : character.octets) {
                std::printf("\\x%02X", static_cast<unsigned char>(octet));
            }
        }
    });
}

void print_json_text(std::string_view json)
{
    for_each_character(json, [](const Character& character) {
        if (character.kind == Character::kBroken) {
            put(stdout, "\\uFFFD");
        } else if (character.kind == Character::kControl && character.octets != "\n") {
            std::printf("\\u%04X", character.code);
        } else {
            put(stdout, character.octets);
        }
    });
}

void print_sentence(std::FILE* to, std::string_view sentence)
{
    for_each_character(sentence, [&](const Character& character) {
        put(to, character.kind == Character::kPlain ? character.octets : "?");
    });
}

} // namespace qsc
