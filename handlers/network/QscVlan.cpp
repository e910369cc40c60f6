// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_NetworkZone.ManagementVlan" and ".DataVlan": the VLAN that the router is managed in, and
// further VLANs of the wired ports, each of which leads to a zone.
#include "core/Objects.h"
#include "handlers/network/References.h"
#include "handlers/network/Vlans.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscVlan");

u32 read_number(const RowCall& call, const char* name, u32& number)
{
    RowText text;
    number = 0;
    const u32 code = read_outcome(call, name, text);
    (void)(parse_whole(text.view(), number) || (is_switched_on(text.view()) && (number = 1) != 0));
    return code;
}

/// Judges the management's VLAN as it will be.
u32 check_management_vlan(const RowCall& call, std::string_view)
{
    u32 vlan = 0;
    u32 is_tagged = 0;
    u32 is_on = 0;
    u32 code = read_number(call, "VLANID", vlan);
    code = code != 0 ? code : read_number(call, "Tagged", is_tagged);
    code = code != 0 ? code : read_number(call, "Enable", is_on);
    if (code != 0 || is_on == 0) {
        return code;
    }
    if (vlan == 0) {
        return refuse(EFAULT, "it needs a VLAN");
    }
    if (!is_carried(vlan, {})) {
        return refuse(EFAULT, "no port carries VLAN %u", vlan);
    }
    return is_tagged != 0 && vlan == vlan_of(kLanZone)
               ? refuse(EFAULT, "VLAN %u is that of the LAN, which the wired ports carry untagged", vlan)
               : 0;
}

u32 read_change(const RowCall& call, VlanChange& change)
{
    u32 is_on = 0;
    u32 code = read_number(call, "VLANID", change.vlan);
    code = code != 0 ? code : read_number(call, "Enable", is_on);
    change.data = call.request.instance;
    change.vlan = is_on != 0 ? change.vlan : 0;
    return code;
}

u32 check_data_vlan(const RowCall& call, std::string_view stored)
{
    VlanChange taken{.data = call.request.instance};
    VlanChange change;
    (void)parse_whole(stored, taken.vlan);
    u32 code = check_vlan(taken);
    code = code != 0 ? code : read_change(call, change);
    return code != 0 ? code : check_management(change);
}

u32 check_data_enable(const RowCall& call, std::string_view)
{
    VlanChange change;
    const u32 code = read_change(call, change);
    return code != 0 ? code : check_management(change);
}

u32 check_delete_vlan(const RowCall& call, std::string_view stored)
{
    const u32 code = check_delete(call, stored);
    return code != 0 || stored != "1" ? code : check_management({.data = call.request.instance});
}

u32 answer_zone(const RowCall& call)
{
    RowText name;
    RowText reference;
    const u32 code = read_stored(call.request, call.row, name);
    refer_to_interface(name.view(), reference);
    return code != 0 ? code : answer_stored(call, reference.view());
}

u32 check_zone(const RowCall&, std::string_view stored)
{
    RowText name;
    if (!find_interface(stored, name) || !has_section(kZonePackage, name.view())) {
        return refuse(EFAULT, "there is no such zone");
    }
    return name.view() == kLanZone ? refuse(EFAULT, "the LAN has the VLAN of its zone alone") : 0;
}

u32 store_zone(const RowCall& call, std::string_view stored)
{
    RowText name;
    (void)find_interface(stored, name);
    return write_stored(call, name.view());
}

u32 arrange_data(RowRequest& request, bool is_written)
{
    RowText zone;
    if (!is_written) {
        return 0;
    }
    read_option(kZonePackage, zone_of(request), "zone", zone);
    const u32 code = zone.view().empty() ? 0 : make_arranged_zone(zone.view());
    return code != 0 ? code : arrange_bridges();
}

u32 arrange_management(RowRequest&, bool is_written)
{
    return is_written ? arrange_bridges() : 0;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;
constexpr Kind kBoolean = Kind::kBoolean;

constexpr Row kManagementRows[] = {
    {.name = "VLANID",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = "0:4094",
     .key = "vlan_id",
     .fallback = "0",
     .check = check_management_vlan},
    {.name = "Tagged",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "tagged",
     .fallback = "0",
     .check = check_management_vlan},
    {.name = "Enable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_management_vlan},
};

constexpr Row kDataRows[] = {
    kAddRow,
    {.name = kDeleteRow.name,
     .kind = Kind::kDelete,
     .access = Access::kWrite,
     .place = Place::kInstance,
     .check = check_delete_vlan},
    {.name = "VLANID",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .marks = kNeeded,
     .limits = "1:4094",
     .key = "vlan_id",
     .check = check_data_vlan},
    {.name = "Zone",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kNeeded,
     .limits = ":256",
     .key = "zone",
     .get = answer_zone,
     .check = check_zone,
     .set = store_zone},
    {.name = "Enable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_data_enable},
};

constexpr Row kDataCountRows[] = {
    {.name = "DataVlanNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
};

} // namespace

QSC_OBJECT(kManagementVlan, "Device.X_QRN_NetworkZone.ManagementVlan", kManagementRows,
           .area = "management vlan", .section = "qrnnetworkzone.mgmtvlan.", .section_type = "mgmtvlan",
           .package = "qrnnetworkzone network", .arrange = arrange_management)
QSC_OBJECT(kDataVlan, "Device.X_QRN_NetworkZone.DataVlan.{i}", kDataRows, .area = "data vlan",
           .list = &kDataVlans, .package = kZonePackages, .arrange = arrange_data)
QSC_OBJECT(kDataVlanCount, "Device.X_QRN_NetworkZone.DataVlan", kDataCountRows, .counted = &kDataVlans)
