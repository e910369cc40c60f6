// SPDX-License-Identifier: Apache-2.0
// The pool of addresses that the DHCP server gives to a zone, the section of the zone's name in the package
// "dhcp". The functions serve rows of every object whose section is named after a zone.
#pragma once

#include <string_view>

#include "core/ServeRow.h"
#include "handlers/network/Zones.h"

namespace qsc::network
{

/// A zone's network, and the ends of its pool as addresses.
struct Pool {
    Network network{};
    bool has_network = false;
    u32 first = 0; ///< both 0 without a network
    u32 last = 0;
};

/// Reads the pool of a zone as it is stored.
[[nodiscard]] Pool read_pool(std::string_view zone);

/// Whether a zone's pool is switched on.
[[nodiscard]] bool is_pool_on(std::string_view zone);

/// Judges the pool that the request's zone will have in this network, with what is said of MinAddress and
/// MaxAddress. `pool` is that pool then.
[[nodiscard]] u32 check_pool(const RowCall& call, const Network& network, Pool& pool);

/// Makes a zone's section if it has none, as what stores something does. It is off until somebody switches it
/// on.
[[nodiscard]] u32 make_pool(std::string_view zone);

/// Reads the network that the request's zone will have, with what is said of IPAddress and SubnetMask; an
/// address of 0: none.
[[nodiscard]] u32 read_next_network(const RowCall& call, Network& network);

/// Stores the ends of a pool, unless they are stored already.
[[nodiscard]] u32 store_ends(const RowCall& call, const Pool& pool);

/// What Enable or DHCPEnable of a pool, its ends, its option list and its lease time are served by. Ends are
/// judged within the zone's network as it will be.
[[nodiscard]] u32 answer_pool_enable(const RowCall& call);
[[nodiscard]] u32 check_pool_enable(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 store_pool_enable(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 answer_first(const RowCall& call);
[[nodiscard]] u32 answer_last(const RowCall& call);
[[nodiscard]] u32 check_end(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 store_end(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 answer_servers(const RowCall& call);
[[nodiscard]] u32 check_servers(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 store_servers(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 answer_lease_time(const RowCall& call);
[[nodiscard]] u32 store_lease_time(const RowCall& call, std::string_view stored);

/// The limits of a lease time in seconds; -1 is for ever.
inline constexpr const char* kLeaseTimes = "-1|120:2147483647";

/// Seconds of "12h", "infinite" or a number; -1: for ever. What makes no sense is the usual time.
[[nodiscard]] i64 parse_lease_time(std::string_view text);

/// How a lease time is stored: in its largest whole unit.
void append_lease_time(i64 seconds, RowText& text);

/// The rows that the pool of the LAN and those of the zones have alike.
consteval Row pool_row(RowName name, Kind kind, RowGet get, RowTake check, RowTake set)
{
    Row row{.name = name};
    row.kind = kind;
    row.access = Access::kReadWrite;
    row.place = Place::kFunction;
    row.get = get;
    row.check = check;
    row.set = set;
    return row;
}

inline constexpr Row kMinAddressRow = pool_row("MinAddress", Kind::kIPv4, answer_first, check_end, store_end);
inline constexpr Row kMaxAddressRow = pool_row("MaxAddress", Kind::kIPv4, answer_last, check_end, store_end);

/// The servers that an option of DHCP names, by its number.
consteval Row servers_row(RowName name, const char* number)
{
    Row row = pool_row(name, Kind::kIPv4, answer_servers, check_servers, store_servers);
    row.marks = kMany;
    row.key = number;
    return row;
}

consteval Row lease_time_row()
{
    Row row = pool_row("LeaseTime", Kind::kInteger, answer_lease_time, nullptr, store_lease_time);
    row.unit = Unit::kSeconds;
    row.limits = kLeaseTimes;
    row.key = "dhcp.*.leasetime";
    return row;
}

} // namespace qsc::network
