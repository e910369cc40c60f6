// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/LiveInterface.h"

#include <bit>
#include <cstring>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>

#include <json-c/json.h>

#include "base/FileDescriptor.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Netlink.h"
#include "handlers/network/Networks.h"

namespace qsc::network
{

namespace
{

constexpr const char* kAskWan[] = {"ubus", "call", "network.interface.wan", "status", nullptr};
constexpr const char* kAskWan6[] = {"ubus", "call", "network.interface.wan6", "status", nullptr};
constexpr Tool kStatus[] = {{.arguments = kAskWan}, {.arguments = kAskWan6}};

bool is_true(json_object* status, const char* member)
{
    json_object* value = nullptr;
    return find_member(status, member, value) && json_object_get_boolean(value) != 0;
}

/// The gateway of the uplink's default route. An interface may also have one of the other protocol.
void read_gateway(json_object* status, Uplink uplink, RowText& text)
{
    const std::string_view any = uplink == Uplink::kWan ? "0.0.0.0" : "::";
    json_object* routes = nullptr;
    (void)find_member(status, "route", routes);
    const std::size_t count =
        json_object_is_type(routes, json_type_array) != 0 ? json_object_array_length(routes) : 0;
    for (std::size_t i = 0; i < count && text.view().empty(); ++i) {
        json_object* const route = json_object_array_get_idx(routes, i);
        RowText target;
        RowText length;
        read_live(route, "target", target);
        read_live(route, "mask", length);
        if (length.view() == "0" && target.view() == any) {
            read_live(route, "nexthop", text);
        }
    }
}

/// How many bits of a mask are set.
i64 mask_length(const sockaddr* mask, bool is_six)
{
    if (mask == nullptr) {
        return 0;
    }
    i64 length = 0;
    const auto* const bytes = reinterpret_cast<const u8*>(mask) +
                              (is_six ? offsetof(sockaddr_in6, sin6_addr) : offsetof(sockaddr_in, sin_addr));
    for (std::size_t i = 0; i < (is_six ? sizeof(in6_addr) : sizeof(in_addr)); ++i) {
        length += std::popcount(bytes[i]);
    }
    return length;
}

/// Reads the first global address of a device, or its length, from the kernel.
void ask_kernel(const char* device, Uplink uplink, Part part, RowText& text)
{
    const bool is_six = uplink == Uplink::kWan6;
    const StdioReserve reserve;
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        return;
    }
    for (const ifaddrs* each = all; each != nullptr && text.view().empty(); each = each->ifa_next) {
        if (each->ifa_addr == nullptr || std::strcmp(each->ifa_name, device) != 0 ||
            each->ifa_addr->sa_family != (is_six ? AF_INET6 : AF_INET)) {
            continue;
        }
        const auto* const six = &reinterpret_cast<const sockaddr_in6*>(each->ifa_addr)->sin6_addr;
        const auto* const four = &reinterpret_cast<const sockaddr_in*>(each->ifa_addr)->sin_addr;
        char address[INET6_ADDRSTRLEN];
        if (is_six && IN6_IS_ADDR_LINKLOCAL(six)) {
            continue;
        }
        if (part == Part::kLength) {
            text.append_number(mask_length(each->ifa_netmask, is_six));
        } else {
            text.append(or_empty(is_six ? inet_ntop(AF_INET6, six, address, sizeof address)
                                        : inet_ntop(AF_INET, four, address, sizeof address)));
        }
    }
    freeifaddrs(all);
}

} // namespace

bool is_uplink_on(Uplink uplink)
{
    RowText protocol;
    RowText disabled;
    read_network_option(name_of(uplink), "proto", protocol);
    read_network_option(name_of(uplink), "disabled", disabled);
    return !protocol.view().empty() && !is_switched_on(disabled.view());
}

json_object* live_status(const RowCall& call, Uplink uplink)
{
    return is_uplink_on(uplink)
               ? call.request.sources.json(kStatus[static_cast<std::size_t>(uplink)], call.source.module)
               : nullptr;
}

void read_live(json_object* status, const char* path, RowText& text)
{
    json_object* const member = find_in_json(status, path);
    const bool is_array = json_object_is_type(member, json_type_array) != 0;
    const std::size_t count = is_array ? json_object_array_length(member) : member != nullptr ? 1 : 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string_view item;
        if (text_of(is_array ? json_object_array_get_idx(member, i) : member, item) == 0) {
            text.append(text.view().empty() ? "" : ",").append(item);
        }
    }
}

void read_live_part(const RowCall& call, Uplink uplink, Part part, RowText& text)
{
    text.clear();
    if (json_object* const status = live_status(call, uplink)) {
        Text<62> path;
        path.append(uplink == Uplink::kWan ? "ipv4-address.0." : "ipv6-address.0.");
        path.append(part == Part::kAddress ? "address" : "mask");
        part == Part::kGateway ? read_gateway(status, uplink, text) : read_live(status, path.c_str(), text);
    } else if (is_uplink_on(uplink)) {
        RowText device;
        read_live_device(call, uplink, device);
        u32 gateway = 0;
        if (part != Part::kGateway) {
            ask_kernel(device.c_str(), uplink, part, text);
        } else if (uplink == Uplink::kWan && find_default_gateway(device.c_str(), gateway)) {
            append_ipv4(text, gateway);
        }
    }
}

void read_live_device(const RowCall& call, Uplink uplink, RowText& device)
{
    device.clear();
    json_object* const status = live_status(call, uplink);
    for (const char* member : {"l3_device", "device"}) {
        if (device.view().empty()) {
            read_live(status, member, device);
        }
    }
    DeviceName configured;
    if (device.view().empty()) {
        const bool is_dialled = uci_holds("network.wan.proto", "pppoe");
        // "wan6" uses the device of "wan".
        (void)read_device("wan", configured);
        (void)device.assign(is_dialled ? "pppoe-wan" : configured.view());
    }
}

const char* live_state(const RowCall& call, Uplink uplink)
{
    if (!is_uplink_on(uplink)) {
        return "Down";
    }
    json_object* const status = live_status(call, uplink);
    if (status == nullptr) {
        RowText address;
        read_live_part(call, uplink, Part::kAddress, address);
        return address.view().empty() ? "Unknown" : "Up";
    }
    if (is_true(status, "up")) {
        return "Up";
    }
    DeviceName device;
    json_object* errors = nullptr;
    const bool has_link =
        !read_device("wan", device) || device_file(call.request.sources, device.view(), "carrier") != "0";
    return !is_true(status, "available")           ? "NotPresent"
           : !has_link                             ? "LowerLayerDown"
           : find_member(status, "errors", errors) ? "Error"
           : is_true(status, "pending")            ? "Dormant"
                                                   : "Down";
}

} // namespace qsc::network
