// SPDX-License-Identifier: Apache-2.0
#include "uci/Scanner.h"

#include "base/Parse.h"

namespace qrnuci
{

namespace
{

/// What may stand around a command word.
constexpr bool is_separator(char character)
{
    return character == ' ' || character == '\t';
}

} // namespace

void Scanner::skip_blanks()
{
    while (!at_line_end() && qsc::is_space(*position_)) {
        ++position_;
    }
}

/// Moves the character at the position to the word; a line feed inside a word still counts as a line.
void Scanner::put(char*& out)
{
    line_ += *position_ == '\n' ? 1 : 0;
    *out++ = *position_++;
}

/// Skips a backslash; true: also the line end behind it, so that there is no character to take.
bool Scanner::skip_continuation()
{
    ++position_;
    const std::string_view rest{position_, static_cast<std::size_t>(end_ - position_)};
    if (rest.empty()) {
        return true;
    }
    if (!rest.starts_with('\n') && !rest.starts_with("\r\n")) {
        return false;
    }
    position_ += rest.starts_with('\n') ? 1 : 2;
    ++line_;
    return true;
}

bool Scanner::take_quoted(char quote, char*& out)
{
    ++position_;
    while (position_ != end_) {
        if (*position_ == quote) {
            ++position_;
            return true;
        }
        // Single quotes take a backslash as it is.
        if (*position_ == '\\' && quote == '"' && (skip_continuation() || position_ == end_)) {
            continue;
        }
        put(out);
    }
    return false;
}

bool Scanner::take_word(std::string_view& word)
{
    skip_blanks();
    char* const begin = position_;
    char* out = begin;
    expects_command_ = !at_end() && *position_ == ';';
    if (expects_command_) {
        ++position_;
        word = {};
        return true;
    }
    while (position_ != end_ && !qsc::is_space(*position_) && *position_ != ';') {
        if (*position_ == '#') {
            skip_line();
            break;
        }
        if (*position_ == '\'' || *position_ == '"') {
            if (!take_quoted(*position_, out)) {
                return false;
            }
            continue;
        }
        if (*position_ == '\\' && skip_continuation()) {
            continue;
        }
        put(out);
    }
    word = {begin, static_cast<std::size_t>(out - begin)};
    if (!at_end() && *position_ == ';' && out == position_) {
        skip_line();
    }
    expects_command_ = word.empty() && position_ != begin && !at_line_end();
    if (expects_command_ && qsc::is_space(*position_)) {
        ++position_;
    }
    return true;
}

void Scanner::skip_separators()
{
    while (!at_end() && is_separator(*position_)) {
        ++position_;
    }
}

std::string_view Scanner::take_command()
{
    const char* const begin = position_;
    while (!at_line_end() && !is_separator(*position_)) {
        ++position_;
    }
    return {begin, static_cast<std::size_t>(position_ - begin)};
}

void Scanner::skip_line()
{
    while (!at_line_end()) {
        ++position_;
    }
}

bool Scanner::next_line()
{
    skip_line();
    if (at_end()) {
        return false;
    }
    ++position_;
    ++line_;
    return true;
}

} // namespace qrnuci
