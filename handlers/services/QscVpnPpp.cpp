// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_VPN.1" and ".2": tunnels of PPTP and L2TP, which are weak by today's measure.
#include "core/Objects.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/Tunnel.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscVpnPpp");

u32 check_whole(const RowCall& call, std::string_view)
{
    return will_be_on(call, "Enable") && (!will_hold(call, "Server") || !will_hold(call, "Username"))
               ? refuse(EFAULT, "it needs a server and a user name")
               : 0;
}

u32 check_switch(const RowCall& call, std::string_view stored)
{
    const u32 code = check_wan_zone(call, stored);
    return code != 0 ? code : check_whole(call, stored);
}

u32 check_name(const RowCall& call, std::string_view stored)
{
    const u32 code = check_user_name(call, stored);
    return code != 0 ? code : check_whole(call, stored);
}

u32 warn(const RowCall& call, std::string_view stored)
{
    if (stored == "0") { // not disabled
        QSC_LOG_CALL(call, kLogWarning, "%s is on, which can be broken into\n", call.request.object.area());
    }
    return 0;
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kServerRow{
    .name = "Server", .kind = Kind::kHost, .access = kReadWrite, .key = "server", .check = check_whole};
constexpr Row kUsernameRow{.name = "Username",
                           .access = kReadWrite,
                           .place = Place::kFunction,
                           .limits = ":126",
                           .key = "username",
                           .check = check_name,
                           .set = set_user_name};
constexpr Row kPasswordRow{.name = "Password",
                           .access = kReadWrite,
                           .marks = kSecret,
                           .limits = ":126",
                           .key = "password",
                           .check = check_password};
constexpr Row kMtuRow = tunnel_mtu_row("MTU", "1500");
constexpr Row kRouteRow{.name = "DefaultRoute",
                        .kind = Kind::kBoolean,
                        .access = kReadWrite,
                        .key = "defaultroute",
                        .fallback = "0"};
constexpr Row kEnableRow = tunnel_enable_row("Enable", check_switch, warn);

constexpr Row kPptpRows[] = {
    kServerRow,
    kUsernameRow,
    kPasswordRow,
    kMtuRow,
    kRouteRow,
    // The program asks for encryption unless configured not to.
    {.name = "Encryption",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .limits = QSC_STORED_WORDS("Required|Off", "|nomppe"),
     .key = "pppd_options"},
    kEnableRow,
    kTunnelStatusRow,
    kTunnelAddressRow,
    kTunnelUpTimeRow,
};
constexpr Row kL2tpRows[] = {
    kServerRow, kUsernameRow,     kPasswordRow,      kMtuRow,          kRouteRow,
    kEnableRow, kTunnelStatusRow, kTunnelAddressRow, kTunnelUpTimeRow,
};

} // namespace

QSC_EXPORTED_OBJECT(kVpn1, "Device.X_QRN_VPN.1", g_QscVpn1Cmd, kPptpRows, .area = "PPTP",
                    .section = "network.vpn1.", .section_type = "interface", .package = "network firewall",
                    .arrange = complete_tunnel)
QSC_EXPORTED_OBJECT(kVpn2, "Device.X_QRN_VPN.2", g_QscVpn2Cmd, kL2tpRows, .area = "L2TP",
                    .section = "network.vpn2.", .section_type = "interface", .package = "network firewall",
                    .arrange = complete_tunnel)
