// SPDX-License-Identifier: Apache-2.0
// A text of bounded length in a buffer of its own: the one place where lengths are checked and where
// text from outside is quoted for the shell.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
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

/// Takes at most Longest characters; the buffer has one byte more than the terminator needs, because a
/// text that reaches the last usable character of a buffer counts as too long.
template <std::size_t Longest, std::size_t Size = Longest + 2>
class Text
{
    static_assert(Size > Longest);

  public:
    Text& append(std::string_view text)
    {
        if (length_ + text.size() > Longest) {
            too_long_ = true;
            return *this;
        }
        std::copy(text.begin(), text.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(length_));
        length_ += text.size();
        buffer_[length_] = '\0';
        return *this;
    }

    Text& append_number(i64 number)
    {
        std::array<char, 20> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        return append({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    /// Appends text for the inside of double quotes in a shell command, so that the command sees it exactly.
    Text& append_quoted(std::string_view text)
    {
        for (const char& character : text) {
            if (std::string_view{"\\\"$`"}.find(character) != std::string_view::npos) {
                append("\\");
            }
            append({&character, 1});
        }
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
        length_ = 0;
        too_long_ = false;
        buffer_[0] = '\0';
    }

    /// Whether everything that was appended is there.
    [[nodiscard]] bool fits() const { return !too_long_; }
    /// The text's own memory, for a function that changes characters and not the length.
    [[nodiscard]] char* data() { return buffer_.data(); }
    [[nodiscard]] const char* c_str() const { return buffer_.data(); }
    [[nodiscard]] std::string_view view() const { return {buffer_.data(), length_}; }

    /// Lets a function that takes a buffer and its size write the text, which may then fill the buffer.
    template <typename Write>
    auto fill(Write write)
    {
        clear();
        const auto result = write(buffer_.data(), Size);
        buffer_.back() = '\0';
        length_ = std::string_view{buffer_.data()}.size();
        return result;
    }

    /// Lets a function change the text in place; it may become shorter.
    template <typename Edit>
    auto edit(Edit change)
    {
        const auto result = change(buffer_.data());
        length_ = std::string_view{buffer_.data()}.size();
        return result;
    }

  private:
    std::array<char, Size> buffer_{};
    std::size_t length_ = 0;
    bool too_long_ = false;
};

/// A configuration value, as the general convention bounds it.
using ValueText = Text<126>;

/// A command line.
using CommandText = Text<2046>;

} // namespace qsc
