// SPDX-License-Identifier: Apache-2.0
// Explicit byte order and bit counting.
#include <bit>

#include "base/Octet.h"
#include "include/bacl.h"

using namespace qsc;

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
