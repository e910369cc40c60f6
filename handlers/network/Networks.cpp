// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Networks.h"

#include <cstring>

#include <arpa/inet.h>
#include <ifaddrs.h>

#include "base/FileDescriptor.h"
#include "core/UciAccess.h"
#include "handlers/network/SectionNames.h"

namespace qsc::network
{

bool find_section(const char* package, const char* type, const char* option, const char* value,
                  Text<62>& section)
{
    return section.fill([&](char* buffer, std::size_t size) {
        return call_optional(QrnUci_FindSection, package, type, option, value, buffer,
                             static_cast<u32>(size));
    }) == 0;
}

u32 add_section(const char* package, const char* type, const char* name)
{
    return call_optional(QrnUci_AddSection, package, type, name, static_cast<char*>(nullptr), 0U);
}

Text<126> network_key(std::string_view section, std::string_view option)
{
    Text<126> key;
    key.append("network.").append(section).append(".").append(option);
    return key;
}

void read_network_option(std::string_view section, std::string_view option, RowText& value)
{
    (void)uci_peek(network_key(section, option).c_str(), value);
}

namespace
{

/// Calls visit(context, network) for each address of a section: as "a.b.c.d" with a mask of its own, or as
/// items "a.b.c.d/length".
void visit_networks(std::string_view section, void* context,
                    void (*visit)(void* context, const Network& network))
{
    RowText protocol;
    RowText mask_text;
    RowText addresses;
    read_network_option(section, "proto", protocol);
    if (protocol.view().starts_with("gre")) {
        return; // its address is the outer end, in a network of another interface
    }
    read_network_option(section, "netmask", mask_text);
    read_network_option(section, "ipaddr", addresses);
    (void)for_each_word(addresses.view(), [&](std::string_view item) -> u32 {
        const std::size_t slash = item.find('/');
        Network network{0, UINT32_MAX};
        u32 length = 0;
        if (slash == std::string_view::npos) {
            (void)read_netmask(mask_text.view(), network.mask);
        } else if (parse_whole(item.substr(slash + 1), length) && length <= 32) {
            network.mask = length == 0 ? 0 : UINT32_MAX << (32 - length);
        }
        if (is_ipv4(item.substr(0, slash), network.address)) {
            visit(context, network);
        }
        return 0;
    });
}

/// The same with use(network).
template <typename Use>
void for_each_network(std::string_view section, Use use)
{
    visit_networks(section, &use,
                   [](void* context, const Network& network) { (*static_cast<Use*>(context))(network); });
}

/// Calls use(name) for each interface of the configuration.
template <typename Use>
void for_each_interface(Use use)
{
    SectionNames names;
    (void)(names.read("network", "interface") == 0 && names.for_each([&](std::string_view name) -> u32 {
        use(name);
        return 0;
    }) != 0);
}

} // namespace

bool is_host_address(const Network& network)
{
    constexpr u32 kMulticast = 0xE0000000;
    const u32 host = network.address & ~network.mask;
    const u32 first = network.address >> 24;
    const bool is_usual = first != 0 && first != 127 && network.address < kMulticast;
    // The two addresses of a /31 and the one of a /32 are hosts.
    return is_usual && (network.mask >= UINT32_MAX - 1 || (host != 0 && host != ~network.mask));
}

bool is_host_ipv6(const char* text, bool may_be_local)
{
    in6_addr address{};
    return inet_pton(AF_INET6, text, &address) == 1 && !IN6_IS_ADDR_UNSPECIFIED(&address) &&
           !IN6_IS_ADDR_LOOPBACK(&address) && !IN6_IS_ADDR_MULTICAST(&address) &&
           !IN6_IS_ADDR_V4MAPPED(&address) && (may_be_local || !IN6_IS_ADDR_LINKLOCAL(&address));
}

bool read_network(std::string_view interface, Network& network)
{
    bool is_found = false;
    for_each_network(interface, [&](const Network& each) {
        network = is_found ? network : each;
        is_found = true;
    });
    return is_found;
}

bool overlaps_interface(const Network& network, std::string_view except, RowText& name)
{
    bool is_found = false;
    for_each_interface([&](std::string_view each) {
        if (each == except) {
            return;
        }
        for_each_network(each, [&](const Network& other) {
            if (!is_found && overlap(network, other)) {
                is_found = name.assign(each);
            }
        });
    });
    return is_found;
}

bool is_router_address(u32 address)
{
    bool is_found = false;
    for_each_interface([&](std::string_view each) {
        for_each_network(each, [&](const Network& own) { is_found = is_found || own.address == address; });
    });
    return is_found;
}

namespace
{

/// Calls use(device, network) for each address that the kernel has.
template <typename Use>
void for_each_live(Use use)
{
    const StdioReserve reserve;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        return;
    }
    const auto address_of = [](const sockaddr* socket) {
        sockaddr_in own{};
        std::memcpy(&own, socket, sizeof own);
        return ntohl(own.sin_addr.s_addr);
    };
    for (const ifaddrs* each = all; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_INET) {
            use(std::string_view{each->ifa_name},
                Network{address_of(each->ifa_addr),
                        each->ifa_netmask != nullptr ? address_of(each->ifa_netmask) : UINT32_MAX});
        }
    }
    freeifaddrs(all);
}

} // namespace

bool overlaps_live(const Network& network, const char* interface, RowText& name)
{
    RowText device;
    read_network_option(interface, "device", device);
    bool is_found = false;
    for_each_live([&](std::string_view each, const Network& live) {
        is_found = is_found || (each == device.view() && overlap(network, live));
    });
    return is_found && name.assign(interface);
}

bool has_address(u32 address)
{
    bool is_found = false;
    for_each_live(
        [&](std::string_view, const Network& live) { is_found = is_found || live.address == address; });
    return is_found;
}

} // namespace qsc::network
