// SPDX-License-Identifier: Apache-2.0
// Numbers in explicit byte order, read and written byte by byte, so that neither the host's byte order nor
// the pointer's alignment matters.
#pragma once

#include <cerrno>
#include <cstddef>

#include "base/Types.h"

namespace qsc
{

enum class Order { kBig, kLittle };

template <Order kOrder, typename Value>
constexpr unsigned shift_of(std::size_t index)
{
    return static_cast<unsigned>(8 * (kOrder == Order::kBig ? sizeof(Value) - 1 - index : index));
}

template <Order kOrder, typename Value>
inline Value get(const u8* data)
{
    u32 value = 0;
    for (std::size_t i = 0; data != nullptr && i < sizeof(Value); ++i) {
        value |= u32{data[i]} << shift_of<kOrder, Value>(i);
    }
    return static_cast<Value>(value);
}

template <Order kOrder, typename Value>
inline u32 put(u8* data, Value value)
{
    if (data == nullptr) {
        return EINVAL;
    }
    for (std::size_t i = 0; i < sizeof(Value); ++i) {
        data[i] = static_cast<u8>(value >> shift_of<kOrder, Value>(i));
    }
    return 0;
}

} // namespace qsc
