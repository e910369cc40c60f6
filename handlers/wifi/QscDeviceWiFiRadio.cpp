// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.Radio": the two radios.
#include "core/Objects.h"
#include "handlers/wifi/Radio.h"

using namespace qsc;
using namespace qsc::wifi;

namespace
{

QSC_MODULE("QscDeviceWiFiRadio");

/// The radio in a call's path; null: there is none.
const Radio* find_radio(const Call& call)
{
    const auto is_radio = [](i32 instance) { return instance == 1 || instance == 2; };
    const i32 instance = instance_of_path(call, "Device.WiFi.Radio.", is_radio);
    return instance != 0 ? &kRadios[instance - 1] : nullptr;
}

template <typename Use>
u32 with_radio(const Call& call, Use use)
{
    return with_instance(call, find_radio, use);
}

/// Serves a radio parameter with its get and set.
u32 serve_radio(const Call& call, Serve<Radio> get, Serve<Radio> set = nullptr)
{
    return with_radio(call, [&](const Radio& radio) { return serve_for(call, radio, get, set); });
}

constexpr NumberRow kEnable{"radioOn", "WiFi Radio enabled flag", kTrueFalse};
constexpr NumberRow kTransmitPower{"txpower", "WiFi TX power", {}, "TxPower"};
constexpr NumberRow k80211h{"doth", "WiFi DFS enabled flag", kEnableDisable, "IEEE80211H"};
constexpr NumberRow kZeroWait{"zerowaitdfs", "WiFi ignore CAC enabled flag"};
constexpr NumberRow kFairness{"atf", "WiFi Airtime fairness enabled", kTrueFalse, "vow_airtime_fairness_en"};
constexpr NumberRow kRssiThreshold{"rssithold", "WiFi Radio RSSI threshold"};
constexpr NumberRow kExplicitBeamforming{"etxbfen", "WiFi Radio explicit beamforming", {}, "ETxBfEnCond"};
constexpr NumberRow kImplicitBeamforming{"itxbfen", "WiFi Radio implicit beamforming", {}, "ITxBfEn"};

/// Serves a parameter that is no more than its row.
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

/// The option exists for 2.4 GHz as well, although 802.11h concerns 5 GHz only; where it is missing there,
/// that is not logged.
u32 answer_80211h(const Call& call, const Radio& radio)
{
    const Key key = option_key(radio, k80211h.option);
    ValueText stored;
    (void)(radio.has_dfs ? uci_read(call, key.c_str(), stored) : uci_peek(key.c_str(), stored));
    return answer_flag(call, k80211h.words, to_number(stored.c_str()));
}

u32 set_80211h(const Call& call, const Radio& radio)
{
    return set_number(call, radio, option_key(radio, k80211h.option), k80211h);
}

u32 radio_80211h(const Call& call)
{
    return with_radio(call, [&](const Radio& radio) {
        if (!radio.has_dfs) {
            log_5ghz_only(call);
        }
        return serve_for<Radio>(call, radio, answer_80211h, set_80211h);
    });
}

u32 radio_zero_wait(const Call& call)
{
    return with_radio(call, [&](const Radio& radio) -> u32 {
        if (!radio.has_dfs) {
            log_5ghz_only(call);
            return 0;
        }
        return serve_number(call, radio, kZeroWait);
    });
}

u32 answer_fairness(const Call& call, const Radio& radio)
{
    return answer_number(call, option_key(radio, kFairness.option), kFairness);
}

u32 set_fairness(const Call& call, const Radio& radio)
{
    i32 number = 0;
    if (const u32 code = take_flag(call, kFairness.words, number)) {
        return code;
    }
    // The mesh must not coordinate airtime fairness while the radio does without.
    if (number == 0) {
        if (const u32 code = uci_write(option_key(kMesh, "coordatf").c_str(), "0")) {
            return code;
        }
    }
    return store_number(call, radio, option_key(radio, kFairness.option), kFairness, number);
}

u32 answer_stations(const Call& call, const Radio& radio)
{
    CommandText command;
    command.append("/usr/bin/qrnstainfo -").append({&radio.station_option, 1});
    return answer_line(call, command.c_str());
}

} // namespace

QSC_HANDLER(Qsc_DevWiFiRadio_Do_Enable, radio_number(call, kEnable))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_OperStandards, serve_radio(call, answer_standards, set_standards))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_PossibleChannels, serve_radio(call, answer_possible_channels))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_AutoChannelEnable, serve_radio(call, answer_auto_channel, set_auto_channel))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_Channel, serve_radio(call, answer_channel, set_channel))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_OperChannelBandwidth, serve_radio(call, answer_bandwidth, set_bandwidth))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_TransmitPower, radio_number(call, kTransmitPower))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_IEEE80211hEnabled, radio_80211h(call))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_RegulatoryDomain, serve_radio(call, answer_country, set_country))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAutoChannelSkipList, serve_radio(call, answer_skip_list, set_skip_list))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNZeroWaitDFS, radio_zero_wait(call))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNATF, serve_radio(call, answer_fairness, set_fairness))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNRSSIThold, radio_number(call, kRssiThreshold))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNExBeamforming, radio_number(call, kExplicitBeamforming))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNImBeamforming, radio_number(call, kImplicitBeamforming))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber2G, serve_radio(call, answer_stations))
QSC_HANDLER(Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber5G, serve_radio(call, answer_stations))

// AutoChannelEnable comes before Channel, so that a set of both ends with the fixed channel.
namespace
{

constexpr Row kRows[] = {
    handled("Enable", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiRadio_Do_Enable),
    handled("OperatingStandards", Kind::kText, Access::kReadWrite, Qsc_DevWiFiRadio_Do_OperStandards),
    handled("PossibleChannels", Kind::kText, Access::kRead, Qsc_DevWiFiRadio_Do_PossibleChannels, nullptr,
            kMany),
    handled("AutoChannelEnable", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiRadio_Do_AutoChannelEnable,
            nullptr, 0, 4),
    handled("Channel", Kind::kUnsigned, Access::kReadWrite, Qsc_DevWiFiRadio_Do_Channel, "0:255", 0, 3),
    handled("OperatingChannelBandwidth", Kind::kUnsigned, Access::kReadWrite,
            Qsc_DevWiFiRadio_Do_OperChannelBandwidth, "0:3"),
    handled("TransmitPower", Kind::kInteger, Access::kReadWrite, Qsc_DevWiFiRadio_Do_TransmitPower),
    handled("IEEE80211hEnabled", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiRadio_Do_IEEE80211hEnabled),
    handled("RegulatoryDomain", Kind::kText, Access::kReadWrite, Qsc_DevWiFiRadio_Do_RegulatoryDomain, "2:2"),
    handled("X_QRN_AutoChannelSkipList", Kind::kText, Access::kReadWrite,
            Qsc_DevWiFiRadio_Do_XQRNAutoChannelSkipList, ":127"),
    handled("X_QRN_ZeroWaitDFS", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiRadio_Do_XQRNZeroWaitDFS),
    handled("X_QRN_ATF", Kind::kBoolean, Access::kReadWrite, Qsc_DevWiFiRadio_Do_XQRNATF),
    handled("X_QRN_THOLD", Kind::kInteger, Access::kReadWrite, Qsc_DevWiFiRadio_Do_XQRNRSSIThold),
    handled("X_QRN_ExplicitBeamforming", Kind::kInteger, Access::kReadWrite,
            Qsc_DevWiFiRadio_Do_XQRNExBeamforming),
    handled("X_QRN_ImplicitBeamforming", Kind::kInteger, Access::kReadWrite,
            Qsc_DevWiFiRadio_Do_XQRNImBeamforming),
    handled("X_QRN_AssociatedNumber2G", Kind::kText, Access::kRead,
            Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber2G),
    handled("X_QRN_AssociatedNumber5G", Kind::kText, Access::kRead,
            Qsc_DevWiFiRadio_Do_XQRNAssociatedNumber5G),
};

} // namespace

QSC_DESCRIBED_OBJECT(kWiFiRadio, "Device.WiFi.Radio.{i}", g_QscDeviceWiFiRadioCmd, kRows, .instances = 2)
