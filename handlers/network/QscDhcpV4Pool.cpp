// SPDX-License-Identifier: Apache-2.0
// "Device.DHCPv4.Server.Pool.1" and its list "StaticAddress": what the DHCP server gives to the LAN.
#include <cstring>

#include "base/UciOptional.h"
#include "core/GrowingList.h"
#include "core/Objects.h"
#include "handlers/network/Leases.h"
#include "handlers/network/Pools.h"
#include "handlers/network/References.h"
#include "handlers/network/Sockets.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscDhcpV4Pool");

constexpr const char* kLan = kLanZone;

constexpr GrowingList kHosts{.package = "dhcp", .type = "host"};

/// Names of the domain never leave the network.
u32 store_local(const RowCall&, std::string_view stored)
{
    Text<126> local;
    if (!stored.empty()) {
        local.append("/").append(stored).append("/");
    }
    return uci_write("dhcp.@dnsmasq[0].local", local.c_str());
}

u32 answer_mask(const RowCall& call)
{
    Network network{};
    RowText mask;
    if (read_network(kLan, network)) {
        append_ipv4(mask, network.mask);
    }
    return answer_stored(call, mask.view());
}

u32 answer_interface(const RowCall& call)
{
    RowText reference;
    refer_to_interface(kLan, reference);
    return answer_stored(call, reference.view());
}

u32 answer_status(const RowCall& call)
{
    if (!is_pool_on(kLan)) {
        return answer_stored(call, "Disabled");
    }
    const Pool pool = read_pool(kLan);
    const bool fits = pool.has_network && pool.last < broadcast_of(pool.network);
    constexpr u32 kServerPort = 67;
    const bool is_up =
        has_socket(call.request.sources, kUnconnected, SocketEnd::kOwn, kServerPort, Transport::kUdp);
    return answer_stored(call, !fits ? "Error_Misconfigured" : is_up ? "Enabled" : "Error");
}

/// Leases outside the LAN are those of other zones; without an address of the LAN there are none.
Network lan_network()
{
    Network network{0, UINT32_MAX};
    (void)read_network(kLan, network);
    return network;
}

u32 answer_clients(const RowCall& call)
{
    return answer_number(call, count_leases(call.request.sources, lan_network()));
}

u32 answer_list(const RowCall& call)
{
    return answer_leases(call, lan_network());
}

/// Judges a host by another one, whose MAC addresses have blanks between them.
using JudgeHost = u32 (*)(std::string_view stored, i32 number, std::string_view macs, std::string_view ip);

/// Judges a host by each other one.
u32 judge_by_others(const RowCall& call, std::string_view stored, JudgeHost judge)
{
    ListedSections hosts;
    if (const u32 code = hosts.read(kHosts)) {
        return code;
    }
    for (i32 number = hosts.next(0); number != 0; number = hosts.next(number)) {
        if (number == call.request.instance) {
            continue;
        }
        RowText macs;
        RowText address;
        read_option("dhcp", hosts.find(number), "mac", macs);
        read_option("dhcp", hosts.find(number), "ip", address);
        if (const u32 code = judge(stored, number, macs.view(), address.view())) {
            return code;
        }
    }
    return 0;
}

/// The first of the MAC addresses of a host.
u32 answer_mac_address(const RowCall& call)
{
    RowText macs;
    const u32 code = read_stored(call.request, call.row, macs);
    std::string_view rest = macs.view();
    return code != 0 ? code : answer_stored(call, take_word(rest));
}

u32 check_mac_address(const RowCall& call, std::string_view stored)
{
    return judge_by_others(
        call, stored, [](std::string_view wanted, i32 number, std::string_view macs, std::string_view) {
            return for_each_word(macs, [&](std::string_view mac) -> u32 {
                Text<30> upper;
                append_upper(upper, mac);
                return upper.view() == wanted
                           ? refuse(EFAULT, "static address %d has this MAC address already", number)
                           : 0;
            });
        });
}

/// All that the host went by before are replaced.
u32 store_mac_address(const RowCall& call, std::string_view stored)
{
    RowText macs;
    const u32 code = read_stored(call.request, call.row, macs);
    if (code != 0 || macs.view().find(' ') == std::string_view::npos) {
        return code != 0 ? code : write_stored(call, stored);
    }
    Text<254> key;
    append_key(call.request, call.row, key);
    return uci_write(key.c_str(), macs.assign(stored) ? macs.c_str() : "");
}

u32 answer_address(const RowCall& call)
{
    RowText text;
    u32 address = 0;
    const u32 code = read_stored(call.request, call.row, text);
    // A host can also be one that gets none.
    return code != 0 ? code : answer_stored(call, is_ipv4(text.view(), address) ? text.view() : "");
}

u32 check_address(const RowCall& call, std::string_view stored)
{
    Network lan{};
    RowText before;
    u32 address = 0;
    (void)is_ipv4(stored, address);
    if (!call.request.is_new && read_stored(call.request, call.row, before) == 0 && before.view() == stored) {
        return 0; // also one of another zone, which somebody else has made
    }
    if (!read_network(kLan, lan) || !is_within(address, lan) || !is_host_address({address, lan.mask})) {
        return refuse(EFAULT, "it is no address of the LAN");
    }
    if (is_router_address(address)) {
        return refuse(EFAULT, "it is the address of the router");
    }
    return judge_by_others(
        call, stored, [](std::string_view wanted, i32 number, std::string_view, std::string_view other) {
            return other == wanted ? refuse(EFAULT, "static address %d is this one already", number) : 0U;
        });
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kPoolRows[] = {
    kMinAddressRow,
    kMaxAddressRow,
    servers_row("DNSServers", "6"),
    {.name = "DomainName",
     .kind = Kind::kHostName,
     .access = kReadWrite,
     .limits = ":64",
     .key = "dhcp.@dnsmasq[0].domain",
     .fallback = kLan,
     .set = store_local},
    servers_row("IPRouters", "3"),
    lease_time_row(),
    pool_row("Enable", Kind::kBoolean, answer_pool_enable, check_pool_enable, store_pool_enable),
    {.name = "SubnetMask", .kind = Kind::kNetmask, .place = kFunction, .get = answer_mask},
    {.name = "Interface", .kind = Kind::kReference, .place = kFunction, .get = answer_interface},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
    {.name = "StaticAddressNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "ClientNumberOfEntries", .kind = Kind::kUnsigned, .place = kFunction, .get = answer_clients},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_list},
};

constexpr Row kStaticAddressRows[] = {
    kAddRow,
    kDeleteRow,
    {.name = "Chaddr",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kNeeded,
     .key = "mac",
     .get = answer_mac_address,
     .check = check_mac_address,
     .set = store_mac_address},
    {.name = "Yiaddr",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .marks = kNeeded,
     .key = "ip",
     .get = answer_address,
     .check = check_address},
    {.name = "X_QRN_Name", .kind = Kind::kHostName, .access = kReadWrite, .limits = ":63", .key = "name"},
    {.name = "Enable", .kind = Kind::kBoolean, .access = kReadWrite, .key = "enable", .fallback = "1"},
};

} // namespace

QSC_EXPORTED_OBJECT(kDhcpV4Pool, "Device.DHCPv4.Server.Pool.1", g_QscDhcpV4ServerPoolCmd, kPoolRows,
                    .area = "dhcp pool", .section = "dhcp.lan.", .counted = &kHosts, .package = "dhcp")
QSC_OBJECT(kDhcpV4StaticAddress, "Device.DHCPv4.Server.Pool.1.StaticAddress.{i}", kStaticAddressRows,
           .area = "static address", .list = &kHosts)
