// SPDX-License-Identifier: Apache-2.0
// Cuts the text of a configuration or staging file into words, with the quoting that both share.
#pragma once

#include <string_view>

#include "uci/Key.h"

namespace qrnuci
{

/// Works in place: a word without its quotes is never longer than with them, so it is put together where it
/// stood and handed out as a view of the text, which must outlive the words.
class Scanner
{
  public:
    Scanner(char* text, std::size_t size) : start_(text), position_(text), end_(text + size) {}

    /// Skips blanks within the line.
    void skip_blanks();

    /// Skips what may stand between two commands of a line.
    void skip_separators();

    /// Takes the next word of the line; an empty one at its end, at a comment or a ";", or where it is quoted
    /// empty. As in every reader of the format, a ";" right behind a word without quotes ends the whole line.
    /// False: a quote does not end before the text does.
    [[nodiscard]] bool take_word(std::string_view& word);

    /// Takes a command word, to which quoting does not apply, and which only a blank or a tab ends.
    [[nodiscard]] std::string_view take_command();

    /// Whether the last word that was taken has every reader of the format look for another command in the
    /// line, and fail without one: a ";", or an empty word with more behind it.
    [[nodiscard]] bool expects_command() const { return expects_command_; }

    /// Goes on to the next line; false: there is none.
    bool next_line();

    [[nodiscard]] bool at_line_end() const { return position_ == end_ || *position_ == '\n'; }
    [[nodiscard]] bool at_end() const { return position_ == end_; }
    [[nodiscard]] std::size_t offset() const { return static_cast<std::size_t>(position_ - start_); }
    [[nodiscard]] u32 line() const { return line_; }

  private:
    [[nodiscard]] bool take_quoted(char quote, char*& out);
    [[nodiscard]] bool skip_continuation();
    void skip_line();
    void put(char*& out);

    char* start_;
    char* position_;
    char* end_;
    u32 line_ = 1;
    bool expects_command_ = false;
};

} // namespace qrnuci
