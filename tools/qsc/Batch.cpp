// SPDX-License-Identifier: Apache-2.0
// batch: several commands in one process, as a front end that stays up would send them.
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/Parse.h"
#include "tools/qsc/Commands.h"

namespace qsc
{

namespace
{

constexpr std::size_t kMostWords = 256;

/// The words of one line, split in place.
class Line
{
  public:
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

} // namespace

ExitCode batch(const Options& options, Words)
{
    struct Buffer {
        char* text = nullptr;
        std::size_t size = 0;
        ~Buffer() { std::free(text); }
    } buffer;
    for (u32 number = 1;; ++number) {
        const ssize_t length = getline(&buffer.text, &buffer.size, stdin);
        if (length < 0) {
            break;
        }
        if (std::strlen(buffer.text) != static_cast<std::size_t>(length)) {
            return wrong_usage("line %u of the batch has a NUL", number);
        }
        Line line;
        if (!line.split(buffer.text)) {
            return wrong_usage("line %u of the batch has an open quote, or more than %zu words", number,
                               kMostWords - 2);
        }
        Options own = options;
        own.apply = false;
        if (line.count() == 1) {
            continue;
        }
        const ExitCode result = parse_options(line.count(), line.words(), own) ? execute(own) : kUsage;
        if (result != kDone) {
            std::fprintf(stderr, "qsc: line %u of the batch was the last\n", number);
            return result;
        }
    }
    return std::ferror(stdin) == 0 ? kDone
                                   : failure("standard input cannot be read: %s", std::strerror(errno));
}

} // namespace qsc
