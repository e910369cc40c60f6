// SPDX-License-Identifier: Apache-2.0
// The IPv4 networks that the router is configured to be in.
#pragma once

#include "core/RowValue.h"

namespace qsc::network
{

/// An address and its mask, in host byte order.
struct Network {
    u32 address;
    u32 mask;
};

/// Whether the address is that of one host of the network: neither the network's own nor its broadcast
/// address, and none that only stands for others.
[[nodiscard]] bool is_host_address(const Network& network);

/// The key of an option of the package "network".
[[nodiscard]] Text<126> network_key(std::string_view section, std::string_view option);

/// Reads an option of the package "network"; empty: there is none.
void read_network_option(std::string_view section, std::string_view option, RowText& value);

/// Whether this is the IPv6 address of one device, or of one on the same link where that will do.
[[nodiscard]] bool is_host_ipv6(const char* text, bool may_be_local);

/// Whether the two share an address.
[[nodiscard]] inline bool overlap(const Network& one, const Network& other)
{
    return ((one.address ^ other.address) & one.mask & other.mask) == 0;
}

/// Whether the address is one of the network.
[[nodiscard]] inline bool is_within(u32 address, const Network& network)
{
    return ((address ^ network.address) & network.mask) == 0;
}

/// The last address of the network.
[[nodiscard]] inline u32 broadcast_of(const Network& network)
{
    return network.address | ~network.mask;
}

/// Reads the first address that an interface is given by hand, with its mask. False: it has none.
[[nodiscard]] bool read_network(std::string_view interface, Network& network);

/// Whether one of the interfaces is given this address by hand.
[[nodiscard]] bool is_router_address(u32 address);

/// Appends an address such as "192.168.1.1".
template <typename Text>
void append_ipv4(Text& text, u32 address)
{
    for (u32 shift = 32; shift > 0; shift -= 8) {
        text.append_number(address >> (shift - 8) & 0xFF).append(shift > 8 ? "." : "");
    }
}

/// Whether the network shares an address with one of the interfaces that are configured by hand, but for the
/// interface `except`; `name` is that interface then.
[[nodiscard]] bool overlaps_interface(const Network& network, std::string_view except, RowText& name);

/// Whether the network shares an address with those that the kernel device of an interface has now; `name` is
/// the interface then.
[[nodiscard]] bool overlaps_live(const Network& network, const char* interface, RowText& name);

/// Whether an interface of this device has the address now.
[[nodiscard]] bool has_address(u32 address);

} // namespace qsc::network
