// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.SSID": the virtual access points of both radios, and their counters.
#include <optional>

#include "core/Objects.h"
#include "handlers/wifi/MeshTopology.h"
#include "handlers/wifi/Wifi.h"
#include "include/bacl.h"
#include "include/qsc_network_zone.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiSSID");

/// The access point in a call's path; empty: there is none.
std::optional<Vap> find_vap(const Call& call)
{
    const i32 instance = instance_of_path(call, "Device.WiFi.SSID.", has_vap);
    if (instance == 0) {
        return std::nullopt;
    }
    return vap_of(instance);
}

/// Serves an access point's parameter with its get and set.
u32 serve_vap(const Call& call, Serve<Vap> get, Serve<Vap> set = nullptr)
{
    return with_instance(call, find_vap, [&](const Vap& vap) { return serve_for(call, vap, get, set); });
}

/// A parameter that succeeds without an answer.
u32 placeholder(const Call& call)
{
    return is_object(call.value) ? 0 : EINVAL;
}

constexpr NumberRow kEnable{"enable", "WiFi SSID enabled flag", kTrueFalse};

u32 answer_enable(const Call& call, const Vap& vap)
{
    return answer_number(call, vap.key(kEnable.option), kEnable);
}

u32 set_enable(const Call& call, const Vap& vap)
{
    return set_number(call, vap.radio, vap.key(kEnable.option), kEnable);
}

/// Whether a radio's access point with this number is enabled.
bool is_enabled(const Call& call, const Radio& radio, i32 number)
{
    return uci_read_int(call, option_key(radio, "enable", number).c_str()) == 1;
}

u32 answer_lower_layers(const Call& call, const Vap& vap)
{
    Text<126> layers;
    for (const Radio& radio : kRadios) {
        if (is_enabled(call, radio, vap.number)) {
            layers.append(layers.view().empty() ? "" : ",").append(radio.path);
        }
    }
    return answer_text(call.value, layers.c_str());
}

/// Takes a text with the radios' paths; JSON null means no radio.
u32 take_layers(const Call& call, WifiText& layers)
{
    json_object* member = nullptr;
    return find_member(call.value, "ParamValue", member) && member == nullptr ? 0 : take_value(call, layers);
}

u32 set_lower_layers(const Call& call, const Vap& vap)
{
    WifiText layers;
    if (const u32 code = take_layers(call, layers)) {
        return code;
    }
    u32 code = 0;
    for (const Radio& radio : kRadios) {
        const bool is_carrier = layers.view().find(radio.path) != std::string_view::npos;
        code = uci_write(option_key(radio, "enable", vap.number).c_str(), is_carrier ? "1" : "0");
    }
    if (code != 0) {
        return code; // the second write's; the first one's is ignored
    }
    QSC_EVENT(call, "set WiFi Lowerlayers %s by %s", shown(layers.c_str()), commander(call));
    return 0;
}

u32 answer_bssid(const Call& call, const Vap& vap)
{
    CommandText command;
    command.append("iwconfig ").append(vap.interface().view());
    command.append(R"( | sed -n 's/.*Access Point: \([0-9\:A-F]\{17\}\).*/\1/p')");
    WifiText line;
    if (const u32 code = capture_line(command.c_str(), line)) {
        QSC_LOG_CALL(call, kLogWarning, "%s failed\n", command.c_str());
        return refuse(code, "the driver does not say the address");
    }
    return answer_text(call.value, line.c_str());
}

/// Reads an option of the mesh. A missing one is logged and empty.
template <typename Value>
Value read_mesh(const Call& call, const char* option)
{
    Value value;
    (void)uci_read(call, option_key(kMesh, option).c_str(), value);
    return value;
}

/// The mesh's "enable"; anything longer than this is neither "0" nor "1".
using MeshSwitch = Text<3, 4>;

u32 answer_ssid(const Call& call, const Vap& vap)
{
    WifiText name;
    if (read_mesh<MeshSwitch>(call, "enable").view() == "1") {
        if (const u32 code = read_mesh_name(call, name)) {
            return code;
        }
    } else {
        (void)uci_read(call, vap.key("ssid").c_str(), name);
    }
    return answer_text(call.value, name.c_str());
}

/// Sets the name in the driver, on each radio whose access point with this number is enabled.
u32 drive_name(const Call& call, i32 number, const WifiText& name)
{
    bool enabled[std::size(kRadios)];
    for (std::size_t i = 0; i < std::size(kRadios); ++i) {
        enabled[i] = is_enabled(call, kRadios[i], number);
    }
    for (std::size_t i = 0; i < std::size(kRadios); ++i) {
        if (!enabled[i]) {
            continue;
        }
        const Key interface = vap_interface(kRadios[i], number);
        bring_up(interface.view(), "&>/dev/null");
        CommandText command;
        command.append("/usr/sbin/iwpriv ").append(interface.view()).append(" set SSID=\"");
        command.append_quoted(name.view()).append("\"");
        if (const u32 code = QrnExeCmdSimple(command.c_str())) {
            return refuse(code, "the driver refused the name");
        }
    }
    return 0;
}

u32 resynchronise_mesh()
{
    if (const u32 code = uci_write(option_key(kMesh, "resyncmesh").c_str(), "1")) {
        return code;
    }
    const u32 code = QrnExeCmdSimple("/usr/bin/qrn_mesh_config.sh");
    return code == 0 ? 0 : refuse(code, "the mesh has not taken the name");
}

u32 set_ssid(const Call& call, const Vap& vap)
{
    WifiText name;
    if (const u32 code = take_value(call, name)) {
        return code;
    }
    if (name.view().empty()) {
        return refuse(EFAULT, "a network name is not empty");
    }
    const auto mesh = read_mesh<MeshSwitch>(call, "enable");
    const bool is_mesh_off = mesh.view() == "0";
    const Key key = is_mesh_off ? vap.key("ssid") : option_key(kMesh, "ssid");
    if (const u32 code = uci_write(key.c_str(), name.c_str())) {
        return code;
    }
    if (is_mesh_off) {
        if (const u32 code = drive_name(call, vap.number, name)) {
            return code;
        }
    }
    const auto role = read_mesh<ValueText>(call, "role");
    if (mesh.view() == "1" && role.view() == "1") {
        if (const u32 code = resynchronise_mesh()) {
            return code;
        }
    }
    QSC_EVENT(call, "set WiFi SSID %s by %s", name.c_str(), commander(call));
    return 0;
}

/// The network zone of an access point's interface.
u32 find_zone(const Vap& vap, WifiText& zone)
{
    const Key interface = vap.interface();
    return zone.fill([&](char* buffer, std::size_t size) {
        return QscGetNetworkZoneByIface(interface.c_str(), buffer, static_cast<u32>(size));
    });
}

u32 answer_zone(const Call& call, const Vap& vap)
{
    WifiText zone;
    const u32 code = find_zone(vap, zone);
    return code != 0 ? code : answer_text(call.value, zone.c_str());
}

u32 set_zone(const Call& call, const Vap& vap)
{
    WifiText zone;
    if (const u32 code = take_value(call, zone)) {
        return code;
    }
    const Key interface = vap.interface();
    if (const u32 code = QscSwitchIfaceNetworkZone(interface.c_str(), zone.c_str())) {
        return code;
    }
    QSC_EVENT(call, "set WiFi Network Zone %s by %s", shown(zone.c_str()), commander(call));
    return 0;
}

/// The key of the VLAN id of an access point's zone.
u32 find_vlan_key(const Vap& vap, Key& key)
{
    WifiText zone;
    if (const u32 code = find_zone(vap, zone)) {
        return code;
    }
    key.append("qrnnetworkzone.").append(zone.view()).append(".vid");
    return 0;
}

u32 answer_vlan(const Call& call, const Vap& vap)
{
    Key key;
    const u32 code = find_vlan_key(vap, key);
    return code != 0 ? code : answer_int(call.value, uci_read_int(call, key.c_str()));
}

u32 set_vlan(const Call& call, const Vap& vap)
{
    i32 tag = 0;
    if (const u32 code = take_int(call.value, tag)) {
        return code;
    }
    Key key;
    if (const u32 code = find_vlan_key(vap, key)) {
        return code;
    }
    if (const u32 code = uci_write_int(key.c_str(), tag)) {
        return code;
    }
    QSC_EVENT(call, "set WiFi SSID VLAN tag %d by %s", tag, commander(call));
    return 0;
}

/// Answers with one of the kernel's counters of the interface.
u32 answer_counter(const Call& call, const Vap& vap, const char* file)
{
    CommandText command;
    command.append("/bin/cat /sys/class/net/").append(vap.interface().view());
    command.append("/statistics/").append(file);
    return answer_line(call, command.c_str());
}

u32 answer_sent(const Call& call, const Vap& vap)
{
    return answer_counter(call, vap, "tx_bytes");
}

u32 answer_received(const Call& call, const Vap& vap)
{
    return answer_counter(call, vap, "rx_bytes");
}

} // namespace

QSC_HANDLER(Qsc_DevWiFiSSID_Do_Enable, serve_vap(call, answer_enable, set_enable))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_Status, placeholder(call))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_Name, placeholder(call))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_LowerLayers, serve_vap(call, answer_lower_layers, set_lower_layers))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_BSSID, serve_vap(call, answer_bssid))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_MACAddress, placeholder(call))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_SSID, serve_vap(call, answer_ssid, set_ssid))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_X_QRN_NetworkZone, serve_vap(call, answer_zone, set_zone))
QSC_HANDLER(Qsc_DevWiFiSSID_Do_X_QRN_VLANID, serve_vap(call, answer_vlan, set_vlan))
QSC_HANDLER(Qsc_DevWiFiSSIDStats_Do_BytesSent, serve_vap(call, answer_sent))
QSC_HANDLER(Qsc_DevWiFiSSIDStats_Do_BytesReceived, serve_vap(call, answer_received))

namespace
{

constexpr Row kRows[] = {
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiSSID_Do_Enable),
    handled("Status", Kind::kText, Access::kRead, Qsc_DevWiFiSSID_Do_Status),
    handled("Name", Kind::kText, Access::kRead, Qsc_DevWiFiSSID_Do_Name),
    handled("LowerLayers", Kind::kText, Access::kReadWrite, Qsc_DevWiFiSSID_Do_LowerLayers, nullptr, kMany),
    handled("BSSID", Kind::kMacAddress, Access::kRead, Qsc_DevWiFiSSID_Do_BSSID),
    handled("MACAddress", Kind::kMacAddress, Access::kRead, Qsc_DevWiFiSSID_Do_MACAddress),
    handled("SSID", Kind::kText, Access::kReadWrite, Qsc_DevWiFiSSID_Do_SSID, ":127"),
    handled("X_QRN_NetworkZone", Kind::kText, Access::kReadWrite, Qsc_DevWiFiSSID_Do_X_QRN_NetworkZone),
    handled("X_QRN_VLANID", Kind::kInteger, Access::kReadWrite, Qsc_DevWiFiSSID_Do_X_QRN_VLANID),
};

} // namespace

QSC_DESCRIBED_OBJECT(kWiFiSsid, "Device.WiFi.SSID.{i}", g_QscDeviceWiFiSSIDCmd, kRows, .instances = kLastVap,
                     .exists = has_vap)

namespace
{

constexpr Row kStatsRows[] = {
    handled("BytesSent", Kind::kText, Access::kRead, Qsc_DevWiFiSSIDStats_Do_BytesSent),
    handled("BytesReceived", Kind::kText, Access::kRead, Qsc_DevWiFiSSIDStats_Do_BytesReceived),
};

} // namespace

QSC_DESCRIBED_OBJECT(kWiFiSsidStats, "Device.WiFi.SSID.{i}.Stats", g_QscDeviceWiFiSSIDStatsCmd, kStatsRows,
                     .instances = kLastVap, .exists = has_vap)
