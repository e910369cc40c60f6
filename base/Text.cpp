// SPDX-License-Identifier: Apache-2.0
#include "base/Text.h"

#include <algorithm>

namespace qsc
{

u32 walk_parts(std::string_view text, char separator, u32 (*use)(void* context, std::string_view part),
               void* context)
{
    while (!text.empty()) {
        std::string_view part = text.substr(0, text.find(separator));
        text.remove_prefix(std::min(part.size() + 1, text.size()));
        part.remove_prefix(std::min(part.find_first_not_of(' '), part.size()));
        part = part.substr(0, part.find_last_not_of(' ') + 1);
        if (const u32 code = part.empty() ? 0 : use(context, part)) {
            return code;
        }
    }
    return 0;
}

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
