// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_VPN.4": a client of OpenVPN. Its file is taken apart and written anew before anybody uses it.
#include <cerrno>

#include "base/UciOptional.h"
#include "core/Objects.h"
#include "handlers/services/Credentials.h"
#include "handlers/services/OpenVpn.h"
#include "handlers/services/OpenVpnFilter.h"
#include "handlers/services/Tunnel.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::services;

namespace
{

QSC_MODULE("QscVpnOpenVpn");

constexpr Package kPackage{"openvpn"};
constexpr const char* kSection = "vpn4";

/// Devices without a package of its own have all of it in the network daemon's.
void locate(RowRequest& request)
{
    (void)request.section.assign(is_openvpn_in_netifd() ? "network.vpn4." : "openvpn.vpn4.");
}

/// A new file, in the form in which it is stored; what comes empty leaves the old one.
u32 take_file(const RowCall& call, FileText& file, bool& is_new)
{
    std::string_view text;
    if (const u32 code = take_text(call.value, text)) {
        return code;
    }
    is_new = !text.empty();
    const OpenVpnFault fault = is_new ? filter_openvpn(text, file) : OpenVpnFault{};
    if (fault.why == nullptr) {
        return 0;
    }
    return fault.line == 0 ? refuse(EFAULT, "%s", fault.why)
                           : refuse(EFAULT, "line %u: %s", fault.line, fault.why);
}

u32 check_file(const RowCall& call, std::string_view)
{
    FileText file;
    bool is_new = false;
    return take_file(call, file, is_new);
}

u32 store_file(const RowCall& call, std::string_view)
{
    FileText file;
    bool is_new = false;
    u32 code = take_file(call, file, is_new);
    code = code != 0 || !is_new ? code : stage_file(kOpenVpnFile, file.view());
    if (code != 0) {
        QSC_LOG_CALL(call, kLogError, "the file is not stored, error %u\n", code);
        return refuse(EFAULT, "the file could not be stored");
    }
    return 0;
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    FileText file;
    if (stored != "1" || brings_text(call.request, "ConfigurationFile") || read_staged(kOpenVpnFile, file)) {
        return check_wan_zone(call, stored);
    }
    return refuse(EFAULT, "it needs a configuration file");
}

/// Makes the section of the values; a new one is off until somebody switches it on.
u32 make_own_section()
{
    if (!is_openvpn_in_netifd()) {
        return make_section(kPackage, kSection, "openvpn");
    }
    const bool is_new = kNetwork.type_of(kSection).view().empty();
    const u32 code = make_section(kNetwork, kSection, "interface");
    return code != 0 || !is_new ? code : keep_words(kNetwork, kSection, "disabled=1");
}

u32 set_enable(const RowCall&, std::string_view stored)
{
    const bool will_be_on = stored == "1";
    if (is_tunnel_on(kOpenVpn) == will_be_on) {
        return 0;
    }
    const u32 code = make_own_section();
    return code != 0                ? code
           : is_openvpn_in_netifd() ? keep_words(kNetwork, kSection, will_be_on ? "disabled=0" : "disabled=1")
                                    : keep_words(kPackage, kSection, will_be_on ? "enabled=1" : "enabled=0");
}

u32 set_credential(const RowCall& call, std::string_view stored)
{
    RowText before;
    u32 code = read_stored(call.request, call.row, before);
    if (code != 0 || before.view() == stored) {
        return code;
    }
    code = make_own_section();
    const bool is_secret = (call.row.marks & kSecret) != 0;
    return code != 0 ? code : is_secret ? write_stored(call, stored) : set_user_name(call, stored);
}

/// The script's own words come after the file's, so none of that runs a program.
u32 complete(RowRequest&, bool is_written)
{
    constexpr const char* kOwn = "config=/etc/openvpn/vpn4.ovpn script_security=1 dev=vpn4 dev_type=tun";
    const bool is_alone = is_openvpn_in_netifd();
    const Package& base = is_alone ? kNetwork : kPackage;
    if (!is_written) {
        // On a device that has none its rows say so.
        return is_installed(kPackage.name) ? call_optional(QrnUci_BeginChange, kPackage.name) : 0;
    }
    if (base.type_of(kSection).view().empty()) {
        return 0;
    }
    u32 code = keep_words(base, kSection, kOwn);
    if (is_alone) {
        code = code != 0 ? code : keep_words(kNetwork, kSection, "proto=openvpn");
    } else {
        code = code != 0 ? code : make_section(kNetwork, kSection, "interface");
        code = code != 0 ? code : keep_words(kNetwork, kSection, "proto=none device=vpn4");
        code = code != 0 ? code
                         : keep_words(kPackage, kSection, is_tunnel_on(kOpenVpn) ? "enabled=1" : "enabled=0");
        code = code != 0
                   ? code
                   : keep_words(kNetwork, kSection, is_tunnel_on(kOpenVpn) ? "disabled=0" : "disabled=1");
    }
    return code == 0 && is_tunnel_on(kOpenVpn) ? join_wan(kSection) : code;
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "Username",
     .access = kReadWrite,
     .place = kFunction,
     .limits = ":126",
     .key = "username",
     .check = check_user_name,
     .set = set_credential},
    {.name = "Password",
     .access = kReadWrite,
     .place = kFunction,
     .marks = kSecret,
     .limits = ":126",
     .key = "password",
     .check = check_password,
     .set = set_credential},
    {.name = "ConfigurationFile",
     .kind = Kind::kLines,
     .access = Access::kWrite,
     .place = kFunction,
     .limits = ":32768",
     .outside = "/etc/openvpn/vpn4.ovpn",
     .check = check_file,
     .set = store_file},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_tunnel_enable,
     .check = check_enable,
     .set = set_enable},
    kTunnelStatusRow,
    kTunnelAddressRow,
    kTunnelUpTimeRow,
};

} // namespace

QSC_EXPORTED_OBJECT(kVpn4, "Device.X_QRN_VPN.4", g_QscVpn4Cmd, kRows, .area = "OpenVPN",
                    .section = "openvpn.vpn4.", .package = "network firewall", .arrange = complete,
                    .locate = locate)
