// SPDX-License-Identifier: Apache-2.0
// The network zones of the configuration and their networks. A zone is a section of the package
// "qrnnetworkzone"; what the packages "network", "dhcp" and "firewall" hold for it goes by the same name.
#pragma once

#include <string_view>

#include "core/GrowingList.h"
#include "handlers/network/Networks.h"

namespace qsc::network
{

inline constexpr const char* kZonePackage = "qrnnetworkzone";

/// The zones where they are only looked up.
inline constexpr GrowingList kZones{.package = kZonePackage, .type = "zone"};

/// The zone that the router itself cannot be without.
inline constexpr i32 kFirstZone = 1;

/// Calls use(number, name) for each zone, by rising numbers. @return the code of ListedSections::read()
template <typename Use>
u32 for_each_zone(Use use)
{
    ListedSections zones;
    const u32 code = zones.read(kZones);
    for (i32 number = code == 0 ? zones.next(0) : 0; number != 0; number = zones.next(number)) {
        use(number, zones.find(number));
    }
    return code;
}

/// Finds the zone whose network an address belongs to: its number, and if wanted its name and its network.
/// 0: there is none.
[[nodiscard]] i32 find_zone_of(u32 address, RowText* name = nullptr, Network* network = nullptr);

} // namespace qsc::network
