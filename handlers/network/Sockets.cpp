// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Sockets.h"

#include "base/Parse.h"

namespace qsc::network
{

bool has_socket(Sources& sources, std::string_view state, SocketEnd end, u32 port, Transport transport)
{
    constexpr const char* kTables[][2] = {{"/proc/net/tcp", "/proc/net/tcp6"},
                                          {"/proc/net/udp", "/proc/net/udp6"}};
    constexpr u32 kStateColumn = 3;
    bool is_found = false;
    for (const char* const table : kTables[static_cast<std::size_t>(transport)]) {
        std::string_view rest = sources.file(table);
        while (!rest.empty()) {
            const std::string_view line = first_line(rest);
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            // "0: 0100007F:0016 00000000:0000 0A ..."
            u32 column = 0;
            u32 own = 0;
            (void)for_each_word(line, [&](std::string_view word) -> u32 {
                const std::size_t colon = word.rfind(':');
                if (column == static_cast<u32>(end) && colon != std::string_view::npos) {
                    (void)parse_whole(word.substr(colon + 1), own, 16);
                }
                is_found = is_found || (column == kStateColumn && word == state && own == port);
                return column++ == kStateColumn ? 1 : 0;
            });
        }
    }
    return is_found;
}

} // namespace qsc::network
