// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/AccessPoint.h"

#include "core/RunTool.h"

namespace qsc::wifi
{

namespace
{

QSC_MODULE("QscDeviceWiFiAP");

constexpr u32 kMostAddresses = 64;

/// Whether only those on the list may connect once the request is done.
bool will_allow(const RowCall& call)
{
    const bool is_switch = find_row(call.request.object, "Mode") == nullptr;
    RowText mode;
    return read_outcome(call, is_switch ? "MACAddressControlEnabled" : "Mode", mode) == 0 &&
           (mode.view() == kAllow || mode.view() == "1");
}

u32 count_items(std::string_view list)
{
    u32 count = 0;
    (void)for_each_item(list, [&](std::string_view) -> u32 {
        ++count;
        return 0;
    });
    return count;
}

} // namespace

void locate_vap(RowRequest& request)
{
    const Vap vap = vap_of(request.instance);
    (void)request.section.assign(vap.radio.section);
    request.suffix.append_number(vap.number);
}

bool is_stored_on(const Key& key)
{
    ValueText value;
    (void)uci_peek(key.c_str(), value);
    return qsc::is_switched_on(value.view());
}

bool is_switched_on(const Vap& vap)
{
    return is_stored_on(option_key(vap.radio, "radioOn")) && is_stored_on(vap.key("enable"));
}

InterfaceState state_of(Sources& sources, const char* interface)
{
    Text<126> path;
    path.append("/sys/class/net/").append(interface).append("/flags");
    constexpr u32 kUp = 0x1;
    std::string_view flags = first_line(sources.file(path.c_str()));
    flags.remove_prefix(flags.starts_with("0x") ? 2 : 0);
    u32 bits = 0;
    return !parse_whole(flags, bits, 16) ? InterfaceState::kUnknown
           : (bits & kUp) != 0           ? InterfaceState::kUp
                                         : InterfaceState::kDown;
}

u32 drive(const char* interface, const char* driver_key, std::string_view value)
{
    Text<126> setting;
    setting.append(driver_key).append("=").append(value);
    const char* const arguments[] = {"/usr/sbin/iwpriv", interface, "set", setting.c_str(), nullptr};
    const u32 code = run_tool({.arguments = arguments}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "the driver refused %s", setting.c_str());
}

u32 switch_interface(const char* interface, bool on)
{
    const char* const action = on ? "up" : "down";
    const char* const arguments[] = {"ifconfig", interface, action, nullptr};
    const u32 code = run_tool({.arguments = arguments}, kModule);
    return code == 0 ? 0 : refuse(EFAULT, "ifconfig %s %s failed", interface, action);
}

u32 check_access_list(const RowCall& call, std::string_view stored)
{
    const bool is_list = call.row.place == Place::kList;
    if (is_list && count_items(stored) > kMostAddresses) {
        return refuse(EFAULT, "it has more than %u addresses", kMostAddresses);
    }
    RowText list;
    const char* const name = find_row(call.request.object, "List") != nullptr ? "List" : "AllowedMACAddress";
    const u32 code = will_allow(call) ? read_outcome(call, name, list) : 0;
    return code != 0 || count_items(list.view()) != 0 || !will_allow(call)
               ? code
               : refuse(EFAULT, "nobody could connect, because no address is allowed");
}

} // namespace qsc::wifi
