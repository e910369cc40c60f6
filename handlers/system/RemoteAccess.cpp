// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/RemoteAccess.h"

#include "base/Parse.h"
#include "handlers/network/Sockets.h"

namespace qsc::system
{

bool is_listening(Sources& sources, u32 port)
{
    return network::has_socket(sources, network::kListening, network::SocketEnd::kOwn, port);
}

bool is_option_on(const char* key, bool fallback)
{
    ValueText stored;
    return uci_peek(key, stored) == 0 ? is_switched_on(stored.view()) : fallback;
}

u32 port_in_option(const char* key, u32 fallback)
{
    ValueText stored;
    u32 port = fallback;
    (void)(uci_peek(key, stored) == 0 && parse_whole(stored.view(), port));
    return port;
}

bool is_ssh_on()
{
    return is_installed("dropbear") && is_option_on("dropbear.@dropbear[0].enable", true);
}

bool is_telnet_on()
{
    return is_option_on("telnetd.config.enable", false);
}

u32 check_last_way_in(bool is_other_on)
{
    return is_other_on || g_QSysCmdHalCb != nullptr ? 0 : refuse(EFAULT, "it is the last way to the router");
}

} // namespace qsc::system
