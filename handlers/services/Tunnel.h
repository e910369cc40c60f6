// SPDX-License-Identifier: Apache-2.0
// What the tunnels have in common. Number N of "Device.X_QRN_VPN.N" is the interface "vpnN" of the network
// daemon, but for IPsec, which has none.
#pragma once

#include "handlers/services/Package.h"

namespace qsc::services
{

enum Tunnel : u32 { kPptp = 1, kL2tp = 2, kIpsec = 3, kOpenVpn = 4, kGre = 5, kGreTap = 6 };
inline constexpr u32 kTunnels = 6;

inline constexpr const char* kTunnelStates = "Disabled|Up|Connecting|Error";

/// Whether a tunnel is switched on.
[[nodiscard]] bool is_tunnel_on(u32 number);

/// What is live of a tunnel.
struct TunnelState {
    bool is_on = false;
    const char* word = "Disabled"; ///< of kTunnelStates
    Text<62> address{};            ///< its own; empty: none
    i64 uptime = 0;                ///< seconds
};
[[nodiscard]] TunnelState read_tunnel(Sources& sources, u32 number);

/// Answer rows of the tunnel that a request is about.
[[nodiscard]] u32 answer_tunnel_enable(const RowCall& call);
[[nodiscard]] u32 answer_tunnel_status(const RowCall& call);
[[nodiscard]] u32 answer_tunnel_address(const RowCall& call);
[[nodiscard]] u32 answer_tunnel_uptime(const RowCall& call);

inline constexpr Row kTunnelStatusRow = status_row("Status", answer_tunnel_status, kTunnelStates);
inline constexpr Row kTunnelAddressRow{
    .name = "IPAddress", .kind = Kind::kIPv4, .place = Place::kFunction, .get = answer_tunnel_address};
inline constexpr Row kTunnelUpTimeRow{.name = "UpTime",
                                      .kind = Kind::kUnsigned,
                                      .place = Place::kFunction,
                                      .unit = Unit::kSeconds,
                                      .get = answer_tunnel_uptime};
/// For the switch of an interface. `check` judges it.
consteval Row tunnel_enable_row(RowName name, RowTake check, RowTake set = nullptr)
{
    Row row{.name = name};
    row.kind = Kind::kBoolean;
    row.access = Access::kReadWrite;
    row.marks = kInverted;
    row.key = "disabled";
    row.fallback = "1";
    row.get = answer_tunnel_enable;
    row.check = check;
    row.set = set;
    return row;
}
consteval Row tunnel_mtu_row(RowName name, const char* usual)
{
    Row row{.name = name};
    row.kind = Kind::kUnsigned;
    row.access = Access::kReadWrite;
    row.unit = Unit::kBytes;
    row.limits = "576:1500";
    row.key = "mtu";
    row.fallback = usual;
    return row;
}

/// Whether what a row of the same object will hold is switched on, or is not empty.
[[nodiscard]] bool will_be_on(const RowCall& call, const char* name);
[[nodiscard]] bool will_hold(const RowCall& call, const char* name);

/// Whether OpenVPN is an interface of the network daemon alone, as on devices without a package of its own.
[[nodiscard]] bool is_openvpn_in_netifd();

inline constexpr Package kNetwork{"network"};

/// Makes a section of a package, unless it is there.
[[nodiscard]] u32 make_section(const Package& package, const char* section, const char* type);

/// Stores options of a section: words of "option=value", with blanks between them.
[[nodiscard]] u32 keep_words(const Package& package, std::string_view section, std::string_view words);

/// Stores an option as a list of one item; empty: takes it away.
[[nodiscard]] u32 keep_item(const char* key, std::string_view item);

/// Completes the interface of the tunnel that a set is about once something was stored in it, and has the
/// firewall treat it as the WAN when it is on.
[[nodiscard]] u32 complete_tunnel(RowRequest& request, bool is_written);

/// Judges a switch of a tunnel that would be in the firewall's zone of the WAN, in the spelling "disabled" or
/// "enabled" of a row.
[[nodiscard]] u32 check_wan_zone(const RowCall& call, std::string_view stored);

/// Puts an interface into that zone.
[[nodiscard]] u32 join_wan(std::string_view interface);

} // namespace qsc::services
