// SPDX-License-Identifier: Apache-2.0
// The addresses that are made from the one of the factory.
#include <set>

#include <gtest/gtest.h>

#include "handlers/wifi/MacAddresses.h"

using qsc::wifi::kMadeAddresses;
using qsc::wifi::MacAddress;
using qsc::wifi::make_address;

namespace
{

MacAddress address_of(uint64_t number)
{
    MacAddress address;
    for (size_t i = 0; i < address.size(); ++i) {
        address[i] = static_cast<uint8_t>(number >> 8 * (address.size() - 1 - i));
    }
    return address;
}

} // namespace

TEST(MacAddresses, AreUniqueUnicastAndLocalWhateverTheFirstByteIs)
{
    for (unsigned first = 0; first < 256; first += 2) {
        const MacAddress base{static_cast<uint8_t>(first), 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        std::set<MacAddress> seen;
        for (uint32_t i = 0; i < kMadeAddresses; ++i) {
            const MacAddress made = make_address(base, i);
            EXPECT_TRUE(seen.insert(made).second) << first << " " << i;
            EXPECT_EQ(made[0] & 1, 0) << first << " " << i;
            EXPECT_EQ(i == 0 || (made[0] & 2) != 0, true) << first << " " << i;
        }
        EXPECT_EQ(make_address(base, 0), base);
    }
}

// Devices that leave the factory one after the other stand in the same house.
TEST(MacAddresses, OfNeighboursDifferAlsoWhereTheirBasesWrap)
{
    for (const uint64_t middle :
         {uint64_t{0x0000'5E00'5300}, uint64_t{0x0000'5EFF'FF00}, uint64_t{0xFCFF'FFFF'FE00}}) {
        std::set<MacAddress> seen;
        for (uint64_t last = 0; last < 512; ++last) {
            for (uint32_t i = 0; i < kMadeAddresses; ++i) {
                EXPECT_TRUE(seen.insert(make_address(address_of(middle + last), i)).second)
                    << middle + last << " " << i;
            }
        }
    }
}
