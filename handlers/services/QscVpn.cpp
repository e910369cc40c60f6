// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_VPN": the six tunnels together, and what commits and restarts any of them. What a device has
// not installed is passed over.
#include <cerrno>
#include <string_view>

#include <unistd.h>

#include "core/JsonList.h"
#include "core/Objects.h"
#include "core/Service.h"
#include "core/ServiceSteps.h"
#include "handlers/services/OpenVpn.h"
#include "handlers/services/Tunnel.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscVpn");

u32 answer_list(const RowCall& call)
{
    constexpr const char* kTypes[] = {"PPTP", "L2TP", "IPsec", "OpenVPN", "GRE", "GRE-TAP"};
    JsonList list;
    for (u32 number = 1; number <= kTunnels; ++number) {
        const TunnelState state = read_tunnel(call.request.sources, number);
        JsonRow row;
        row.add_number("Number", number).add("Type", kTypes[number - 1]);
        row.add_number("Enable", state.is_on ? 1 : 0).add("Status", state.word);
        row.add("IPAddress", state.address.view()).add_number("UpTime", state.uptime);
        if (!list.add(std::move(row))) {
            break;
        }
    }
    return list.answer(call);
}

/// What one tunnel, or all of them, keep their values in and are run by.
struct Parts {
    const char* packages; ///< empty: the engine knows them
    const char* scripts;
};

Parts parts_of(const char* path)
{
    constexpr std::string_view kTunnel = "Device.X_QRN_VPN.";
    const std::string_view text{or_empty(path)};
    const char number = text.size() > kTunnel.size() ? text[kTunnel.size()] : '\0';
    const bool is_new = access("/etc/init.d/swanctl", X_OK) == 0;
    switch (number) {
    case '3':
        return {"", is_new ? "swanctl firewall" : "ipsec firewall"};
    case '4':
        return {"openvpn network firewall", "network firewall openvpn"};
    default:
        return {"network firewall ipsec openvpn",
                is_new ? "network firewall swanctl openvpn" : "network firewall ipsec openvpn"};
    }
}

using Words = Text<126>;

/// The words that a device has something for.
template <typename Has>
void choose(const char* all, Words& chosen, Has has)
{
    (void)for_each_word(all, [&](std::string_view word) -> u32 {
        if (has(word)) {
            chosen.append(chosen.view().empty() ? "" : " ").append(word);
        }
        return 0;
    });
}

} // namespace

u32 qsc::services::commit_vpn(const char* path, json_object* request, u32, u32, i64, u64)
{
    Words packages;
    choose(parts_of(path).packages, packages, is_installed);
    return serve_packages(request, packages.c_str());
}

u32 qsc::services::serve_vpn(const char* path, json_object* request)
{
    if (const u32 code = use_staged(kOpenVpnFile)) {
        QSC_LOG(kLogError, "the file of OpenVPN is not replaced, error %u\n", code);
        return finish(request, EFAULT);
    }
    Words scripts;
    choose(parts_of(path).scripts, scripts, [](std::string_view script) {
        Text<126> file;
        return access(file.append("/etc/init.d/").append(script).c_str(), X_OK) == 0;
    });
    return serve_scripts(request, scripts.c_str());
}

namespace
{

constexpr Row kRows[] = {
    {.name = "TunnelNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kConstant, .key = "6"},
    {.name = "X_QRN_List", .kind = Kind::kJson, .place = Place::kFunction, .get = answer_list},
};

} // namespace

QSC_EXPORTED_OBJECT(kVpn, "Device.X_QRN_VPN", g_QscVpnMainCmd, kRows)
