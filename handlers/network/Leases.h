// SPDX-License-Identifier: Apache-2.0
// The leases that the DHCP server has given, from the file that dnsmasq keeps.
#pragma once

#include <string_view>

#include "core/ServeRow.h"
#include "handlers/network/Networks.h"

namespace qsc::network
{

/// One lease. Its texts are parts of what it was read from, and come from strangers.
struct Lease {
    i64 expires = 0; ///< seconds since 1970; 0: never
    std::string_view mac_address;
    std::string_view ip_address;
    std::string_view host_name; ///< empty: the client has said none
    u32 address = 0;            ///< in host byte order
};

/// The content of the lease file, wherever the configuration has it; empty: there is none.
[[nodiscard]] std::string_view read_leases(Sources& sources);

/// Takes the next lease off the content; false: there is none left. Lines that are none are passed over.
[[nodiscard]] bool take_lease(std::string_view& leases, Lease& lease);

/// Finds the lease of a MAC address, in either case. False: it has none.
[[nodiscard]] bool find_lease(Sources& sources, std::string_view mac_address, Lease& lease);

/// How many leases lie in a network.
[[nodiscard]] u32 count_leases(Sources& sources, const Network& network);

/// Answers a call with the leases that lie in a network, as X_QRN_List has them.
[[nodiscard]] u32 answer_leases(const RowCall& call, const Network& network);

} // namespace qsc::network
