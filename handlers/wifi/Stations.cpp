// SPDX-License-Identifier: Apache-2.0
#include "handlers/wifi/Stations.h"

#include <algorithm>

#include "handlers/network/Leases.h"

namespace qsc::wifi
{

namespace
{

constexpr const char* kArguments[] = {"/usr/bin/qrnstainfo", "-l", nullptr};
constexpr Tool kTool{kArguments};

} // namespace

Stations::Stations(std::string_view table, std::string_view interface)
{
    (void)take_line(table, header_);
    const Column where = find_column(header_, "INTERFACE");
    const Column who = find_column(header_, "MAC");
    for (std::string_view line; count_ < kMost && take_line(table, line);) {
        const std::string_view address = cell(line, who);
        if (cell(line, where) == interface && is_mac_address(address)) {
            stations_[count_++] = {parse_address(address), line, {}, {}};
        }
    }
    // The tool's order changes with every station that comes; the addresses' does not.
    std::sort(stations_.begin(), stations_.begin() + count_,
              [](const Station& left, const Station& right) { return left.address < right.address; });
}

void Stations::join_leases(std::string_view leases)
{
    const auto begin = stations_.begin();
    const auto end = begin + count_;
    for (network::Lease lease; network::take_lease(leases, lease);) {
        const MacAddress address = parse_address(lease.mac_address);
        auto station =
            std::lower_bound(begin, end, address, [](const Station& each, const MacAddress& wanted) {
                return each.address < wanted;
            });
        for (; station != end && station->address == address; ++station) {
            station->ip_address = lease.ip_address;
            station->host_name = lease.host_name;
        }
    }
}

std::string_view read_stations(Sources& sources, bool is_on)
{
    return is_on ? sources.output(kTool, "QscDeviceWiFiStations") : std::string_view{};
}

void read_value(const PackedRow& row, Column column, std::string_view line, RowText& value)
{
    const std::string_view text = cell(line, column);
    i64 number = 0;
    switch (row.kind) {
    case Kind::kMacAddress:
        append_upper(value, text);
        break;
    case Kind::kWord:
        value.append(find_word(row.limits(), text) >= 0 ? text : "");
        break;
    case Kind::kBoolean:
        value.append(text == "1" ? "1" : "0");
        break;
    default:
        (void)(parse_whole(text, number) && number < 0 && row.kind != Kind::kInteger && (number = 0));
        value.append_number(number);
    }
}

} // namespace qsc::wifi
