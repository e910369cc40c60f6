// SPDX-License-Identifier: Apache-2.0
// A text of bounded length in its own buffer. This is the only place where lengths are checked and where
// outside text is quoted for the shell.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// Returns the empty text for null.
constexpr const char* or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

constexpr bool is_empty(const char* text)
{
    return text == nullptr || *text == '\0';
}

/// Has use(context, part) told each part between separators, without the blanks around it, until one call
/// returns non-zero. Empty parts are passed over. @return that code, else 0
u32 walk_parts(std::string_view text, char separator, u32 (*use)(void* context, std::string_view part),
               void* context);

template <typename Use>
u32 for_each_part(std::string_view text, char separator, Use& use)
{
    return walk_parts(
        text, separator,
        [](void* context, std::string_view part) -> u32 { return (*static_cast<Use*>(context))(part); },
        &use);
}

/// Calls use(word) for each blank-separated word, until one returns non-zero. @return that code, else 0
template <typename Use>
u32 for_each_word(std::string_view text, Use use)
{
    return for_each_part(text, ' ', use);
}

/// Calls use(item) for each item between commas, blanks around it left out, until one returns non-zero.
template <typename Use>
u32 for_each_item(std::string_view list, Use use)
{
    return for_each_part(list, ',', use);
}

/// Whether a text has a word between its blanks.
[[nodiscard]] inline bool is_word_of(std::string_view text, std::string_view word)
{
    return for_each_word(text, [&](std::string_view each) -> u32 { return each == word ? 1 : 0; }) != 0;
}

/// The state of a text. The functions below work on texts of every size, so that their code exists once.
struct TextState {
    std::size_t length = 0;
    bool too_long = false;
};

void append_text(char* buffer, TextState& state, std::size_t longest, std::string_view text);
void append_quoted_text(char* buffer, TextState& state, std::size_t longest, std::string_view text);
void append_number_text(char* buffer, TextState& state, std::size_t longest, i64 number);

/// Holds at most Longest characters. The buffer has one byte to spare besides the terminator, because a text
/// that reaches the last usable character of a buffer counts as too long.
template <std::size_t Longest, std::size_t Size = Longest + 2>
class Text
{
    static_assert(Size > Longest);

  public:
    // The rest is left uninitialised: clearing 2 KiB for a command of 50 characters would be measurable.
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

    /// Appends text that belongs inside double quotes in a shell command, escaped so that the command
    /// receives it unchanged.
    Text& append_quoted(std::string_view text)
    {
        append_quoted_text(buffer_.data(), state_, Longest, text);
        return *this;
    }

    /// Replaces the text. Returns false if it is too long.
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

    /// Whether everything that was appended has fitted.
    [[nodiscard]] bool fits() const { return !state_.too_long; }
    /// The buffer, for functions that change characters but not the length.
    [[nodiscard]] char* data() { return buffer_.data(); }
    [[nodiscard]] const char* c_str() const { return buffer_.data(); }
    [[nodiscard]] std::string_view view() const { return {buffer_.data(), state_.length}; }

    /// Has a function that takes a buffer and its size write the text, which may fill the whole buffer.
    template <typename Write>
    auto fill(Write write)
    {
        clear();
        const auto result = write(buffer_.data(), Size);
        buffer_.back() = '\0';
        state_.length = std::string_view{buffer_.data()}.size();
        return result;
    }

    /// Has a function change the text in place, possibly to a shorter one.
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

/// A configuration value of the usual maximum length.
using ValueText = Text<126>;

/// A command line.
using CommandText = Text<2046>;

} // namespace qsc
