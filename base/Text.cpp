// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"

#include <algorithm>

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
    std::array<char, 20> digits;
    char* const end = digits.data() + digits.size();
    char* begin = end;
    const auto unsign = static_cast<u64>(number);
    for (u64 rest = number < 0 ? 0 - unsign : unsign; rest != 0 || begin == end; rest /= 10) {
        *--begin = static_cast<char>('0' + rest % 10);
    }
    if (number < 0) {
        *--begin = '-';
    }
    append_text(buffer, state, longest, {begin, static_cast<std::size_t>(end - begin)});
}

} // namespace qsc
