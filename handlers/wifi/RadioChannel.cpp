// SPDX-License-Identifier: Apache-2.0
// A radio's country and channels: possible, in use, automatic, to be skipped.
#include "handlers/wifi/Radio.h"

#include "base/Parse.h"
#include "include/bacl.h"

namespace qsc::wifi
{

namespace
{

/// The row of a country; null: there is none.
const Qsc_CountryRegion* find_country(std::string_view country)
{
    for (const Qsc_CountryRegion& row : Country_Region_Table) {
        if (country == row.country) {
            return &row;
        }
    }
    return nullptr;
}

u32 refuse_country(const char* country)
{
    return refuse(EFAULT, "no channels are known for the country '%s'", country);
}

} // namespace

u32 answer_possible_channels(const Call& call, const Radio& radio)
{
    ValueText country;
    if (const u32 code = uci_read(call, option_key(radio, "country").c_str(), country)) {
        return code;
    }
    const Qsc_CountryRegion* const row = find_country(country.view());
    if (row == nullptr) {
        return refuse_country(country.c_str());
    }
    return answer_text(call.value, radio.band(*row).channels);
}

namespace
{

template <std::size_t Longest, std::size_t Size>
void to_upper_case(Text<Longest, Size>& text)
{
    for (char* c = text.data(); *c != '\0'; ++c) {
        *c = to_upper(*c);
    }
}

} // namespace

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
        return refuse(EINVAL, "a country is two characters");
    }
    to_upper_case(country);
    if (const u32 code = uci_write(option_key(radio, "country").c_str(), country.c_str())) {
        return code;
    }
    const Qsc_CountryRegion* const row = find_country(country.view());
    if (row == nullptr) {
        return refuse_country(country.c_str()); // it stays stored: the driver may know it
    }
    const u32 region = BaCL_GetUint16Le(radio.band(*row).region);
    if (const u32 code = uci_write_int(option_key(radio, "regionidx").c_str(), static_cast<i32>(region))) {
        return code;
    }
    QSC_EVENT(call, "set WiFi country %s by %s", country.c_str(), commander(call));
    return 0;
}

namespace
{

/// Makes the driver select a channel again.
u32 renew_channel(const Radio& radio)
{
    CommandText command;
    command.append("echo 1 > /tmp/.").append(radio.interface).append("_ACS_renew");
    const u32 code = run_shell(command.c_str());
    return code == 0 ? 0 : refuse(code, "the driver could not be asked for another channel");
}

} // namespace

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
        return refuse(EFAULT, "%d is neither 0 nor 1", flag);
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

namespace
{

/// The number of the interface that reports the live channel: that of the first enabled access point, else
/// one past the last. `enable` gets the last switch that was read.
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

} // namespace

u32 answer_channel(const Call& call, const Radio& radio)
{
    const bool is_mesh_on = uci_read_int(call, option_key(kMesh, "enable").c_str()) == 1;
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

namespace
{

/// MQTT may send the channel as a text: "auto", or a number in any base.
u32 take_channel(const Call& call, i32& channel)
{
    std::string_view text;
    if (!is_mqtt(call) || take_string(call.value, text) != 0) {
        return take_int(call.value, channel);
    }
    return text == "auto" || parse_any_base(text, channel) ? 0
                                                           : refuse(EFAULT, "a channel is a number or auto");
}

} // namespace

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

} // namespace qsc::wifi
