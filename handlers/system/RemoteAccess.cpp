// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/RemoteAccess.h"

#include "base/Parse.h"

namespace qsc::system
{

bool is_listening(Sources& sources, u32 port)
{
    constexpr std::string_view kListening = "0A";
    bool is_found = false;
    for (const char* const table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::string_view rest = sources.file(table);
        while (!rest.empty()) {
            const std::string_view line = first_line(rest);
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            // "0: 0100007F:0016 00000000:0000 0A ..."
            u32 column = 0;
            u32 local = 0;
            (void)for_each_word(line, [&](std::string_view word) -> u32 {
                const std::size_t colon = word.rfind(':');
                if (column == 1 && colon != std::string_view::npos) {
                    (void)parse_whole(word.substr(colon + 1), local, 16);
                }
                is_found = is_found || (column == 3 && word == kListening && local == port);
                return column++ == 3 ? 1 : 0;
            });
        }
    }
    return is_found;
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
