// SPDX-License-Identifier: Apache-2.0
// A text that grows up to a limit. What does not fit is left out and remembered.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace qscd
{

class Buffer
{
  public:
    explicit Buffer(std::size_t limit) : limit_(limit) {}
    Buffer(Buffer&& other) noexcept
        : limit_(other.limit_), text_(std::exchange(other.text_, nullptr)),
          size_(std::exchange(other.size_, 0)), room_(std::exchange(other.room_, 0)),
          fits_(std::exchange(other.fits_, true))
    {
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    Buffer& operator=(Buffer&&) = delete;
    ~Buffer() { std::free(text_); }

    [[nodiscard]] std::string_view view() const { return {text_, size_}; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] std::size_t limit() const { return limit_; }

    /// Whether everything that was appended is there.
    [[nodiscard]] bool fits() const { return fits_; }

    /// Makes room after the text; null: beyond the limit, or no memory.
    [[nodiscard]] char* reserve(std::size_t count)
    {
        if (count > limit_ - size_) {
            return nullptr;
        }
        if (size_ + count > room_) {
            const std::size_t room = std::min(limit_, std::max({size_ + count, 2 * room_, kLeast}));
            auto* const text = static_cast<char*>(std::realloc(text_, room));
            if (text == nullptr) {
                return nullptr;
            }
            text_ = text;
            room_ = room;
        }
        return text_ + size_;
    }

    /// Counts what was written into the reserved room.
    void grow(std::size_t count) { size_ += count; }

    Buffer& append(std::string_view text)
    {
        char* const place = fits_ ? reserve(text.size()) : nullptr;
        fits_ = fits_ && (place != nullptr || text.empty());
        if (place != nullptr && !text.empty()) {
            std::memcpy(place, text.data(), text.size());
            size_ += text.size();
        }
        return *this;
    }

    /// Cuts it back to an earlier size.
    void cut(std::size_t size)
    {
        size_ = size;
        fits_ = true;
    }

    /// Takes from the front. One that was large and is empty gives its memory back.
    void take(std::size_t count)
    {
        size_ -= count;
        if (size_ != 0) {
            std::memmove(text_, text_ + count, size_);
        } else if (room_ > kKept) {
            std::free(std::exchange(text_, nullptr));
            room_ = 0;
        }
    }

  private:
    static constexpr std::size_t kLeast = 512;
    static constexpr std::size_t kKept = std::size_t{16} * 1024;

    const std::size_t limit_;
    char* text_ = nullptr;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
    bool fits_ = true;
};

} // namespace qscd
