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

/// What Enable or DHCPEnable of a pool, its ends, its option list and its lease time are served by. Ends are
/// judged within the zone's network as it will be.
[[nodiscard]] u32 answer_pool_enable(const RowCall& call);
[[nodiscard]] u32 store_pool_enable(const RowCall& call, std::string_view stored);
[[nodiscard]] u32 answer_first(const RowCall& call);
[[nodiscard]] u32 answer_last(const RowCall& call);
[[nodiscard]] u32 store_ends(const RowCall& call, const Pool& pool);
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

} // namespace qsc::network
