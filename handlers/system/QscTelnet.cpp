// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_RemoteAccess.Telnet": a login without encryption, for the LAN alone.
#include "core/Objects.h"
#include "handlers/system/RemoteAccess.h"

using namespace qsc;
using namespace qsc::system;

namespace
{

QSC_MODULE("QscTelnet");

constexpr const char* kUsualPort = "23";

u32 check_port(const RowCall&, std::string_view stored)
{
    u32 port = 0;
    (void)parse_whole(stored, port);
    return is_ssh_on() && port == port_in_option("dropbear.@dropbear[0].Port", 22)
               ? refuse(EFAULT, "port %u is that of SSH", port)
               : 0;
}

u32 check_enable(const RowCall& call, std::string_view stored)
{
    if (stored == "1") {
        RowText port;
        const u32 code = read_outcome(call, "Port", port);
        return code != 0 ? code : check_port(call, port.view());
    }
    return is_telnet_on() ? check_last_way_in(is_ssh_on()) : 0;
}

u32 answer_status(const RowCall& call)
{
    const bool is_up = is_listening(call.request.sources, port_in_option("telnetd.config.port", 23));
    return answer_stored(call, !is_telnet_on() ? "Disabled" : is_up ? "Enabled" : "Error");
}

constexpr Row kRows[] = {
    {.name = "Port",
     .kind = Kind::kPort,
     .access = Access::kReadWrite,
     .key = "port",
     .fallback = kUsualPort,
     .check = check_port},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = Access::kReadWrite,
     .key = "enable",
     .fallback = "0",
     .check = check_enable},
    status_row("Status", answer_status),
};

} // namespace

QSC_OBJECT(kTelnet, "Device.X_QRN_RemoteAccess.Telnet", kRows, .area = "telnet", .section = "telnetd.config.",
           .section_type = "telnetd")
