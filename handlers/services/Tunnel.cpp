// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/Tunnel.h"

#include <cstring>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <unistd.h>

#include <json-c/json.h>

#include "base/FileDescriptor.h"
#include "base/UciOptional.h"
#include "core/RowSource.h"

namespace qsc::services
{

namespace
{

QSC_MODULE("QscVpn");

/// How one of them is asked for, what a new one is, and which device carries its address where the network
/// daemon does not know that; by number.
struct Kind {
    const char* interface;
    const char* options; ///< of a new one
    const char* device;
    bool joins_wan;
};
constexpr Kind kKinds[kTunnels + 1] = {
    {},
    {"vpn1", "proto=pptp defaultroute=0", nullptr, true},
    {"vpn2", "proto=l2tp defaultroute=0", nullptr, true},
    {},
    {"vpn4", "", "vpn4", true},
    {"vpn5", "proto=gre ttl=64", "gre4-vpn5", true},
    {"vpn6", "proto=gretap ttl=64", nullptr, false},
};

#define ASK(NAME)                                                                                            \
    {                                                                                                        \
        "ubus", "call", "network.interface." NAME, "status", nullptr                                         \
    }
// NOLINTNEXTLINE(bugprone-suspicious-missing-comma): each path is put together
constexpr const char* kAsk[][5] = {ASK("vpn1"), ASK("vpn2"), {}, ASK("vpn4"), ASK("vpn5"), ASK("vpn6")};
#undef ASK
constexpr Tool kStatus[] = {{.arguments = kAsk[0]}, {.arguments = kAsk[1]}, {.arguments = nullptr},
                            {.arguments = kAsk[3]}, {.arguments = kAsk[4]}, {.arguments = kAsk[5]}};

constexpr const char* kAskSwanctl[] = {"swanctl", "--list-sas", "--raw", "--ike", "vpn3", nullptr};
constexpr const char* kAskIpsec[] = {"ipsec", "status", "vpn3", nullptr};
constexpr Tool kSwanctl{.arguments = kAskSwanctl};
constexpr Tool kIpsecStatus{.arguments = kAskIpsec};

u32 number_of(const RowRequest& request)
{
    const std::string_view path{request.object.path};
    return static_cast<u32>(path.back() - '0');
}

bool is_there(const char* key)
{
    RowText text;
    return uci_peek(key, text) == 0;
}

/// The first IPv4 address of a device.
void read_device_address(const char* device, Text<62>& address)
{
    const StdioReserve reserve;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        return;
    }
    for (const ifaddrs* each = all; each != nullptr && address.view().empty(); each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET &&
            std::strcmp(each->ifa_name, device) == 0) {
            sockaddr_in own{};
            char text[INET_ADDRSTRLEN];
            std::memcpy(&own, each->ifa_addr, sizeof own);
            address.append(or_empty(inet_ntop(AF_INET, &own.sin_addr, text, sizeof text)));
        }
    }
    freeifaddrs(all);
}

/// Both programs tell of a tunnel that carries packets by the same word.
void read_ipsec(Sources& sources, TunnelState& state)
{
    const bool is_new = access("/etc/init.d/swanctl", X_OK) == 0;
    const std::string_view text = sources.output(is_new ? kSwanctl : kIpsecStatus, kModule);
    constexpr std::string_view kEstablished = "established=";
    const std::size_t place = text.find(kEstablished);
    state.word = text.find("INSTALLED") != std::string_view::npos ? "Up" : "Connecting";
    if (place != std::string_view::npos) {
        (void)parse_leading(text.substr(place + kEstablished.size()), state.uptime);
    }
}

bool is_true(json_object* status, const char* member)
{
    json_object* value = nullptr;
    return find_member(status, member, value) && json_object_get_boolean(value) != 0;
}

void read_interface(Sources& sources, u32 number, TunnelState& state)
{
    json_object* const status = sources.json(kStatus[number - 1], kModule);
    const bool is_up = is_true(status, "up");
    std::string_view text;
    if (json_object* const member = find_in_json(status, "ipv4-address.0.address")) {
        (void)(text_of(member, text) == 0 && state.address.assign(text));
    }
    if (is_up && state.address.view().empty() && kKinds[number].device != nullptr) {
        read_device_address(kKinds[number].device, state.address);
    }
    if (json_object* const member = find_in_json(status, "uptime")) {
        state.uptime = is_up ? json_object_get_int64(member) : 0;
    }
    // OpenVPN's device is there before the server has given it an address.
    const bool waits = number == kOpenVpn && is_up && state.address.view().empty();
    state.word = is_up && !waits ? "Up" : waits || is_true(status, "pending") ? "Connecting" : "Error";
}

} // namespace

bool is_openvpn_in_netifd()
{
    return !is_installed("openvpn") && access("/usr/share/openvpn", R_OK) == 0;
}

bool is_tunnel_on(u32 number)
{
    if (number == kIpsec) {
        return Package{"ipsec"}.is_on("vpn3", "enabled", false);
    }
    if (number == kOpenVpn && !is_openvpn_in_netifd()) {
        return Package{"openvpn"}.is_on("vpn4", "enabled", false);
    }
    const char* const name = kKinds[number].interface;
    return !kNetwork.type_of(name).view().empty() && !kNetwork.is_on(name, "disabled", false);
}

TunnelState read_tunnel(Sources& sources, u32 number)
{
    TunnelState state;
    state.is_on = is_tunnel_on(number);
    if (state.is_on && number == kIpsec) {
        read_ipsec(sources, state);
    } else if (state.is_on) {
        read_interface(sources, number, state);
    }
    return state;
}

u32 answer_tunnel_enable(const RowCall& call)
{
    const bool is_inverted = (call.row.marks & kInverted) != 0;
    return answer_stored(call, is_tunnel_on(number_of(call.request)) != is_inverted ? "1" : "0");
}

u32 answer_tunnel_status(const RowCall& call)
{
    return answer_stored(call, read_tunnel(call.request.sources, number_of(call.request)).word);
}

u32 answer_tunnel_address(const RowCall& call)
{
    return answer_stored(call, read_tunnel(call.request.sources, number_of(call.request)).address.view());
}

u32 answer_tunnel_uptime(const RowCall& call)
{
    return answer_number(call, read_tunnel(call.request.sources, number_of(call.request)).uptime);
}

bool will_be_on(const RowCall& call, const char* name)
{
    RowText stored;
    const PackedRow* const row = find_row(call.request.object, name);
    const bool is_inverted = row != nullptr && (row->marks & kInverted) != 0;
    return read_outcome(call, name, stored) == 0 && is_switched_on(stored.view()) != is_inverted;
}

bool will_hold(const RowCall& call, const char* name)
{
    RowText stored;
    return read_outcome(call, name, stored) == 0 && !stored.view().empty();
}

u32 make_section(const Package& package, const char* section, const char* type)
{
    const u32 code = package.make(section, type);
    return code != 0 && !is_installed(package.name) ? refuse(code, "%s is not installed", package.name)
                                                    : code;
}

u32 keep_words(const Package& package, std::string_view section, std::string_view words)
{
    return for_each_word(words, [&](std::string_view word) -> u32 {
        Text<62> option;
        const std::size_t equals = word.find('=');
        option.append(word.substr(0, equals));
        return package.keep(section, option.c_str(), word.substr(equals + 1));
    });
}

u32 keep_item(const char* key, std::string_view item)
{
    RowText text;
    if (!text.assign(item)) {
        return EFAULT;
    }
    const char* const items[] = {text.c_str()};
    const bool is_kept = item.empty() ? !is_there(key) : uci_holds(key, item);
    return is_kept ? 0 : call_optional(QrnUci_SetList, key, items, item.empty() ? 0U : 1U);
}

namespace
{

/// False: there is none.
bool find_wan_zone(ValueText& zone)
{
    return zone.fill([](char* buffer, std::size_t size) {
        return call_optional(QrnUci_FindSection, "firewall", "zone", "name", "wan", buffer,
                             static_cast<u32>(size));
    }) == 0;
}

constexpr const char* kNoZone = "the firewall has no zone of the WAN";

} // namespace

u32 check_wan_zone(const RowCall& call, std::string_view stored)
{
    ValueText zone;
    const bool will_be_on = is_switched_on(stored) != ((call.row.marks & kInverted) != 0);
    return will_be_on && !find_wan_zone(zone) ? refuse(EFAULT, "%s", kNoZone) : 0;
}

u32 join_wan(std::string_view interface)
{
    ValueText zone;
    if (!find_wan_zone(zone)) {
        return refuse(EFAULT, "%s", kNoZone);
    }
    Text<254> key;
    RowText networks;
    RowText items;
    (void)uci_peek(key.append("firewall.").append(zone.view()).append(".network").c_str(), networks);
    if (is_word_of(networks.view(), interface)) {
        return 0;
    }
    (void)for_each_word(networks.view(), [&](std::string_view each) -> u32 {
        items.append(each).append(",");
        return 0;
    });
    const u32 code = write_items(key.c_str(), items.append(interface));
    return code != 0 ? refuse(code, "the firewall's zone of the WAN could not be changed") : 0;
}

u32 complete_tunnel(RowRequest& request, bool is_written)
{
    const Kind& kind = kKinds[number_of(request)];
    const char* const name = kind.interface;
    if (kNetwork.type_of(name).view().empty()) {
        return 0;
    }
    const bool is_new = kNetwork.holds(name, "proto", "");
    const bool has_switch = !kNetwork.holds(name, "disabled", "");
    if (!is_written) {
        // Somebody else's, which is on: our rows take a missing switch for one that is off.
        return is_new || has_switch ? 0 : kNetwork.keep(name, "disabled", "0");
    }
    u32 code = is_new && !has_switch ? kNetwork.keep(name, "disabled", "1") : 0;
    // What the request has named is there by now.
    code = code != 0 || !is_new ? code : for_each_word(kind.options, [&](std::string_view word) -> u32 {
        Text<62> option;
        option.append(word.substr(0, word.find('=')));
        return kNetwork.holds(name, option.c_str(), "") ? keep_words(kNetwork, name, word) : 0;
    });
    return code == 0 && kind.joins_wan && is_tunnel_on(number_of(request)) ? join_wan(name) : code;
}

} // namespace qsc::services
