// SPDX-License-Identifier: Apache-2.0
// What is right for VLANs: each is one zone's or one data VLAN's, and that of the management keeps a port.
#pragma once

#include <string_view>

#include "handlers/network/ZoneSections.h"

namespace qsc::network
{

/// What a request makes of one zone, or of one data VLAN.
struct VlanChange {
    i32 zone = 0;
    i32 data = 0;
    u32 vlan = 0;                  ///< 0: it has none, or is off
    std::string_view interfaces{}; ///< of the zone; other zones lose them
};

/// Judges a VLAN that somebody is to have: no one else has it, and the LAN's bridge can carry it.
[[nodiscard]] u32 check_vlan(const VlanChange& change);

/// Judges a change by whether it leaves the management's VLAN a port.
[[nodiscard]] u32 check_management(const VlanChange& change);

/// Whether some port carries a VLAN once the change is made.
[[nodiscard]] bool is_carried(u32 vlan, const VlanChange& change);

} // namespace qsc::network
