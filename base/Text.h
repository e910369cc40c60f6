// SPDX-License-Identifier: Apache-2.0
// A text of bounded length in a buffer of its own: the one place where lengths are checked and where
// text from outside is quoted for the shell.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// Treats a null text as the empty one.
constexpr const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

constexpr bool is_empty(const char* text)
{
    return text == nullptr || *text == '\0';
}

/// Calls use(word) for each word between blanks, until one answers non-zero.
template <typename Use>
u32 for_each_word(std::string_view text, Use use)
{
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(word.size() < text.size() ? word.size() + 1 : text.size());
        if (const u32 code = word.empty() ? 0 : use(word)) {
            return code;
        }
    }
    return 0;
}

/// What a text holds so far. The work is done once, below, for texts of every size.
struct TextState {
    std::size_t length = 0;
    bool too_long = false;
};

void append_text(char* buffer, TextState& state, std::size_t longest, std::string_view text);
void append_quoted_text(char* buffer, TextState& state, std::size_t longest, std::string_view text);
void append_number_text(char* buffer, TextState& state, std::size_t longest, i64 number);

/// Takes at most Longest characters; the buffer has one byte more than the terminator needs, because a
/// text that reaches the last usable character of a buffer counts as too long.
template <std::size_t Longest, std::size_t Size = Longest + 2>
class Text
{
    static_assert(Size > Longest);

  public:
    // Only what is written is touched: clearing two kilobytes for a command of fifty characters would show.
    Text() { buffer_[0] = '\0'; }

    Text& append(std::string_view text)
    {
        append_text(buffer_.data(), state_, Longest, text);
        return *this;
    }

    Text& append_number(i64 number)
    {
        append_number_text(buffer_.data(), state_, Longest, number);
        return *this;
    }

    /// Appends text for the inside of double quotes in a shell command, so that the command sees it exactly.
    Text& append_quoted(std::string_view text)
    {
        append_quoted_text(buffer_.data(), state_, Longest, text);
        return *this;
    }

    /// Replaces the text; false: it is too long.
    [[nodiscard]] bool assign(std::string_view text)
    {
        clear();
        return append(text).fits();
    }

    void clear()
    {
        state_ = {};
        buffer_[0] = '\0';
    }

    /// Whether everything that was appended is there.
    [[nodiscard]] bool fits() const { return !state_.too_long; }
    /// The text's own memory, for a function that changes characters and not the length.
    [[nodiscard]] char* data() { return buffer_.data(); }
    [[nodiscard]] const char* c_str() const { return buffer_.data(); }
    [[nodiscard]] std::string_view view() const { return {buffer_.data(), state_.length}; }

    /// Lets a function that takes a buffer and its size write the text, which may then fill the buffer.
    template <typename Write>
    auto fill(Write write)
    {
        clear();
        const auto result = write(buffer_.data(), Size);
        buffer_.back() = '\0';
        state_.length = std::string_view{buffer_.data()}.size();
        return result;
    }

    /// Lets a function change the text in place; it may become shorter.
    template <typename Edit>
    auto edit(Edit change)
    {
        const auto result = change(buffer_.data());
        state_.length = std::string_view{buffer_.data()}.size();
        return result;
    }

  private:
    std::array<char, Size> buffer_;
    TextState state_;
};

/// A configuration value, as the general convention bounds it.
using ValueText = Text<126>;

/// A command line.
using CommandText = Text<2046>;

} // namespace qsc
