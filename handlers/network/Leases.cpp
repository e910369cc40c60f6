// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Leases.h"

#include "core/DateTime.h"
#include "core/JsonList.h"

namespace qsc::network
{

namespace
{

QSC_MODULE("QscLeases");

constexpr const char* kUsualFile = "/tmp/dhcp.leases";

/// "EXPIRY MAC IPV4 NAME CLIENTID". False: it is no such line.
bool parse_lease(std::string_view line, Lease& lease)
{
    const bool is_lease = parse_whole(take_word(line), lease.expires);
    lease.mac_address = take_word(line);
    lease.ip_address = take_word(line);
    lease.host_name = take_word(line);
    if (lease.host_name == "*") {
        lease.host_name = {};
    }
    return is_lease && is_mac_address(lease.mac_address) && is_ipv4(lease.ip_address, lease.address);
}

/// Calls use(lease) for each lease in a network, until it returns false.
template <typename Use>
void for_each_lease(Sources& sources, const Network& network, Use use)
{
    std::string_view rest = read_leases(sources);
    Lease lease;
    while (take_lease(rest, lease)) {
        if (is_within(lease.address, network) && !use(lease)) {
            return;
        }
    }
}

} // namespace

std::string_view read_leases(Sources& sources)
{
    ValueText path;
    if (uci_peek("dhcp.@dnsmasq[0].leasefile", path) != 0) {
        (void)path.assign(kUsualFile);
    }
    const std::string_view leases = sources.file(path.c_str());
    if (leases.empty() && sources.take_missing() && sources.warns()) {
        QSC_LOG(kLogWarning, "there is no %s\n", path.c_str());
    }
    return leases;
}

bool take_lease(std::string_view& leases, Lease& lease)
{
    while (!leases.empty()) {
        const std::string_view line = first_line(leases);
        leases.remove_prefix(std::min(line.size() + 1, leases.size()));
        if (line.starts_with("duid ")) {
            leases = {}; // what follows are IPv6 leases
        } else if (parse_lease(line, lease)) {
            return true;
        }
    }
    return false;
}

bool find_lease(Sources& sources, std::string_view mac_address, Lease& lease)
{
    Text<30> wanted;
    append_upper(wanted, mac_address);
    std::string_view rest = read_leases(sources);
    while (take_lease(rest, lease)) {
        Text<30> mac;
        append_upper(mac, lease.mac_address);
        if (mac.view() == wanted.view()) {
            return true;
        }
    }
    return false;
}

u32 count_leases(Sources& sources, const Network& network)
{
    u32 count = 0;
    for_each_lease(sources, network, [&](const Lease&) {
        ++count;
        return true;
    });
    return count;
}

u32 answer_leases(const RowCall& call, const Network& network)
{
    JsonList list;
    for_each_lease(call.request.sources, network, [&](const Lease& lease) {
        Text<30> mac;
        append_upper(mac, lease.mac_address);
        JsonRow row;
        row.add("MACAddress", mac.view()).add("IPAddress", lease.ip_address);
        row.add("HostName", lease.host_name).add("Expires", date_time_of(lease.expires).view());
        return list.add(std::move(row));
    });
    return list.answer(call);
}

} // namespace qsc::network
