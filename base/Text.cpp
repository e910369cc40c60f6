// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace qsc
{

void append_text(char* buffer, TextState& state, std::size_t longest, std::string_view text)
{
    if (state.length + text.size() > longest) {
        state.too_long = true;
        return;
    }
    std::copy(text.begin(), text.end(), buffer + state.length);
    state.length += text.size();
    buffer[state.length] = '\0';
}

void append_quoted_text(char* buffer, TextState& state, std::size_t longest, std::string_view text)
{
    for (const char& character : text) {
        if (std::string_view{"\\\"$`"}.find(character) != std::string_view::npos) {
            append_text(buffer, state, longest, "\\");
        }
        append_text(buffer, state, longest, {&character, 1});
    }
}

void append_number_text(char* buffer, TextState& state, std::size_t longest, i64 number)
{
    std::array<char, 21> digits;
    const int length = std::snprintf(digits.data(), digits.size(), "%" PRId64, number);
    append_text(buffer, state, longest, {digits.data(), static_cast<std::size_t>(length)});
}

} // namespace qsc
