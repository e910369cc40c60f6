// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_NetworkZone": which interfaces belong together, their VLAN, and what they may reach.
#include <algorithm>
#include <array>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "core/ServiceSteps.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Vlans.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscZone");

bool is_first(const RowCall& call)
{
    return call.request.instance == kFirstZone;
}

u32 check_add_zone(const RowCall& call, std::string_view stored)
{
    const u32 code = check_add(call, stored);
    return code != 0 || !is_first(call) ? code : refuse(EFAULT, "zone %d is the LAN", kFirstZone);
}

/// A zone is deleted once nothing needs it.
u32 check_delete_zone(const RowCall& call, std::string_view stored)
{
    u32 code = check_delete(call, stored);
    if (code != 0 || stored != "1") {
        return code;
    }
    RowText interfaces;
    const std::string_view zone = zone_of(call.request);
    code = read_interfaces(zone, interfaces);
    if (code != 0) {
        return code;
    }
    if (is_first(call)) {
        return refuse(EFAULT, "the LAN cannot be deleted");
    }
    if (!interfaces.view().empty()) {
        return refuse(EFAULT, "the zone has interfaces, which another has to take first");
    }
    const u32 unread = for_each_listed(kDataVlans, [&](i32 number, const char* section) {
        RowText leads_to;
        read_option(kZonePackage, section, "zone", leads_to);
        code = code == 0 && leads_to.view() == zone ? refuse(EFAULT, "data VLAN %d leads to the zone", number)
                                                    : code;
    });
    return unread != 0 ? unread : code;
}

u32 answer_name(const RowCall& call)
{
    return answer_stored(call, zone_of(call.request));
}

/// The name is that of sections in several packages, and part of devices' names.
u32 check_name(const RowCall& call, std::string_view stored)
{
    if (!call.request.is_new) {
        return stored == zone_of(call.request) ? 0 : refuse(EFAULT, "a zone keeps its name");
    }
    const auto is_usual = [](char c) { return is_lower(c) || is_digit(c) || c == '_'; };
    if (stored.empty() || !is_lower(stored.front()) || !std::ranges::all_of(stored, is_usual)) {
        return refuse(EFAULT, "a name is small letters, digits and underscores after a letter");
    }
    // Sections that other objects make when they are first set.
    constexpr std::string_view kReserved = "wan wan6 lan2 loopback globals";
    bool is_taken = has_word(kReserved, stored) || stored.starts_with("vpn") || stored.starts_with("qrn_") ||
                    stored.starts_with("br_");
    (void)for_each_word(kZonePackages, [&](std::string_view package) -> u32 {
        is_taken = is_taken || has_section(package, stored);
        return 0;
    });
    Text<62> section;
    is_taken = is_taken || has_section("network", bridge_section(stored).view()) ||
               find_firewall_zone(stored, section);
    return is_taken ? refuse(EFAULT, "the name is taken") : 0;
}

u32 name_section(const RowCall& call, std::string_view stored)
{
    const Text<254> key = option_key(kZonePackage, zone_of(call.request), "name");
    RowText name;
    return uci_write(key.c_str(), name.assign(stored) ? name.c_str() : "");
}

/// What the request makes of the zone.
u32 read_change(const RowCall& call, VlanChange& change, RowText& interfaces)
{
    RowText vlan;
    u32 code = read_outcome(call, "VLANID", vlan);
    code = code != 0 ? code : read_outcome(call, "Interfaces", interfaces);
    change.zone = call.request.instance;
    (void)parse_whole(vlan.view(), change.vlan);
    change.vlan = change.vlan == 0 && is_first(call) ? 1 : change.vlan;
    change.interfaces = interfaces.view();
    return code;
}

u32 check_interface(std::string_view name)
{
    constexpr std::size_t kLongest = 15; // as the kernel has them
    const auto is_usual = [](char c) {
        return is_lower(to_lower(c)) || is_digit(c) || c == '.' || c == '_' || c == '-';
    };
    const bool is_name =
        name.size() <= kLongest && std::ranges::all_of(name, is_usual) && name != "." && name != "..";
    const int size = static_cast<int>(std::min(name.size(), std::size_t{40}));
    if (!is_name) {
        return refuse(EFAULT, "'%.*s' is no interface", size, name.data());
    }
    const bool is_other = name == "lo" || name.starts_with("br-") || carries("wan", name);
    return is_other ? refuse(EFAULT, "%.*s belongs to no zone", size, name.data()) : 0;
}

u32 check_interfaces(const RowCall& call, std::string_view stored)
{
    VlanChange change;
    RowText interfaces;
    u32 code = for_each_item(stored, [&](std::string_view name) -> u32 {
        const std::string_view rest{name.end(), stored.end()};
        return has_word(rest, name) ? refuse(EFAULT, "it names an interface twice") : check_interface(name);
    });
    code = code != 0 ? code : read_change(call, change, interfaces);
    if (code != 0) {
        return code;
    }
    // Who has no way into the LAN has none to the router.
    RowText lan;
    code = read_interfaces(kLanZone, lan);
    if (code != 0) {
        return code;
    }
    const bool keeps_one = for_each_word(lan.view(), [&](std::string_view name) -> u32 {
                               return has_word(stored, name) ? 0 : EEXIST;
                           }) != 0;
    if (is_first(call) ? stored.empty() : !keeps_one && !lan.view().empty()) {
        return refuse(EFAULT, "the LAN would have no interface");
    }
    return check_management(change);
}

/// An interface is in one zone.
u32 take_from_others(const RowCall& call, std::string_view stored)
{
    ListedSections zones;
    u32 code = zones.read(kZones);
    for (i32 number = zones.next(0); code == 0 && number != 0; number = zones.next(number)) {
        RowText interfaces;
        std::array<Text<30>, 64> names;
        std::array<const char*, 64> kept;
        u32 count = 0;
        bool is_robbed = false;
        if (number == call.request.instance) {
            continue;
        }
        code = read_interfaces(zones.find(number), interfaces);
        code = code != 0 ? code : for_each_word(interfaces.view(), [&](std::string_view name) -> u32 {
            const bool is_taken = has_word(stored, name);
            is_robbed = is_robbed || is_taken;
            if (is_taken) {
                return 0;
            }
            if (count == kept.size() || !names[count].assign(name)) {
                return EFAULT;
            }
            kept[count] = names[count].c_str();
            ++count;
            return 0;
        });
        if (code == 0 && is_robbed) {
            code =
                call_optional(QrnUci_SetList, option_key(kZonePackage, zones.find(number), "iface").c_str(),
                              kept.data(), count);
        }
    }
    return code;
}

u32 check_zone_vlan(const RowCall& call, std::string_view)
{
    VlanChange change;
    RowText interfaces;
    u32 code = read_change(call, change, interfaces);
    const bool is_unchanged = !call.request.is_new && vlan_of(zone_of(call.request)) == change.vlan;
    code = code != 0 || is_unchanged ? code : check_vlan(change);
    return code != 0 ? code : check_management(change);
}

u32 check_isolation(const RowCall& call, std::string_view stored)
{
    return stored == "1" && is_first(call) ? refuse(EFAULT, "the LAN is where the router is managed from")
                                           : 0;
}

u32 arrange_zone(RowRequest& request, bool is_written)
{
    const std::string_view zone = zone_of(request);
    const bool is_gone = !has_section(kZonePackage, zone);
    if (!is_written) {
        return is_gone ? delete_zone(zone) : make_zone(zone);
    }
    const u32 code = arrange_bridges();
    return code != 0 ? code : arrange_isolation();
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kZoneRows[] = {
    {.name = kAddRow.name,
     .kind = Kind::kAdd,
     .access = Access::kWrite,
     .place = Place::kInstance,
     .check = check_add_zone},
    {.name = kDeleteRow.name,
     .kind = Kind::kDelete,
     .access = Access::kWrite,
     .place = Place::kInstance,
     .check = check_delete_zone},
    {.name = "Name",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kNeeded,
     .limits = "1:11",
     .get = answer_name,
     .check = check_name,
     .set = name_section},
    {.name = "Interfaces",
     .access = kReadWrite,
     .place = Place::kList,
     .marks = kMany,
     .key = "iface",
     .check = check_interfaces,
     .set = take_from_others},
    {.name = "VLANID",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = "0:4094",
     .key = "vid",
     .fallback = "0",
     .check = check_zone_vlan},
    {.name = "Isolation",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "isolation",
     .fallback = "0",
     .check = check_isolation},
};

constexpr Row kCountRows[] = {
    {.name = "ZoneNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
};

/// Interfaces also move by the names of access points, which write the zones' lists alone. Where no one has
/// made more of the zones, there is nothing to bring in line.
u32 arrange_moved()
{
    u32 code = call_optional(QrnUci_BeginChange, "network");
    if (code == 0 && call_optional(QrnUci_BeginChange, kZonePackage) != 0) {
        return call_optional(QrnUci_EndChange, 0U);
    }
    if (code != 0) {
        return 0;
    }
    bool is_ours = false;
    (void)for_each_zone([&](i32, const char* zone) { is_ours = is_ours || is_managed(zone); });
    code = is_ours ? arrange_bridges() : 0;
    const u32 ended = call_optional(QrnUci_EndChange, code == 0 ? 1U : 0U);
    return code != 0 ? code : ended;
}

} // namespace

u32 qsc::network::commit_zones(const char*, json_object* request, u32, u32, i64, u64)
{
    return serve_commit(request, [](json_object* wanted) {
        const u32 code = arrange_moved();
        return code != 0 ? refuse(code, "the zones' bridges could not be brought in line")
                         : commit_packages(wanted, kZonePackages);
    });
}

QSC_OBJECT(kZone, "Device.X_QRN_NetworkZone.{i}", kZoneRows, .area = "network zone", .list = &kZones,
           .package = kZonePackages, .arrange = arrange_zone)
QSC_OBJECT(kZoneCount, "Device.X_QRN_NetworkZone", kCountRows, .counted = &kZones)
QSC_OBJECT(kNewZoneCount, "Device.X_QRN_NewZone.", kCountRows, .counted = &kZones)
