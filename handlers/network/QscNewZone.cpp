// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_NewZone.": the networks of the zones, their pools, and their way into the Internet. The first
// is the LAN, whose pool "Device.DHCPv4.Server.Pool.1" is as well.
#include <array>
#include <cstring>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "handlers/network/Leases.h"
#include "handlers/network/Pools.h"
#include "handlers/network/ZoneSections.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscNewZone");

constexpr const char* kNetwork = "network";
constexpr const char* kWan = "wan";

bool is_first(const RowCall& call)
{
    return call.request.instance == kFirstZone;
}

/// Whether the pool will be switched on, or is given an end.
u32 read_need_of_pool(const RowCall& call, bool& is_needed)
{
    RowText on;
    is_needed = is_pool_on(zone_of(call.request));
    if (is_named(call, "DHCPEnable")) {
        const u32 code = read_outcome(call, "DHCPEnable", on);
        is_needed = on.view() == "1";
        return code;
    }
    return 0;
}

/// A static address that was right in the zone's network has to be right in the new one.
u32 check_static_addresses(const Network& before, const Network& after)
{
    constexpr GrowingList kHosts{.package = "dhcp", .type = "host"};
    u32 code = 0;
    const u32 unread = for_each_listed(kHosts, [&](i32, const char* host) {
        RowText text;
        u32 address = 0;
        read_option("dhcp", host, "ip", text);
        if (code != 0 || !is_ipv4(text.view(), address) || !is_within(address, before)) {
            return;
        }
        if (!is_within(address, after) || !is_host_address({address, after.mask}) ||
            address == after.address) {
            code = refuse(EFAULT, "the static address %s would not fit", text.c_str());
        }
    });
    return unread != 0 ? unread : code;
}

/// Judges another network of a zone.
u32 judge_move(std::string_view zone, const Network* before, const Network& network)
{
    RowText other;
    if (network.mask == 0) {
        return refuse(EFAULT, "an address needs its mask");
    }
    if (!is_host_address(network)) {
        return refuse(EFAULT, "the address is none of a host in its network");
    }
    if (overlaps_interface(network, zone, other) || overlaps_live(network, kWan, other)) {
        return refuse(EFAULT, "the network overlaps that of %s", other.c_str());
    }
    return before != nullptr ? check_static_addresses(*before, network) : 0;
}

u32 check_network(const RowCall& call, std::string_view)
{
    Network network{};
    Network before{};
    bool needs_pool = false;
    const std::string_view zone = zone_of(call.request);
    const bool has_before = read_network(zone, before);
    u32 code = read_next_network(call, network);
    code = code != 0 ? code : read_need_of_pool(call, needs_pool);
    if (code != 0) {
        return code;
    }
    if (network.address == 0) {
        return is_first(call) ? refuse(EFAULT, "the LAN needs an address")
               : needs_pool   ? refuse(EFAULT, "the pool needs the zone to have an address")
                              : 0;
    }
    // What is set as it already is need not be judged again.
    const bool moves = !has_before || before.address != network.address || before.mask != network.mask;
    code = moves ? judge_move(zone, has_before ? &before : nullptr, network) : 0;
    Pool pool;
    return code != 0 || !needs_pool ? code : check_pool(call, network, pool);
}

u32 answer_address(const RowCall& call)
{
    Network network{};
    RowText text;
    if (read_network(zone_of(call.request), network)) {
        append_ipv4(text, call.row.kind == Kind::kNetmask ? network.mask : network.address);
    }
    return answer_stored(call, text.view());
}

/// Writes a zone's network in the form that it has: as an address and a mask, or as the first item of a list
/// "a.b.c.d/length".
u32 write_network(std::string_view zone, const Network& network)
{
    std::array<char, 2048> items;
    u32 count = 0;
    Network before{};
    const Text<254> key = option_key(kNetwork, zone, "ipaddr");
    const bool has_before = read_network(zone, before);
    if (has_before ? before.address == network.address && before.mask == network.mask
                   : network.address == 0) {
        return 0;
    }
    if (call_optional(QrnUci_GetList, key.c_str(), items.data(), static_cast<u32>(items.size()), &count) !=
        0) {
        count = 0;
    }
    RowText address;
    if (network.address != 0) {
        append_ipv4(address, network.address);
    }
    if (count != 0 && std::strchr(items.data(), '/') != nullptr) {
        const i32 length = network.mask == 0 ? 0 : 32 - __builtin_ctz(network.mask);
        address.append(network.address != 0 ? "/" : "");
        if (network.address != 0) {
            address.append_number(length);
        }
        return network.address != 0 || count > 1 ? QrnUci_SetListItem(key.c_str(), 0, address.c_str())
                                                 : uci_write(key.c_str(), "");
    }
    RowText mask;
    if (network.address != 0) {
        append_ipv4(mask, network.mask);
    }
    const u32 code = count > 1 ? QrnUci_SetListItem(key.c_str(), 0, address.c_str())
                               : uci_write(key.c_str(), address.c_str());
    return code != 0 ? code : uci_write(option_key(kNetwork, zone, "netmask").c_str(), mask.c_str());
}

/// The pool moves along, unless it is off and would not fit.
u32 store_network(const RowCall& call, std::string_view)
{
    Network network{};
    const std::string_view zone = zone_of(call.request);
    if (const u32 code = read_next_network(call, network)) {
        return code;
    }
    Pool pool;
    bool needs_pool = false;
    u32 code = read_need_of_pool(call, needs_pool);
    const bool moves_pool = needs_pool && network.address != 0;
    code = code == 0 && moves_pool ? check_pool(call, network, pool) : code;
    code = code != 0 ? code : write_network(zone, network);
    return code != 0 || !moves_pool ? code : store_ends(call, pool);
}

u32 answer_enabled(const RowCall& call)
{
    const std::string_view zone = zone_of(call.request);
    const bool is_off = !has_section(kNetwork, zone) || is_option_on(kNetwork, zone, "disabled");
    return answer_stored(call, is_off ? "1" : "0");
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    return stored == "1" && is_first(call) ? refuse(EFAULT, "the LAN is where the router is managed from")
                                           : 0;
}

u32 answer_internet(const RowCall& call)
{
    return answer_stored(call, is_forwarded(zone_of(call.request), kWan) ? "1" : "0");
}

u32 store_internet(const RowCall& call, std::string_view stored)
{
    return forward(zone_of(call.request), kWan, stored == "1");
}

u32 answer_list(const RowCall& call)
{
    Network network{0, UINT32_MAX};
    (void)read_network(zone_of(call.request), network);
    return answer_leases(call, network);
}

u32 make(RowRequest& request, bool is_written)
{
    return is_written ? 0 : make_arranged_zone(zone_of(request));
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;
constexpr Kind kBoolean = Kind::kBoolean;

constexpr Row kNewZoneRows[] = {
    {.name = "Name", .place = Place::kSection},
    pool_row("IPAddress", Kind::kIPv4, answer_address, check_network, store_network),
    pool_row("SubnetMask", Kind::kNetmask, answer_address, check_network, store_network),
    kMinAddressRow,
    kMaxAddressRow,
    servers_row("DNSServers", "6"),
    lease_time_row(),
    pool_row("InternetAccess", kBoolean, answer_internet, nullptr, store_internet),
    pool_row("DHCPEnable", kBoolean, answer_pool_enable, check_pool_enable, store_pool_enable),
    {.name = "Enable",
     .kind = kBoolean,
     .access = kReadWrite,
     .marks = kInverted,
     .key = "network.*.disabled",
     .fallback = "0",
     .get = answer_enabled,
     .check = check_enable},
};

constexpr Row kLeaseRows[] = {
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = kFunction, .get = answer_list}};

} // namespace

QSC_OBJECT(kNewZone, "Device.X_QRN_NewZone.{i}", kNewZoneRows, .area = "zone", .list = &kZones,
           .package = kZonePackages, .arrange = make)
QSC_OBJECT(kNewZoneLeases, "Device.X_QRN_NewZone.{i}.DHCP", kLeaseRows, .list = &kZones)
