// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/Survey.h"

#include "core/RowValue.h"

namespace qsc::wifi
{

Survey::Survey(std::string_view table) : rest_(table)
{
    std::string_view header;
    (void)take_line(rest_, header);
    channel_ = find_column(header, "CHANNEL");
    ssid_ = find_column(header, "SSID");
    bssid_ = find_column(header, "BSSID");
    signal_ = find_column(header, "SIGNAL");
    mode_ = find_column(header, "MODE");
    security_ = find_column(header, "SECURITY");
}

bool Survey::next(Neighbour& neighbour)
{
    for (std::string_view line; take_line(rest_, line);) {
        const std::string_view address = cell(line, bssid_);
        if (!is_mac_address(address)) {
            continue;
        }
        neighbour = {};
        neighbour.ssid = cell(line, ssid_);
        neighbour.mode = cell(line, mode_);
        neighbour.security = cell(line, security_);
        append_upper(neighbour.bssid, address);
        (void)parse_whole(cell(line, channel_), neighbour.channel);
        (void)parse_whole(cell(line, signal_), neighbour.signal);
        return true;
    }
    return false;
}

} // namespace qsc::wifi
