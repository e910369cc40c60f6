// SPDX-License-Identifier: Apache-2.0
// Text of any length that is put together piece by piece.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace qrnuci
{

class Growing
{
  public:
    Growing() = default;
    Growing(const Growing&) = delete;
    Growing& operator=(const Growing&) = delete;
    ~Growing() { std::free(text_); }

    Growing& append(std::string_view text)
    {
        if (length_ + text.size() > room_) {
            const std::size_t room = std::max<std::size_t>(256, 2 * (length_ + text.size()));
            auto* const grown = static_cast<char*>(std::realloc(text_, room));
            if (grown == nullptr) {
                failed_ = true;
                return *this;
            }
            text_ = grown;
            room_ = room;
        }
        std::copy(text.begin(), text.end(), text_ + length_);
        length_ += text.size();
        return *this;
    }

    /// Keeps the first bytes alone. What failed after them does not count any more.
    void shorten(std::size_t length)
    {
        length_ = length;
        failed_ = false;
    }

    [[nodiscard]] bool failed() const { return failed_; }
    [[nodiscard]] std::string_view view() const { return {text_, length_}; }

  private:
    char* text_ = nullptr;
    std::size_t length_ = 0;
    std::size_t room_ = 0;
    bool failed_ = false;
};

} // namespace qrnuci
