// SPDX-License-Identifier: Apache-2.0
// A radio's wireless standards and bandwidth.
#include "handlers/wifi/Radio.h"

#include <array>

namespace qsc::wifi
{

namespace
{

/// A wireless mode of the driver, and its names.
struct Standard {
    i32 mode;
    i32 instance;          ///< of the radio that supports it
    std::string_view list; ///< the name for all commanders but MQTT
    const char* name;      ///< what MQTT sends; it gets the last word of the list
};

constexpr Standard kStandards[] = {
    {0, 1, "b,g", "802.11g"},      {8, 2, "a,n", "802.11n"},        {9, 1, "b,g,n", "802.11n"},
    {14, 2, "a,n,ac", "802.11ac"}, {16, 1, "b,g,n,ax", "802.11ax"}, {17, 2, "a,n,ac,ax", "802.11ax"},
};

u32 refuse_band(const Call& call, const char* band)
{
    QSC_LOG_CALL(call, kLogError, "band does not exist\n");
    return refuse(EFAULT, "'%.60s' is none of the radio's standards", band);
}

} // namespace

u32 answer_standards(const Call& call, const Radio& radio)
{
    const Key key = option_key(radio, "band");
    ValueText band;
    if (uci_read(call, key.c_str(), band) != 0) {
        return answer_text(call.value, "");
    }
    const i32 mode = to_number(band.c_str());
    for (const Standard& standard : kStandards) {
        if (standard.mode == mode) {
            const std::size_t last_word = is_mqtt(call) ? standard.list.rfind(',') + 1 : 0;
            return answer_text(call.value, standard.list.data() + last_word);
        }
    }
    return refuse_band(call, band.c_str());
}

namespace
{

/// If the radio is on: sets the mode on each of its access points, up to the first failure.
u32 drive_mode(const Call& call, const Radio& radio, i32 mode)
{
    if (!is_on(call, radio)) {
        return 0;
    }
    for (i32 vap = 1; vap <= kVapsPerRadio; ++vap) {
        const Key interface = vap_interface(radio, vap);
        QSC_LOG_CALL(call, kLogDebug, "Now is vap %s", interface.c_str());
        bring_up(interface.view());
        if (const u32 code = drive(interface.view(), "WirelessMode", mode)) {
            return code;
        }
    }
    return 0;
}

} // namespace

u32 set_standards(const Call& call, const Radio& radio)
{
    WifiText wanted;
    if (const u32 code = take_value(call, wanted)) {
        return code;
    }
    for (const Standard& standard : kStandards) {
        const std::string_view name = is_mqtt(call) ? standard.name : standard.list;
        if (standard.instance != radio.instance || wanted.view() != name) {
            continue;
        }
        if (const u32 code = uci_write_int(option_key(radio, "band").c_str(), standard.mode)) {
            return code;
        }
        if (const u32 code = drive_mode(call, radio, standard.mode)) {
            return code;
        }
        QSC_EVENT(call, "set WiFi band support %s by %s", shown(wanted.c_str()), commander(call));
        return 0;
    }
    return refuse_band(call, wanted.c_str());
}

namespace
{

/// A bandwidth, indexed by its code: the values of the driver's two keys.
struct Bandwidth {
    const char* name;
    i32 vht;
    i32 ht;
};

constexpr std::array<Bandwidth, 4> kBandwidths{
    {{"20MHz", 0, 0}, {"40MHz", 0, 1}, {"80MHz", 1, 1}, {"160MHz", 2, 1}}};

/// The bandwidth with this code; null: there is none, which is logged.
const Bandwidth* find_bandwidth(const Call& call, i32 code)
{
    if (code >= 0 && static_cast<std::size_t>(code) < kBandwidths.size()) {
        return &kBandwidths[static_cast<std::size_t>(code)];
    }
    QSC_LOG_CALL(call, kLogError, "incorrect bandwidth\n");
    (void)refuse(EFAULT, "%d is not 0 to %d", code, static_cast<i32>(kBandwidths.size()) - 1);
    return nullptr;
}

} // namespace

u32 answer_bandwidth(const Call& call, const Radio& radio)
{
    const i32 code = uci_read_int(call, option_key(radio, "bandwidth").c_str());
    const Bandwidth* const bandwidth = find_bandwidth(call, code);
    if (bandwidth == nullptr) {
        return EFAULT;
    }
    return is_mqtt(call) ? answer_text(call.value, bandwidth->name) : answer_int(call.value, code);
}

namespace
{

u32 take_bandwidth(const Call& call, i32& code)
{
    std::string_view text;
    if (!is_mqtt(call) || take_string(call.value, text) != 0) {
        return take_int(call.value, code);
    }
    code = 0;
    while (static_cast<std::size_t>(code) < kBandwidths.size() &&
           text != kBandwidths[static_cast<std::size_t>(code)].name) {
        ++code;
    }
    return 0;
}

u32 drive_bandwidth(const Call& call, const Radio& radio, const Bandwidth& bandwidth)
{
    if (!is_on(call, radio)) {
        return 0;
    }
    bring_up(radio.interface);
    const u32 code = drive(radio.interface, "VhtBw", bandwidth.vht);
    return code != 0 ? code : drive(radio.interface, "HtBw", bandwidth.ht);
}

} // namespace

u32 set_bandwidth(const Call& call, const Radio& radio)
{
    i32 number = 0;
    if (const u32 code = take_bandwidth(call, number)) {
        return code;
    }
    const Bandwidth* const bandwidth = find_bandwidth(call, number);
    if (bandwidth == nullptr) {
        return EFAULT;
    }
    if (const u32 code = uci_write_int(option_key(radio, "bandwidth").c_str(), number)) {
        return code;
    }
    if (const u32 code = drive_bandwidth(call, radio, *bandwidth)) {
        return code;
    }
    QSC_EVENT(call, "set WiFi BandWidth %s by %s", bandwidth->name, commander(call));
    return 0;
}

} // namespace qsc::wifi
