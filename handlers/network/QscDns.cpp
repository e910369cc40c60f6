// SPDX-License-Identifier: Apache-2.0
// "Device.DNS.Client.Server.": the servers that names are looked up at, and those that one wants in their
// place. What is wanted is kept in an option of its own in the order that was given; while it is switched on,
// the interfaces have it as well, each the addresses of its kind.
#include "base/UciOptional.h"
#include "core/Objects.h"
#include "handlers/network/LiveInterface.h"
#include "handlers/network/Networks.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscDns");

using Key = Text<126>;
using AddressText = Text<62>;

Key key_of(Uplink uplink, const char* option)
{
    return network_key(name_of(uplink), option);
}

/// Reads an option of an interface; empty: there is none.
void read_option(Uplink uplink, const char* option, RowText& text)
{
    read_network_option(name_of(uplink), option, text);
}

i64 number_in(Uplink uplink, const char* option)
{
    RowText text;
    i64 number = 0;
    read_option(uplink, option, text);
    (void)parse_whole(text.view(), number);
    return number;
}

/// Calls use(uplink, addresses) for both interfaces in the order in which their servers are asked.
template <typename Use>
void for_each_uplink(const RowCall& call, Use use)
{
    const i64 first = number_in(Uplink::kWan6, "dns_metric") - number_in(Uplink::kWan, "dns_metric");
    const i64 second = number_in(Uplink::kWan6, "metric") - number_in(Uplink::kWan, "metric");
    const bool is_six_first = first < 0 || (first == 0 && second < 0);
    for (const bool is_six : {is_six_first, !is_six_first}) {
        const Uplink uplink = is_six ? Uplink::kWan6 : Uplink::kWan;
        RowText addresses;
        read_live(live_status(call, uplink), "dns-server", addresses);
        use(uplink, addresses.view());
    }
}

/// The server's number in the path; -1: it has none.
i32 number_in_path(const RowCall& call)
{
    const std::string_view rest = rest_of_path(call.request.object, call.request.path);
    i32 number = 0;
    if (rest.empty() || !is_digit(rest.front())) {
        return -1;
    }
    (void)parse_whole(rest.substr(0, rest.find('.')), number);
    return number;
}

u32 answer_list(const RowCall& call)
{
    RowText all;
    if (number_in_path(call) >= 0) {
        return 0;
    }
    for_each_uplink(call, [&](Uplink, std::string_view addresses) {
        all.append(all.view().empty() || addresses.empty() ? "" : ",").append(addresses);
    });
    return answer_stored(call, all.view());
}

const char* type_of(Uplink uplink, std::string_view address)
{
    RowText own;
    RowText protocol;
    read_option(uplink, "dns", own);
    read_option(uplink, "proto", protocol);
    return is_word_of(own.view(), address) || protocol.view() == "static" ? "Static"
           : address.find(':') == std::string_view::npos
               ? (protocol.view().starts_with("ppp") ? "IPCP" : "DHCPv4")
           : protocol.view() == "dhcpv6" ? "DHCPv6"
                                         : "RouterAdvertisement";
}

/// Answers for the server whose number the path has. Without a number there is nothing to answer.
u32 answer_server(const RowCall& call)
{
    const i32 wanted = number_in_path(call);
    if (wanted < 0) {
        return 0;
    }
    i32 number = 0;
    AddressText found;
    const char* type = "";
    for_each_uplink(call, [&](Uplink uplink, std::string_view addresses) {
        (void)for_each_item(addresses, [&](std::string_view address) -> u32 {
            if (++number == wanted) {
                found.append(address);
                type = type_of(uplink, address);
            }
            return 0;
        });
    });
    if (found.view().empty()) {
        return refuse(EINVAL, "there is no server %d", wanted);
    }
    const std::string_view constant = or_empty(call.row.key());
    return answer_stored(call, !constant.empty() ? constant : *call.row.name == 'T' ? type : found.view());
}

constexpr const char* kWanted = "qrn_dns";
constexpr const char* kNames[] = {"DNSServer1", "DNSServer2"};

/// The wanted servers by their places, which may be empty.
using Servers = std::array<AddressText, 2>;

bool is_installed(Uplink uplink)
{
    RowText type;
    Key key;
    key.append("network.").append(name_of(uplink));
    return uci_peek(key.c_str(), type) == 0;
}

/// The servers that the interfaces have of their own.
void read_used(RowText& used)
{
    for (const Uplink uplink : {Uplink::kWan, Uplink::kWan6}) {
        RowText own;
        read_option(uplink, "dns", own);
        used.append(used.view().empty() || own.view().empty() ? "" : " ").append(own.view());
    }
}

/// Whether the interfaces use what they have of their own in place of the provider's.
bool is_on()
{
    RowText peer;
    RowText used;
    read_option(Uplink::kWan, "peerdns", peer);
    read_used(used);
    return !peer.view().empty() && !is_switched_on(peer.view()) && !used.view().empty();
}

void read_servers(Servers& servers)
{
    RowText used;
    read_used(used);
    i32 unknown = 0; // what only one of them has
    (void)for_each_word(used.view(), [&](std::string_view) -> u32 {
        ++unknown;
        return 0;
    });
    const Key wanted = key_of(Uplink::kWan, kWanted);
    bool is_same = true;
    bool is_known = false;
    for (u32 i = 0; i < servers.size(); ++i) {
        (void)servers[i].fill([&](char* buffer, std::size_t size) {
            return QrnUci_GetListItem(wanted.c_str(), i, buffer, static_cast<u32>(size));
        });
        if (!servers[i].view().empty()) {
            is_known = true;
            is_same = is_same && is_word_of(used.view(), servers[i].view());
            --unknown;
        }
    }
    if (is_known && (!is_on() || (is_same && unknown == 0))) {
        return;
    }
    // Somebody else has written them.
    u32 place = 0;
    servers = {};
    (void)for_each_word(used.view(), [&](std::string_view word) -> u32 {
        servers[place].append(word);
        return ++place == servers.size() ? 1 : 0;
    });
}

/// Reads what will be wanted. @return whether it will be used
bool read_next(const RowCall& call, Servers& servers)
{
    RowText text;
    read_servers(servers);
    for (u32 i = 0; i < std::size(kNames); ++i) {
        if (is_named(call, kNames[i]) && read_outcome(call, kNames[i], text) == 0) {
            (void)servers[i].assign(text.view());
        }
    }
    return is_named(call, "Enable") ? read_outcome(call, "Enable", text) == 0 && text.view() == "1" : is_on();
}

u32 check_servers(const RowCall& call, std::string_view stored)
{
    Servers servers;
    u32 address = 0;
    if (read_next(call, servers) && servers[0].view().empty() && servers[1].view().empty()) {
        return refuse(EFAULT, "it needs a server");
    }
    if (call.row.kind == Kind::kBoolean || stored.empty()) {
        return 0;
    }
    if (servers[0].view() == servers[1].view()) {
        return refuse(EFAULT, "both servers are the same");
    }
    AddressText text;
    const bool is_four = is_ipv4(stored, address);
    if (is_four ? !is_host_address({address, UINT32_MAX})
                : !text.assign(stored) || !is_host_ipv6(text.c_str(), false)) {
        return refuse(EFAULT, "it is the address of no server");
    }
    return is_four && is_router_address(address) ? refuse(EFAULT, "it is the router itself") : 0;
}

/// Stores a list, unless it is there already.
u32 put_list(const Key& key, std::span<const char* const> items)
{
    RowText before;
    RowText after;
    for (const char* item : items) {
        after.append(item == items[0] ? "" : " ").append(item);
    }
    (void)uci_peek(key.c_str(), before);
    return before.view() == after.view()
               ? 0
               : call_optional(QrnUci_SetList, key.c_str(), items.data(), static_cast<u32>(items.size()));
}

/// Has an interface use servers of its own, or the provider's.
u32 use_servers(Uplink uplink, const Servers& servers, bool is_on)
{
    // Where IPv6 has no interface of its own, the other one takes all.
    const bool takes_all = !is_installed(Uplink::kWan6);
    std::array<const char*, 2> items{};
    std::size_t count = 0;
    for (const AddressText& server : servers) {
        const bool is_six = server.view().find(':') != std::string_view::npos;
        if (is_on && !server.view().empty() && (takes_all || is_six == (uplink == Uplink::kWan6))) {
            items[count++] = server.c_str();
        }
    }
    const u32 code = put_list(key_of(uplink, "dns"), {items.data(), count});
    RowText peer;
    read_option(uplink, "peerdns", peer);
    const char* const wanted = is_on ? "0" : "";
    return code != 0 || peer.view() == wanted ? code : uci_write(key_of(uplink, "peerdns").c_str(), wanted);
}

/// Stores all that the request says, whichever of its parameters comes first.
u32 store_servers(const RowCall& call, std::string_view)
{
    Servers servers;
    const bool was_on = is_on();
    const bool will_be_on = read_next(call, servers);
    const char* const items[] = {servers[0].c_str(), servers[1].c_str()};
    const bool has_second = !servers[1].view().empty();
    const std::size_t count = has_second ? 2 : servers[0].view().empty() ? 0 : 1;
    u32 code = put_list(key_of(Uplink::kWan, kWanted), {items, count});
    for (const Uplink uplink : {Uplink::kWan, Uplink::kWan6}) {
        if (code == 0 && (was_on || will_be_on) && is_installed(uplink)) {
            code = use_servers(uplink, servers, will_be_on);
        }
    }
    return code;
}

u32 answer_wanted(const RowCall& call)
{
    Servers servers;
    read_servers(servers);
    return answer_stored(call, servers[call.row.name == std::string_view{kNames[1]} ? 1 : 0].view());
}

u32 answer_enabled(const RowCall& call)
{
    return answer_stored(call, is_on() ? "1" : "0");
}

constexpr Place kFunction = Place::kFunction;

constexpr Row kServerRows[] = {
    {.name = "X_QRN_DNSServers",
     .kind = Kind::kIPAddress,
     .place = kFunction,
     .marks = kMany,
     .get = answer_list},
    {.name = "DNSServer", .kind = Kind::kIPAddress, .place = kFunction, .get = answer_server},
    {.name = "Type",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "DHCPv4|DHCPv6|RouterAdvertisement|IPCP|Static",
     .get = answer_server},
    {.name = "Interface",
     .kind = Kind::kReference,
     .place = kFunction,
     .key = "Device.IP.Interface.1",
     .get = answer_server},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error",
     .key = "Enabled",
     .get = answer_server},
};

#define WANTED(NAME, KIND, GET)                                                                              \
    {                                                                                                        \
        .name = (NAME), .kind = (KIND), .access = Access::kReadWrite, .place = kFunction, .get = (GET),      \
        .check = check_servers, .set = store_servers                                                         \
    }

constexpr Row kWantedRows[] = {
    WANTED(kNames[0], Kind::kIPAddress, answer_wanted),
    WANTED(kNames[1], Kind::kIPAddress, answer_wanted),
    WANTED("Enable", Kind::kBoolean, answer_enabled),
};

} // namespace

QSC_OBJECT(kDnsServers, "Device.DNS.Client.Server.", kServerRows, .rows_by = "number")
QSC_OBJECT(kWantedDns, "Device.DNS.Client.Server.X_QRN_Custom", kWantedRows, .area = "custom dns",
           .package = "network")
