// SPDX-License-Identifier: Apache-2.0
// What the packages "network", "dhcp" and "firewall" hold for a zone. Everything here is called within a
// change of these packages.
#pragma once

#include <string_view>

#include "handlers/network/Zones.h"

namespace qsc::network
{

/// Whether the packages are looked after here: the zone has the bridge that make_zone() makes.
[[nodiscard]] bool is_managed(std::string_view zone);

/// The section of a zone's bridge, and the bridge itself, which fits into a kernel device's name.
[[nodiscard]] Text<62> bridge_section(std::string_view zone);
[[nodiscard]] Text<62> bridge_device(std::string_view zone);

/// Finds the section of a zone of the firewall. False: there is none.
[[nodiscard]] bool find_firewall_zone(std::string_view zone, Text<62>& section);

/// Makes what a zone lacks. It has no address and is off, and its ways lead to the Internet.
[[nodiscard]] u32 make_zone(std::string_view zone);

/// The same, and arranges the ways from a zone that has had nothing until now.
[[nodiscard]] u32 make_arranged_zone(std::string_view zone);

/// Deletes all of it.
[[nodiscard]] u32 delete_zone(std::string_view zone);

/// Opens or closes the ways from each zone to the router and the others, as their isolation says.
[[nodiscard]] u32 arrange_isolation();

/// Whether the firewall lets a zone through to another, and says so.
[[nodiscard]] bool is_forwarded(std::string_view from, std::string_view to);
[[nodiscard]] u32 forward(std::string_view from, std::string_view to, bool is_on);

/// Brings the bridges and VLANs in line with the zones' interfaces, their VLANs, and the VLANs of data and
/// management.
[[nodiscard]] u32 arrange_bridges();

/// The LAN's bridge, and the section that has its ports. False: no section does.
[[nodiscard]] bool find_lan_bridge(Text<62>& bridge, Text<62>& section);

/// A section that is one of a VLAN and was made here.
inline constexpr std::string_view kVlanSection = "qrn_vlan_";

/// The VLAN of a zone; 0: it has none. That of the LAN is 1 unless it has another.
[[nodiscard]] u32 vlan_of(std::string_view zone);

} // namespace qsc::network
