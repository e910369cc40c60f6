// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.EndPoint.": the router as a station of another network. Service applies it.
#include "core/Objects.h"
#include "handlers/wifi/Security.h"
#include "handlers/wifi/Stations.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiEP");

/// The interface on either radio.
constexpr const char* kInterfaces[] = {"apcli0", "apclix0"};

/// Whether a mode encrypts with the passphrase.
bool needs_passphrase(std::string_view mode)
{
    return mode.find("-Personal") != std::string_view::npos;
}

/// What the end point lacks once the request is done; null: nothing.
const char* find_fault(const RowCall& call)
{
    RowText value;
    if (read_outcome(call, "X_QRN_SSID", value) != 0 || value.view().empty()) {
        return "an end point needs the name of a network";
    }
    const bool is_known = read_outcome(call, "X_QRN_ModeEnabled", value) == 0;
    if (!is_known ||
        (needs_passphrase(value.view()) &&
         (read_outcome(call, "X_QRN_KeyPassphrase", value) != 0 || !is_pre_shared_key(value.view())))) {
        return "its mode needs a passphrase";
    }
    return nullptr;
}

u32 check_whole(const RowCall& call, std::string_view)
{
    RowText enable;
    const bool will_be_on = read_outcome(call, "Enable", enable) == 0 && qsc::is_switched_on(enable.view());
    const char* const fault = will_be_on ? find_fault(call) : nullptr;
    return fault != nullptr ? refuse(EFAULT, "%s", fault) : 0;
}

u32 check_passphrase(const RowCall&, std::string_view stored)
{
    return is_pre_shared_key(stored) ? 0 : refuse(EFAULT, "it has characters that are not ASCII");
}

bool is_on()
{
    return is_stored_on(option_key("mtkwireless.endpoint.", "enable"));
}

/// The table has the network's access point as the one station of the interface.
Stations peers_of(const RowCall& call)
{
    RowText radio;
    (void)read_stored(call.request, *find_row(call.request.object, "X_QRN_Radio"), radio);
    return {read_stations(call.request.sources, is_on()), kInterfaces[radio.view() == "2" ? 1 : 0]};
}

u32 answer_status(const RowCall& call)
{
    return answer_stored(call, !is_on()                        ? "Disabled"
                               : find_fault(call) != nullptr   ? "Error_Misconfigured"
                               : !peers_of(call).all().empty() ? "Enabled"
                                                               : "Error");
}

u32 answer_peer(const RowCall& call)
{
    const Stations peers = peers_of(call);
    RowText value;
    if (!peers.all().empty()) {
        read_value(call.row, find_column(peers.header(), call.row.key()), peers.all()[0].line, value);
    }
    return answer_stored(call, value.view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "X_QRN_SSID", .access = kReadWrite, .limits = ":32", .key = "ssid", .check = check_whole},
    {.name = "X_QRN_BSSID", .kind = Kind::kMacAddress, .access = kReadWrite, .key = "bssid"},
    {.name = "X_QRN_Radio",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .limits = "1:2",
     .key = "radio",
     .fallback = "1"},
    {.name = "X_QRN_KeyPassphrase",
     .access = kReadWrite,
     .marks = kSecret,
     .limits = "8:63",
     .key = "psk",
     .check = check_passphrase},
    {.name = "X_QRN_ModeEnabled",
     .kind = Kind::kWord,
     .access = kReadWrite,
     .limits = "None|WPA-Personal|WPA2-Personal|WPA3-Personal|WPA-WPA2-Personal|WPA3-Personal-Transition|OWE",
     .key = "auth",
     .fallback = "None",
     .check = check_whole},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_whole},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
    // The names of this device are access points' alone.
    {.name = "SSIDReference", .kind = Kind::kReference, .place = Place::kConstant, .key = ""},
    {.name = "X_QRN_SignalStrength",
     .kind = Kind::kInteger,
     .place = kFunction,
     .unit = Unit::kDbm,
     .key = "RSSI",
     .get = answer_peer},
    {.name = "X_QRN_LastDataDownlinkRate",
     .kind = Kind::kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .key = "DOWNLINK",
     .get = answer_peer},
    {.name = "X_QRN_LastDataUplinkRate",
     .kind = Kind::kUnsigned,
     .place = kFunction,
     .unit = Unit::kKbitPerSecond,
     .key = "UPLINK",
     .get = answer_peer},
};

} // namespace

QSC_OBJECT(kWiFiEndPoint, "Device.WiFi.EndPoint.", kRows, .area = "WiFi end point",
           .section = "mtkwireless.endpoint.", .section_type = "endpoint", .package = "mtkwireless")
