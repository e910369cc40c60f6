// SPDX-License-Identifier: Apache-2.0
// Explicit byte order and bit counting. Values are put together from single bytes, so neither the host's
// order nor the pointer's alignment matters.
#include <bit>
#include <cerrno>
#include <cstddef>

#include "base/Types.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

enum class Order { kBig, kLittle };

template <Order kOrder, typename Value>
constexpr unsigned shift_of(std::size_t index)
{
    return static_cast<unsigned>(8 * (kOrder == Order::kBig ? sizeof(Value) - 1 - index : index));
}

template <Order kOrder, typename Value>
Value get(const u8* data)
{
    u32 value = 0;
    for (std::size_t i = 0; data != nullptr && i < sizeof(Value); ++i) {
        value |= u32{data[i]} << shift_of<kOrder, Value>(i);
    }
    return static_cast<Value>(value);
}

template <Order kOrder, typename Value>
u32 put(u8* data, Value value)
{
    if (data == nullptr) {
        return EINVAL;
    }
    for (std::size_t i = 0; i < sizeof(Value); ++i) {
        data[i] = static_cast<u8>(value >> shift_of<kOrder, Value>(i));
    }
    return 0;
}

} // namespace

uint32_t BaCL_GetBitNumber(uint32_t value)
{
    return static_cast<u32>(std::popcount(value & 0xFu));
}

uint16_t BaCL_GetUint16Be(const uint8_t* data)
{
    return get<Order::kBig, u16>(data);
}

uint16_t BaCL_GetUint16Le(const uint8_t* data)
{
    return get<Order::kLittle, u16>(data);
}

uint32_t BaCL_GetUint32Be(const uint8_t* data)
{
    return get<Order::kBig, u32>(data);
}

uint32_t BaCL_GetUint32Le(const uint8_t* data)
{
    return get<Order::kLittle, u32>(data);
}

uint32_t BaCL_PutUint16Be(uint8_t* data, uint16_t value)
{
    return put<Order::kBig>(data, value);
}

uint32_t BaCL_PutUint16Le(uint8_t* data, uint16_t value)
{
    return put<Order::kLittle>(data, value);
}

uint32_t BaCL_PutUint32Be(uint8_t* data, uint32_t value)
{
    return put<Order::kBig>(data, value);
}

uint32_t BaCL_PutUint32Le(uint8_t* data, uint32_t value)
{
    return put<Order::kLittle>(data, value);
}
