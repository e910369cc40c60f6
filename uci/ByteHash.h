// SPDX-License-Identifier: Apache-2.0
// A hash of a file's bytes, to tell whether they are still the same.
#pragma once

#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include <sys/types.h>

#include "base/Types.h"

namespace qrnuci
{

using qsc::u64;

/// Takes bytes in parts, of which all but the last are multiples of its step. Four lanes that do not wait for
/// each other keep it as fast as the reading.
class ByteHash
{
  public:
    void add(std::string_view bytes)
    {
        Step step{};
        for (; bytes.size() >= sizeof step; bytes.remove_prefix(sizeof step)) {
            std::memcpy(step.data(), bytes.data(), sizeof step);
            mix(step, sizeof step);
        }
        if (!bytes.empty()) {
            step = {};
            std::memcpy(step.data(), bytes.data(), bytes.size());
            mix(step, bytes.size());
        }
    }

    [[nodiscard]] u64 value() const
    {
        u64 hash = 0;
        for (const u64 lane : lanes_) {
            hash = std::rotl((hash ^ lane) * kFactor, 31);
        }
        return hash;
    }

  private:
    using Step = std::array<u64, 4>;
    static constexpr u64 kFactor = 0x9E3779B97F4A7C15;

    void mix(const Step& step, std::size_t size)
    {
        for (std::size_t lane = 0; lane < step.size(); ++lane) {
            lanes_[lane] = std::rotl((lanes_[lane] ^ step[lane]) * kFactor, 29) + size;
        }
    }

    Step lanes_{1, 2, 3, 4};
};

inline u64 hash_bytes(std::string_view bytes)
{
    ByteHash hash;
    hash.add(bytes);
    return hash.value();
}

} // namespace qrnuci
