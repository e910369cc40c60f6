// SPDX-License-Identifier: Apache-2.0
// Hardware addresses as numbers, and those of the virtual access points, which are made from the one that the
// device got in the factory.
#pragma once

#include <array>
#include <string_view>

#include "base/Parse.h"

namespace qsc::wifi
{

using MacAddress = std::array<u8, 6>;

/// Reads a text that is_mac_address() has found to be one.
constexpr MacAddress parse_address(std::string_view text)
{
    MacAddress address{};
    for (std::size_t i = 0; i < address.size(); ++i) {
        address[i] = static_cast<u8>(hex_value(text[3 * i]) << 4 | hex_value(text[3 * i + 1]));
    }
    return address;
}

/// How many addresses are made from one.
inline constexpr u32 kMadeAddresses = 16;

/// Makes one of the addresses from a base that is unicast. The first is the base itself. The others are
/// locally administered and have their number in the upper half of their first byte: the rest stays the
/// factory's, so that devices with neighbouring addresses make none in common.
constexpr MacAddress make_address(MacAddress base, u32 number)
{
    constexpr u8 kLocal = 0x02;
    const auto own = static_cast<u8>((base[0] ^ (number << 4)) | kLocal);
    base[0] = number == 0 ? base[0] : own;
    return base;
}

} // namespace qsc::wifi
