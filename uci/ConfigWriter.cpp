// SPDX-License-Identifier: Apache-2.0
// Writes a package as its file holds it.
#include "uci/Codec.h"

namespace qrnuci
{

namespace
{

void put_quoted(std::FILE* out, std::string_view text)
{
    std::fputs(" '", out);
    for (const char character : text) {
        if (character == '\'') {
            std::fputs("'\\''", out);
        } else {
            std::putc(character, out);
        }
    }
    std::putc('\'', out);
}

void put(std::FILE* out, std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), out);
}

/// Types stand without quotes, as everybody writes them, but for the rare one that would not survive that.
void put_type(std::FILE* out, std::string_view type)
{
    if (type.find_first_of("'\"\\#;") != std::string_view::npos) {
        put_quoted(out, type);
    } else {
        std::putc(' ', out);
        put(out, type);
    }
}

} // namespace

void write_config(const Package& package, std::FILE* out)
{
    for (const Section& section : package.sections()) {
        put(out, "\nconfig");
        put_type(out, section.type);
        if (!section.is_anonymous) {
            put_quoted(out, section.name);
        }
        put(out, "\n");
        for (const Option& option : section.options) {
            for (const Item& item : option.items) {
                put(out, option.is_list ? "\tlist " : "\toption ");
                put(out, option.name);
                put_quoted(out, item.value);
                put(out, "\n");
            }
        }
    }
    put(out, "\n");
}

} // namespace qrnuci
