// SPDX-License-Identifier: Apache-2.0
// Memory that is given back all at once: what a parsed package is made of.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>
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

    /// Makes a record; null: no memory.
    template <typename Record>
    [[nodiscard]] Record* make()
    {
        void* const place = allocate((sizeof(Record) + kAlignment - 1) / kAlignment * kAlignment);
        if (place == nullptr) {
            return nullptr;
        }
        return new (place) Record{};
    }

    /// Makes room for text; null: no memory.
    [[nodiscard]] char* make_text(std::size_t size)
    {
        return allocate((size + kAlignment) / kAlignment * kAlignment);
    }

  private:
    struct Chunk {
        Chunk* next;
    };
    static constexpr std::size_t kAlignment = alignof(std::max_align_t);
    static constexpr std::size_t kHeader = (sizeof(Chunk) + kAlignment - 1) / kAlignment * kAlignment;
    static constexpr std::size_t kChunkSize = 8192;

    char* allocate(std::size_t size)
    {
        if (static_cast<std::size_t>(end_ - free_) < size) {
            const std::size_t room = size > kChunkSize - kHeader ? size : kChunkSize - kHeader;
            auto* const chunk = static_cast<Chunk*>(std::malloc(kHeader + room));
            if (chunk == nullptr) {
                return nullptr;
            }
            chunk->next = std::exchange(chunks_, chunk);
            free_ = reinterpret_cast<char*>(chunk) + kHeader;
            end_ = free_ + room;
        }
        return std::exchange(free_, free_ + size);
    }

    Chunk* chunks_ = nullptr;
    char* free_ = nullptr;
    char* end_ = nullptr;
};

} // namespace qrnuci
