// SPDX-License-Identifier: Apache-2.0
// A line of commands, as a shell would split it.
#pragma once

#include <array>
#include <cstddef>

#include "base/Parse.h"

namespace qsc
{

/// The words of one line, split in place.
class Line
{
  public:
    static constexpr std::size_t kMostWords = 256;

    /// Splits at blanks; quotes keep blanks, and a backslash keeps the next character. False: a quote is
    /// open, or there are too many words.
    [[nodiscard]] bool split(char* text)
    {
        count_ = 1; // the program's name
        for (;;) {
            while (is_space(*text)) {
                ++text;
            }
            if (*text == '\0' || *text == '#') {
                return true;
            }
            if (count_ + 1 >= kMostWords) {
                return false;
            }
            words_[count_++] = text;
            if (!take_word(text)) {
                return false;
            }
        }
    }

    [[nodiscard]] int count() const { return static_cast<int>(count_); }
    [[nodiscard]] char** words() { return words_.data(); }

  private:
    /// Takes the quoting off one word and ends it; text is moved past it.
    static bool take_word(char*& text)
    {
        char* out = text;
        char quote = '\0';
        for (; *text != '\0' && (quote != '\0' || !is_space(*text)); ++text) {
            if (*text == quote) {
                quote = '\0';
            } else if (quote == '\0' && (*text == '\'' || *text == '"')) {
                quote = *text;
            } else {
                text += *text == '\\' && quote != '\'' && text[1] != '\0' ? 1 : 0;
                *out++ = *text;
            }
        }
        text += *text != '\0' ? 1 : 0;
        *out = '\0';
        return quote == '\0';
    }

    char program_[4] = "qsc";
    std::array<char*, kMostWords> words_{program_};
    std::size_t count_ = 1;
};

} // namespace qsc
