// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.AccessPoint": how the virtual access points of both radios behave towards their stations.
#include "core/Objects.h"
#include "handlers/wifi/AccessPoint.h"
#include "handlers/wifi/Security.h"
#include "handlers/wifi/Stations.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiAP");

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Kind kBoolean = Kind::kBoolean;
constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Place kFunction = Place::kFunction;

/// The options that the driver takes while an access point is up, and what it calls them.
constexpr const char* kDriverKeys[][2] = {
    {"hidden", "HideSSID"}, {"isolate", "NoForwarding"}, {"maxsta", "MaxStaNum"},
    {"wmm", "WmmCapable"},  {"uapsd", "UAPSDCapable"},
};

/// An access point that is not up gets all its values when service brings it up.
u32 drive_live(const RowCall& call, std::string_view stored)
{
    const Vap vap = vap_of(call);
    const Key interface = vap.interface();
    if (!is_switched_on(vap) || state_of(call.request.sources, interface.c_str()) == InterfaceState::kDown) {
        return 0;
    }
    const std::string_view option = call.row.key();
    const auto* const found =
        std::ranges::find_if(kDriverKeys, [&](auto& each) { return option == each[0]; });
    return drive(interface.c_str(), (*found)[1], stored);
}

/// One that has keys is brought up by service alone: before, the driver may not know them, and the network
/// would be open. So is the first of a radio switched, whose interface carries the others.
u32 switch_live(const RowCall& call, std::string_view stored)
{
    const Vap vap = vap_of(call);
    const bool on = stored == "1";
    const bool is_live =
        vap.number > 1 && is_stored_on(option_key(vap.radio, "radioOn")) && (!on || is_open(vap));
    return is_live ? switch_interface(vap.interface().c_str(), on) : 0;
}

u32 answer_control(const RowCall& call)
{
    RowText mode;
    const u32 code = read_stored(call.request, call.row, mode);
    return code != 0 ? code : answer_stored(call, mode.view() == kAllow ? "1" : "0");
}

u32 set_control(const RowCall& call, std::string_view stored)
{
    const Key key = vap_of(call).key(call.row.key());
    const char* const mode = stored == "1" ? kAllow : "Off";
    RowText before;
    const bool is_read = read_stored(call.request, call.row, before) == 0;
    const bool is_there = is_read && (before.view() == mode || (before.view().empty() && stored == "0"));
    return is_there ? 0 : uci_write(key.c_str(), mode);
}

u32 answer_status(const RowCall& call)
{
    const Vap vap = vap_of(call);
    const bool is_up = state_of(call.request.sources, vap.interface().c_str()) == InterfaceState::kUp;
    return answer_stored(call, !is_switched_on(vap)                                    ? "Disabled"
                               : find_security_fault(call.request.instance) != nullptr ? "Error_Misconfigured"
                               : is_up                                                 ? "Enabled"
                                                                                       : "Error");
}

u32 answer_stations(const RowCall& call)
{
    const Vap vap = vap_of(call);
    const Stations stations{read_stations(call.request.sources, is_switched_on(vap)), vap.interface().view()};
    return answer_number(call, static_cast<i64>(stations.all().size()));
}

u32 answer_reference(const RowCall& call)
{
    RowText path;
    path.append("Device.WiFi.SSID.").append_number(call.request.instance);
    return answer_stored(call, path.view());
}

constexpr Row kRows[] = {
    {.name = "SSIDAdvertisementEnabled",
     .kind = kBoolean,
     .access = kReadWrite,
     .marks = kInverted,
     .key = "hidden",
     .fallback = "0",
     .set = drive_live},
    {.name = "IsolationEnable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "isolate",
     .fallback = "0",
     .set = drive_live},
    {.name = "MaxAllowedAssociations",
     .kind = kUnsigned,
     .access = kReadWrite,
     .limits = "0:255",
     .key = "maxsta",
     .fallback = "0",
     .set = drive_live},
    {.name = "WMMEnable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "wmm",
     .fallback = "1",
     .set = drive_live},
    {.name = "UAPSDEnable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "uapsd",
     .fallback = "1",
     .set = drive_live},
    {.name = "AllowedMACAddress",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = Place::kList,
     .marks = kMany,
     .key = "maclist",
     .check = check_access_list},
    {.name = "MACAddressControlEnabled",
     .kind = kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .key = "macmode",
     .get = answer_control,
     .check = check_access_list,
     .set = set_control},
    {.name = "Enable",
     .kind = kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .set = switch_live},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
    {.name = "SSIDReference", .kind = Kind::kReference, .place = kFunction, .get = answer_reference},
    {.name = "WMMCapability", .kind = kBoolean, .place = Place::kConstant, .key = "1"},
    {.name = "UAPSDCapability", .kind = kBoolean, .place = Place::kConstant, .key = "1"},
    {.name = "AssociatedDeviceNumberOfEntries",
     .kind = kUnsigned,
     .place = kFunction,
     .get = answer_stations},
};

} // namespace

QSC_OBJECT(kWiFiAccessPoint, "Device.WiFi.AccessPoint.{i}", kRows, .area = "WiFi access point",
           .instances = kLastVap, .exists = has_vap, .locate = locate_vap)
