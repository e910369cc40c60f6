// SPDX-License-Identifier: Apache-2.0
// Memory that is given back all at once: what a parsed package is made of.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

namespace qrnuci
{

class Arena
{
  public:
    Arena() = default;
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;
    ~Arena() { clear(); }

    void clear()
    {
        while (chunks_ != nullptr) {
            std::free(std::exchange(chunks_, chunks_->next));
        }
        free_ = end_ = nullptr;
    }

    /// Makes a record, or some in a row; null: no memory.
    template <typename Record>
    [[nodiscard]] Record* make(std::size_t count = 1)
    {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): records may be pointers
        const std::size_t size = (count * sizeof(Record) + kAlignment - 1) / kAlignment * kAlignment;
        if (!has_room(size)) {
            return nullptr;
        }
        auto* const records = reinterpret_cast<Record*>(std::exchange(free_, free_ + size));
        std::uninitialized_value_construct_n(records, count);
        return records;
    }

    /// Makes room for text and its end; null: no memory. Texts come from the other end of a chunk, where they
    /// need not be aligned.
    [[nodiscard]] char* make_text(std::size_t size)
    {
        if (!has_room(size + 1)) {
            return nullptr;
        }
        end_ -= size + 1;
        return end_;
    }

  private:
    struct Chunk {
        Chunk* next;
    };
    static constexpr std::size_t kAlignment = alignof(std::max_align_t);
    static constexpr std::size_t kHeader = (sizeof(Chunk) + kAlignment - 1) / kAlignment * kAlignment;
    static constexpr std::size_t kChunkSize = 8192;

    /// Makes a new chunk where the last one has not enough room left.
    bool has_room(std::size_t size)
    {
        if (static_cast<std::size_t>(end_ - free_) >= size) {
            return true;
        }
        const std::size_t room = size > kChunkSize - kHeader ? size : kChunkSize - kHeader;
        auto* const chunk = static_cast<Chunk*>(std::malloc(kHeader + room));
        if (chunk == nullptr) {
            return false;
        }
        chunk->next = std::exchange(chunks_, chunk);
        free_ = reinterpret_cast<char*>(chunk) + kHeader;
        end_ = free_ + room;
        // cppcheck-suppress memleak  // false alarm: the list of chunks has it
        return true;
    }

    Chunk* chunks_ = nullptr;
    char* free_ = nullptr;
    char* end_ = nullptr;
};

} // namespace qrnuci
