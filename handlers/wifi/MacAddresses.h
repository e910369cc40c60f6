// SPDX-License-Identifier: Apache-2.0
// The addresses of the virtual access points, made from the one that the device got in the factory.
#pragma once

#include <array>

#include "base/Types.h"

namespace qsc::wifi
{

using MacAddress = std::array<u8, 6>;

/// How many addresses are made from one.
inline constexpr u32 kMadeAddresses = 16;

/// Makes one of the addresses from a base that is unicast. The first is the base itself. The others are
/// locally administered and have their number in the upper half of their first byte: the rest stays the
/// factory's, so that devices with neighbouring addresses make none in common.
constexpr MacAddress make_address(MacAddress base, u32 number)
{
    constexpr u8 kLocal = 0x02;
    const auto own = static_cast<u8>((base[0] ^ (number << 4)) | kLocal);
    base[0] = number % kMadeAddresses == 0 ? base[0] : own;
    return base;
}

} // namespace qsc::wifi
