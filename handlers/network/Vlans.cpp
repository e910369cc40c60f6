// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Vlans.h"

#include "handlers/network/SectionNames.h"

namespace qsc::network
{

namespace
{

/// Calls use(section, vlan) for each VLAN of bridges that was not made here.
template <typename Use>
void for_each_other_vlan(Use use)
{
    SectionNames names;
    (void)names.read("network", "bridge-vlan");
    (void)names.for_each([&](std::string_view name) -> u32 {
        if (!name.starts_with(kVlanSection)) {
            use(name, read_option_number("network", name, "vlan"));
        }
        return 0;
    });
}

/// Whether a zone has an interface once others are given those of the change.
bool keeps_interface(std::string_view zone, std::string_view taken)
{
    RowText interfaces;
    (void)read_interfaces(zone, interfaces); // of what cannot be read, nothing is known to be kept
    return for_each_word(interfaces.view(), [&](std::string_view interface) -> u32 {
               return has_word(taken, interface) ? 0 : EEXIST;
           }) != 0;
}

} // namespace

u32 check_vlan(const VlanChange& change)
{
    Text<62> bridge;
    Text<62> section;
    const u32 vlan = change.vlan;
    if (vlan == 0) {
        return 0;
    }
    if (change.zone != kFirstZone && !find_lan_bridge(bridge, section)) {
        return refuse(EFAULT, "the LAN has no bridge with known ports that could carry a VLAN");
    }
    Text<126> owner;
    u32 code = for_each_zone([&](i32 number, const char* zone) {
        if (number != change.zone && vlan_of(zone) == vlan) {
            owner.clear();
            owner.append("zone ").append(zone);
        }
    });
    const u32 unread = for_each_listed(kDataVlans, [&](i32 number, const char* name) {
        if (number != change.data && read_option_number(kZonePackage, name, "vlan_id") == vlan) {
            owner.clear();
            owner.append("data VLAN ").append_number(number);
        }
    });
    if (change.zone != kFirstZone) {
        for_each_other_vlan([&](std::string_view name, u32 other) {
            if (other == vlan) {
                owner.clear();
                owner.append("network.").append(name);
            }
        });
    }
    code = code != 0 ? code : unread;
    return code != 0              ? code
           : owner.view().empty() ? 0
                                  : refuse(EFAULT, "VLAN %u is that of %s", vlan, owner.c_str());
}

bool is_carried(u32 vlan, const VlanChange& change)
{
    bool is_found = false;
    (void)for_each_zone([&](i32 number, const char* zone) {
        is_found = is_found || (number == change.zone
                                    ? change.vlan == vlan && !change.interfaces.empty()
                                    : vlan_of(zone) == vlan && keeps_interface(zone, change.interfaces));
    });
    (void)for_each_listed(kDataVlans, [&](i32 number, const char* name) {
        is_found = is_found ||
                   (number == change.data ? change.vlan == vlan
                                          : is_option_on(kZonePackage, name, "enable") &&
                                                read_option_number(kZonePackage, name, "vlan_id") == vlan);
    });
    // A new zone or data VLAN is in no list yet.
    is_found = is_found || (change.vlan == vlan && (change.data != 0 || !change.interfaces.empty()));
    for_each_other_vlan([&](std::string_view name, u32 other) {
        RowText ports;
        read_option("network", name, "ports", ports);
        is_found = is_found || (other == vlan && !ports.view().empty());
    });
    return is_found;
}

u32 check_management(const VlanChange& change)
{
    constexpr const char* kSection = "mgmtvlan";
    const u32 vlan = read_option_number(kZonePackage, kSection, "vlan_id");
    const bool is_lost =
        is_option_on(kZonePackage, kSection, "enable") && is_carried(vlan, {}) && !is_carried(vlan, change);
    return is_lost ? refuse(EFAULT, "VLAN %u, that of the management, would have no port", vlan) : 0;
}

} // namespace qsc::network
