// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.Radio": the two radios.
#include <array>

#include "base/Parse.h"
#include "core/Tables.h"
#include "handlers/wifi/Wifi.h"
#include "include/bacl.h"
#include "include/qsc_wifi.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

constexpr const char* kModule = "QscDeviceWiFiRadio";

constexpr const Radio& k5Ghz = kRadios[1];

constexpr i32 instance_of_radio(const Radio& radio)
{
    return &radio == &k5Ghz ? 2 : 1;
}

/// Serves a call with the radio that its path names.
template <typename Serve>
u32 with_radio(const Call& call, Serve serve_radio)
{
    if (!has_path_and_object(call)) {
        return EINVAL;
    }
    const i32 instance = instance_in_path(call.name, std::string_view{"Device.WiFi.Radio."}.size());
    return instance == 1 || instance == 2 ? serve_radio(kRadios[instance - 1])
                                          : refuse_instance(call, instance);
}

/// Serves a parameter with get(radio) and set(radio).
template <typename Get, typename Set>
u32 serve_radio(const Call& call, Get get, Set set)
{
    return with_radio(call, [&](const Radio& radio) {
        return serve(
            call, [&] { return get(radio); }, [&] { return set(radio); });
    });
}

template <typename Get>
u32 serve_radio_get(const Call& call, Get get)
{
    return serve_radio(call, get, [&](const Radio&) { return refuse_operation(call); });
}

constexpr NumberRow kEnable{"radioOn", "WiFi Radio enabled flag", kTrueFalse};
constexpr NumberRow kTransmitPower{"txpower", "WiFi TX power", {}, "TxPower"};
constexpr NumberRow k80211h{"doth", "WiFi DFS enabled flag", kEnableDisable, "IEEE80211H"};
constexpr NumberRow kZeroWait{"zerowaitdfs", "WiFi ignore CAC enabled flag"};
constexpr NumberRow kFairness{"atf", "WiFi Airtime fairness enabled", kTrueFalse, "vow_airtime_fairness_en"};
constexpr NumberRow kRssiThreshold{"rssithold", "WiFi Radio RSSI threshold"};
constexpr NumberRow kExplicitBeamforming{"etxbfen", "WiFi Radio explicit beamforming", {}, "ETxBfEnCond"};
constexpr NumberRow kImplicitBeamforming{"itxbfen", "WiFi Radio implicit beamforming", {}, "ITxBfEn"};

/// Serves a number that needs nothing but its row.
u32 serve_number(const Call& call, const Radio& radio, const NumberRow& row)
{
    const Key key = option_key(radio, row.option);
    return serve(
        call, [&] { return answer_number(call, key, row); },
        [&] { return set_number(call, radio, key, row); });
}

u32 radio_number(const Call& call, const NumberRow& row)
{
    return with_radio(call, [&](const Radio& radio) { return serve_number(call, radio, row); });
}

void log_5ghz_only(const Call& call)
{
    QSC_LOG_CALL(call, kLogInfo, "DFS only works in WiFi 5GHz\n");
}

/// 802.11h is a matter of 5 GHz, but 2.4 GHz has the option as well; there nobody misses it.
u32 radio_80211h(const Call& call)
{
    const auto get = [&](const Radio& radio) {
        const Key key = option_key(radio, k80211h.option);
        ValueText stored;
        (void)(&radio == &k5Ghz ? uci_read(call, key.c_str(), stored) : uci_peek(key.c_str(), stored));
        return answer_flag(call, k80211h.words, to_number(stored.c_str()));
    };
    const auto set = [&](const Radio& radio) {
        return set_number(call, radio, option_key(radio, k80211h.option), k80211h);
    };
    return with_radio(call, [&](const Radio& radio) {
        if (&radio != &k5Ghz) {
            log_5ghz_only(call);
        }
        return serve(
            call, [&] { return get(radio); }, [&] { return set(radio); });
    });
}

u32 radio_zero_wait(const Call& call)
{
    return with_radio(call, [&](const Radio& radio) -> u32 {
        if (&radio != &k5Ghz) {
            log_5ghz_only(call);
            return 0;
        }
        return serve_number(call, radio, kZeroWait);
    });
}

u32 radio_fairness(const Call& call)
{
    const auto set = [&](const Radio& radio) -> u32 {
        i32 number = 0;
        if (const u32 code = take_flag(call, kFairness.words, number)) {
            return code;
        }
        // Without it on the radio the mesh must not coordinate it either.
        if (number == 0) {
            if (const u32 code = uci_write(option_key("mesh", "coordatf").c_str(), "0")) {
                return code;
            }
        }
        return store_number(call, radio, option_key(radio, kFairness.option), kFairness, number);
    };
    return serve_radio(
        call,
        [&](const Radio& radio) {
            return answer_number(call, option_key(radio, kFairness.option), kFairness);
        },
        set);
}

/// A wireless mode of the driver and its names.
struct Standard {
    i32 mode;
    i32 instance;          ///< the radio that can do it
    std::string_view list; ///< for ordinary commanders
    const char* name;      ///< what MQTT sends; it reads the last word of the list
};

constexpr Standard kStandards[] = {
    {0, 1, "b,g", "802.11g"},      {8, 2, "a,n", "802.11n"},        {9, 1, "b,g,n", "802.11n"},
    {14, 2, "a,n,ac", "802.11ac"}, {16, 1, "b,g,n,ax", "802.11ax"}, {17, 2, "a,n,ac,ax", "802.11ax"},
};

u32 refuse_band(const Call& call)
{
    QSC_LOG_CALL(call, kLogError, "band does not exist\n");
    return EFAULT;
}

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
    return refuse_band(call);
}

/// Sets the mode of every access point of the radio, up to the first that fails.
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

u32 set_standards(const Call& call, const Radio& radio)
{
    WifiText wanted;
    if (const u32 code = take_value(call, wanted)) {
        return code;
    }
    for (const Standard& standard : kStandards) {
        const std::string_view name = is_mqtt(call) ? standard.name : standard.list;
        if (standard.instance != instance_of_radio(radio) || wanted.view() != name) {
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
    return refuse_band(call);
}

/// The row of a country; null: no row has it.
const Qsc_CountryRegion* find_country(std::string_view country)
{
    for (const Qsc_CountryRegion& row : Country_Region_Table) {
        if (country == row.country) {
            return &row;
        }
    }
    return nullptr;
}

u32 answer_possible_channels(const Call& call, const Radio& radio)
{
    ValueText country;
    if (const u32 code = uci_read(call, option_key(radio, "country").c_str(), country)) {
        return code;
    }
    const Qsc_CountryRegion* const row = find_country(country.view());
    if (row == nullptr) {
        return EFAULT;
    }
    return answer_text(call.value, &radio == &k5Ghz ? row->a->channels : row->bg->channels);
}

template <std::size_t Longest, std::size_t Size>
void to_upper_case(Text<Longest, Size>& text)
{
    for (char* c = text.data(); *c != '\0'; ++c) {
        *c = to_upper(*c);
    }
}

u32 answer_country(const Call& call, const Radio& radio)
{
    ValueText country;
    (void)uci_read(call, option_key(radio, "country").c_str(), country);
    to_upper_case(country);
    return answer_text(call.value, country.c_str());
}

u32 set_country(const Call& call, const Radio& radio)
{
    Text<2> country;
    std::string_view text;
    if (take_string(call.value, text) != 0 || text.size() != 2 || !country.assign(text)) {
        return EINVAL;
    }
    to_upper_case(country);
    if (const u32 code = uci_write(option_key(radio, "country").c_str(), country.c_str())) {
        return code;
    }
    const Qsc_CountryRegion* const row = find_country(country.view());
    if (row == nullptr) {
        return EFAULT; // the country stays written, as the driver may know it
    }
    const u32 region = BaCL_GetUint16Le(&radio == &k5Ghz ? row->a->region : row->bg->region);
    if (const u32 code = uci_write_int(option_key(radio, "regionidx").c_str(), static_cast<i32>(region))) {
        return code;
    }
    QSC_EVENT(call, "set WiFi country %s by %s", country.c_str(), commander(call));
    return 0;
}

/// Has the driver choose a channel anew.
u32 renew_channel(const Radio& radio)
{
    CommandText command;
    command.append("echo 1 > /tmp/.").append(radio.interface).append("_ACS_renew");
    return run_shell(command.c_str());
}

u32 answer_auto_channel(const Call& call, const Radio& radio)
{
    ValueText channel;
    (void)uci_read(call, option_key(radio, "channel").c_str(), channel);
    const bool is_auto = !channel.view().empty() && to_number(channel.c_str()) == 0;
    return answer_flag(call, kTrueFalse, is_auto ? 1 : 0);
}

u32 set_auto_channel(const Call& call, const Radio& radio)
{
    i32 flag = 0;
    if (const u32 code = take_flag(call, kTrueFalse, flag)) {
        return code;
    }
    if (flag != 0 && flag != 1) {
        return EFAULT;
    }
    if (flag == 1) {
        if (const u32 code = uci_write(option_key(radio, "channel").c_str(), "0")) {
            return code;
        }
        ValueText is_radio_on;
        if (const u32 code = uci_read(call, option_key(radio, "radioOn").c_str(), is_radio_on)) {
            return code;
        }
        if (to_number(is_radio_on.c_str()) == 1) {
            if (const u32 code = renew_channel(radio)) {
                return code;
            }
        }
    }
    QSC_EVENT(call, "set WiFi Auto Channel enabled flag %d by %s", flag, commander(call));
    return 0;
}

/// The number of the interface to ask for the live channel: that of the first access point that is enabled,
/// else the one behind the last. `enable` is the switch that was read last.
i32 find_live_interface(const Call& call, const Radio& radio, i32& enable)
{
    i32 vap = 1;
    for (; vap <= kVapsPerRadio; ++vap) {
        enable = uci_read_int(call, option_key(radio, "enable", vap).c_str());
        if (enable == 1) {
            break;
        }
    }
    return vap - 1;
}

u32 answer_channel(const Call& call, const Radio& radio)
{
    const bool is_mesh_on = uci_read_int(call, option_key("mesh", "enable").c_str()) == 1;
    const i32 configured = uci_read_int(call, option_key(radio, "channel").c_str());
    const i32 radio_on = uci_read_int(call, option_key(radio, "radioOn").c_str());
    i32 enable = 0;
    const i32 interface = find_live_interface(call, radio, enable);
    WifiText channel;
    if (is_mesh_on || (enable != 0 && radio_on != 0 && !is_mqtt(call))) {
        CommandText command;
        command.append("iwconfig ").append(radio.vap_prefix).append_number(interface);
        command.append(R"( 2>/dev/null | awk -F" " '/Channel:/{print $2;}' | cut -d: -f 2)");
        (void)capture_line(command.c_str(), channel);
    }
    return is_mqtt(call) && configured == 0 ? answer_text(call.value, "auto")
                                            : answer_int(call.value, to_number(channel.c_str()));
}

/// MQTT may send the channel as text, in any base, or "auto".
u32 take_channel(const Call& call, i32& channel)
{
    std::string_view text;
    if (!is_mqtt(call) || take_string(call.value, text) != 0) {
        return take_int(call.value, channel);
    }
    return text == "auto" ? 0 : parse_any_base(text, channel) ? 0 : EFAULT;
}

u32 set_channel(const Call& call, const Radio& radio)
{
    i32 channel = 0;
    if (const u32 code = take_channel(call, channel)) {
        return code;
    }
    if (const u32 code = uci_write_int(option_key(radio, "channel").c_str(), channel)) {
        return code;
    }
    if (const u32 code = drive_if_on(call, radio, "Channel", channel, ">/dev/null 2>&1")) {
        return code;
    }
    QSC_EVENT(call, "set WiFi Channel %d by %s", channel, commander(call));
    return 0;
}

u32 answer_skip_list(const Call& call, const Radio& radio)
{
    WifiText channel;
    (void)uci_read(call, option_key(radio, "channel").c_str(), channel);
    return answer_text(call.value, channel.view().find(';') != std::string_view::npos ? channel.c_str() : "");
}

u32 set_skip_list(const Call& call, const Radio& radio)
{
    WifiText list;
    if (const u32 code = take_value(call, list)) {
        return code;
    }
    if (const u32 code = uci_write(option_key(radio, "channel").c_str(), list.c_str())) {
        return code;
    }
    if (const u32 code = renew_channel(radio)) {
        return code;
    }
    QSC_EVENT(call, "set WiFi skip channel list %s by %s", shown(list.c_str()), commander(call));
    return 0;
}

/// A bandwidth by its code, and what the driver's two keys are for it.
struct Bandwidth {
    const char* name;
    i32 vht;
    i32 ht;
};

constexpr std::array<Bandwidth, 4> kBandwidths{
    {{"20MHz", 0, 0}, {"40MHz", 0, 1}, {"80MHz", 1, 1}, {"160MHz", 2, 1}}};

/// The bandwidth of a code; null: there is none, which has been logged.
const Bandwidth* find_bandwidth(const Call& call, i32 code)
{
    if (code >= 0 && static_cast<std::size_t>(code) < kBandwidths.size()) {
        return &kBandwidths[static_cast<std::size_t>(code)];
    }
    QSC_LOG_CALL(call, kLogError, "incorrect bandwidth\n");
    return nullptr;
}

u32 answer_bandwidth(const Call& call, const Radio& radio)
{
    const i32 code = uci_read_int(call, option_key(radio, "bandwidth").c_str());
    const Bandwidth* const bandwidth = find_bandwidth(call, code);
    if (bandwidth == nullptr) {
        return EFAULT;
    }
    return is_mqtt(call) ? answer_text(call.value, bandwidth->name) : answer_int(call.value, code);
}

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

u32 answer_stations(const Call& call)
{
    return serve_radio_get(call, [&](const Radio& radio) {
        CommandText command;
        command.append("/usr/bin/qrnstainfo -").append({&radio.station_option, 1});
        return answer_line(call, command.c_str());
    });
}

/// Makes a handler of an answer and a set, each for one radio.
#define RADIO_HANDLER(NAME, ANSWER, SET)                                                                     \
    QSC_HANDLER(NAME, serve_radio(                                                                           \
                          call, [&](const Radio& radio) { return ANSWER(call, radio); },                     \
                          [&](const Radio& radio) { return SET(call, radio); }))

} // namespace

QSC_HANDLER(Qsc_DevWiFiRadio_Do_Enable, radio_number(call, kEnable))
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_OperStandards, answer_standards, set_standards)
QSC_HANDLER(Qsc_DevWiFiRadio_Do_PossibleChannels,
            serve_radio_get(call, [&](const Radio& radio) { return answer_possible_channels(call, radio); }))
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_AutoChannelEnable, answer_auto_channel, set_auto_channel)
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_Channel, answer_channel, set_channel)
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_OperChannelBandwidth, answer_bandwidth, set_bandwidth)
QSC_HANDLER(Qsc_DevWiFiRadio_Do_TransmitPower, radio_number(call, kTransmitPower))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_IEEE80211hEnabled, radio_80211h(call))
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_RegulatoryDomain, answer_country, set_country)
RADIO_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAutoChannelSkipList, answer_skip_list, set_skip_list)
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNZeroWaitDFS, radio_zero_wait(call))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNATF, radio_fairness(call))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNRSSIThold, radio_number(call, kRssiThreshold))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNExBeamforming, radio_number(call, kExplicitBeamforming))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNImBeamforming, radio_number(call, kImplicitBeamforming))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber2G, answer_stations(call))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber5G, answer_stations(call))

// AutoChannelEnable stands before Channel, so that a set of both ends with the fixed channel.
constexpr Qsc_ParamEntry g_QscDeviceWiFiRadioCmd[] = {
    {0, "Enable", Qsc_DevWiFiRadio_Do_Enable, 0, 0},
    {1, "OperatingStandards", Qsc_DevWiFiRadio_Do_OperStandards, 0, 0},
    {2, "PossibleChannels", Qsc_DevWiFiRadio_Do_PossibleChannels, 0, 0},
    {4, "AutoChannelEnable", Qsc_DevWiFiRadio_Do_AutoChannelEnable, 0, 0},
    {3, "Channel", Qsc_DevWiFiRadio_Do_Channel, 0, 0},
    {5, "OperatingChannelBandwidth", Qsc_DevWiFiRadio_Do_OperChannelBandwidth, 0, 0},
    {6, "TransmitPower", Qsc_DevWiFiRadio_Do_TransmitPower, 0, 0},
    {7, "IEEE80211hEnabled", Qsc_DevWiFiRadio_Do_IEEE80211hEnabled, 0, 0},
    {8, "RegulatoryDomain", Qsc_DevWiFiRadio_Do_RegulatoryDomain, 0, 0},
    {9, "X_QRN_AutoChannelSkipList", Qsc_DevWiFiRadio_Do_XQRNAutoChannelSkipList, 0, 0},
    {10, "X_QRN_ZeroWaitDFS", Qsc_DevWiFiRadio_Do_XQRNZeroWaitDFS, 0, 0},
    {11, "X_QRN_ATF", Qsc_DevWiFiRadio_Do_XQRNATF, 0, 0},
    {12, "X_QRN_THOLD", Qsc_DevWiFiRadio_Do_XQRNRSSIThold, 0, 0},
    {13, "X_QRN_ExplicitBeamforming", Qsc_DevWiFiRadio_Do_XQRNExBeamforming, 0, 0},
    {14, "X_QRN_ImplicitBeamforming", Qsc_DevWiFiRadio_Do_XQRNImBeamforming, 0, 0},
    {15, "X_QRN_AssociatedNumber2G", Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber2G, 0, 0},
    {16, "X_QRN_AssociatedNumber5G", Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber5G, 0, 0},
    kTableEnd,
};
static_assert(is_sound(g_QscDeviceWiFiRadioCmd));
