// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_VPN.5" and ".6": tunnels of GRE, for packets and for a zone's bridge. Neither is encrypted.
#include "core/Objects.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Networks.h"
#include "handlers/network/References.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Tunnel.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscVpnGre");

/// The zone whose bridge may be joined, of a path. A bridge with the WAN's device in it is none.
bool find_zone(std::string_view reference, RowText& zone)
{
    network::DeviceName own;
    network::DeviceName wan;
    return network::find_interface(reference, zone) && zone.view() != "wan" &&
           (!network::read_device(zone.view(), own) || !network::read_device("wan", wan) ||
            own.view() != wan.view());
}

/// Judges both ends, and what a tunnel that is on needs.
u32 check_ends(const RowCall& call, std::string_view)
{
    RowText remote;
    RowText local;
    u32 code = read_outcome(call, "RemoteAddress", remote);
    code = code != 0 ? code : read_outcome(call, "LocalAddress", local);
    if (code != 0) {
        return code;
    }
    u32 address = 0;
    const bool is_bridged = find_row(call.request.object, "Zone") != nullptr;
    if (remote.view().find(':') != std::string_view::npos) {
        return refuse(EFAULT, "the remote address is none of IPv4");
    }
    if (is_ipv4(remote.view(), address)) {
        if (!network::is_host_address({address, UINT32_MAX}) || network::is_router_address(address) ||
            remote.view() == local.view()) {
            return refuse(EFAULT, "the remote address is no other host's");
        }
    }
    if (is_bridged) {
        RowText reference;
        RowText zone;
        network::Network own{};
        code = read_outcome(call, "Zone", reference);
        const bool has_zone =
            code == 0 && (is_named(call, "Zone") ? find_zone(reference.view(), zone)
                                                 : zone.assign(reference.view()) && !zone.view().empty());
        if (has_zone && address != 0 && network::read_network(zone.view(), own) &&
            network::is_within(address, own)) {
            return refuse(EFAULT, "the remote address lies in the zone that the tunnel would join");
        }
        if (code == 0 && !has_zone && will_be_on(call, "Enable")) {
            return refuse(EFAULT, "it needs a remote address and a zone");
        }
    }
    return code == 0 && remote.view().empty() && will_be_on(call, "Enable")
               ? refuse(EFAULT, "it needs a remote address")
               : code;
}

/// A bridge is in a zone already.
u32 check_switch(const RowCall& call, std::string_view stored)
{
    const bool is_bridged = find_row(call.request.object, "Zone") != nullptr;
    const u32 code = is_bridged ? 0 : check_wan_zone(call, stored);
    return code != 0 ? code : check_ends(call, stored);
}

u32 check_local(const RowCall& call, std::string_view stored)
{
    u32 address = 0;
    return is_ipv4(stored, address) && !network::is_host_address({address, UINT32_MAX})
               ? refuse(EFAULT, "it is no address of a host")
               : check_ends(call, stored);
}

/// One number for both directions.
u32 check_key(const RowCall&, std::string_view stored)
{
    u32 number = 0;
    const bool is_number = parse_whole(stored, number) && (stored == "0" || !stored.starts_with('0'));
    return stored.empty() || is_number ? 0 : refuse(EFAULT, "it is no number from 0 to 4294967295");
}

u32 set_other_key(const RowCall& call, std::string_view stored)
{
    // Nothing was stored where nothing has changed.
    const std::string_view section = section_name(call.request);
    return kNetwork.type_of(section).view().empty() ? 0 : kNetwork.keep(section, "okey", stored);
}

/// The address within the tunnel, and its mask: that of a network of its own.
u32 check_inner(const RowCall& call, std::string_view)
{
    RowText address;
    RowText mask;
    RowText other;
    network::Network inner{};
    u32 code = read_outcome(call, "TunnelIPAddress", address);
    code = code != 0 ? code : read_outcome(call, "TunnelSubnetMask", mask);
    if (code != 0 || address.view().empty()) {
        return code;
    }
    if (!is_ipv4(address.view(), inner.address) || !is_netmask(mask.view(), inner.mask)) {
        return refuse(EFAULT, "an address in the tunnel needs a mask");
    }
    if (!network::is_host_address(inner)) {
        return refuse(EFAULT, "the address in the tunnel is none of a host in its network");
    }
    return network::overlaps_interface(inner, "vpn5addr", other)
               ? refuse(EFAULT, "the tunnel's network overlaps that of %s", other.c_str())
               : 0;
}

u32 set_inner(const RowCall& call, std::string_view stored)
{
    RowText before;
    u32 code = read_stored(call.request, call.row, before);
    if (code != 0 || before.view() == stored) {
        return code;
    }
    code = make_section(kNetwork, "vpn5addr", "interface");
    code = code != 0 ? code : keep_words(kNetwork, "vpn5addr", "proto=static device=@vpn5");
    return code != 0 ? code : write_stored(call, stored);
}

u32 answer_zone(const RowCall& call)
{
    RowText stored;
    RowText reference;
    if (const u32 code = read_stored(call.request, call.row, stored)) {
        return code;
    }
    network::refer_to_interface(stored.view(), reference);
    return answer_stored(call, reference.view());
}

u32 check_zone(const RowCall& call, std::string_view stored)
{
    RowText zone;
    return !stored.empty() && !find_zone(stored, zone)
               ? refuse(EFAULT, "it is no zone, or one with the WAN in it")
               : check_ends(call, stored);
}

u32 set_zone(const RowCall& call, std::string_view stored)
{
    RowText zone;
    (void)(stored.empty() || find_zone(stored, zone));
    return write_stored(call, zone.view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRemoteRow{.name = "RemoteAddress",
                         .kind = Kind::kHost,
                         .access = kReadWrite,
                         .key = "peeraddr",
                         .check = check_ends};
constexpr Row kLocalRow{
    .name = "LocalAddress", .kind = Kind::kIPv4, .access = kReadWrite, .key = "ipaddr", .check = check_local};
constexpr Row kKeyRow{.name = "Key",
                      .access = kReadWrite,
                      .limits = ":10",
                      .key = "ikey",
                      .check = check_key,
                      .set = set_other_key};
constexpr Row kTtlRow{.name = "TTL",
                      .kind = Kind::kUnsigned,
                      .access = kReadWrite,
                      .limits = "1:255",
                      .key = "ttl",
                      .fallback = "64"};
constexpr Row kMtuRow = tunnel_mtu_row("MTU", "1280");
constexpr Row kEnableRow = tunnel_enable_row("Enable", check_switch);

constexpr Row kGreRows[] = {
    kRemoteRow,
    kLocalRow,
    kKeyRow,
    kTtlRow,
    kMtuRow,
    {.name = "TunnelIPAddress",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .place = kFunction,
     .key = "network.vpn5addr.ipaddr",
     .check = check_inner,
     .set = set_inner},
    {.name = "TunnelSubnetMask",
     .kind = Kind::kNetmask,
     .access = kReadWrite,
     .place = kFunction,
     .key = "network.vpn5addr.netmask",
     .check = check_inner,
     .set = set_inner},
    kEnableRow,
    kTunnelStatusRow,
};
constexpr Row kGreTapRows[] = {
    kRemoteRow,
    kLocalRow,
    kKeyRow,
    kTtlRow,
    kMtuRow,
    {.name = "Zone",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":256",
     .key = "network",
     .get = answer_zone,
     .check = check_zone,
     .set = set_zone},
    kEnableRow,
    kTunnelStatusRow,
};

} // namespace

QSC_EXPORTED_OBJECT(kVpn5, "Device.X_QRN_VPN.5", g_QscVpn5Cmd, kGreRows, .area = "GRE",
                    .section = "network.vpn5.", .section_type = "interface", .package = "network firewall",
                    .arrange = complete_tunnel)
QSC_EXPORTED_OBJECT(kVpn6, "Device.X_QRN_VPN.6", g_QscVpn6Cmd, kGreTapRows, .area = "GRE-TAP",
                    .section = "network.vpn6.", .section_type = "interface", .package = "network firewall",
                    .arrange = complete_tunnel)
