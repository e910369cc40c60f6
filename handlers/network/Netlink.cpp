// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/Netlink.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "base/FileDescriptor.h"

namespace qsc::network
{

namespace
{

/// Every attribute that a route may have and we compare.
Route read_route(rtmsg& message, u32 length)
{
    Route route{0, message.rtm_dst_len == 0 ? 0 : ~u32{0} << (32 - message.rtm_dst_len), 0, 0};
    auto* attribute = RTM_RTA(&message);
    for (auto rest = static_cast<int>(length); RTA_OK(attribute, rest);
         attribute = RTA_NEXT(attribute, rest)) {
        u32 value = 0;
        if (RTA_PAYLOAD(attribute) < sizeof value) {
            continue;
        }
        std::memcpy(&value, RTA_DATA(attribute), sizeof value);
        switch (attribute->rta_type) {
        case RTA_DST:
            route.destination = ntohl(value);
            break;
        case RTA_GATEWAY:
            route.gateway = ntohl(value);
            break;
        case RTA_PRIORITY:
            route.metric = value;
            break;
        case RTA_OIF:
            route.device = value;
            break;
        default:
            break;
        }
    }
    return route;
}

bool is_same(const Route& wanted, const Route& route)
{
    return wanted.destination == route.destination && wanted.mask == route.mask &&
           (wanted.gateway == 0 || wanted.gateway == route.gateway) &&
           (wanted.metric < 0 || wanted.metric == route.metric) &&
           (wanted.device == 0 || wanted.device == route.device);
}

FileDescriptor ask_for_routes()
{
    const StdioReserve reserve;
    FileDescriptor kernel{socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)};
    const timeval patience{.tv_sec = 1, .tv_usec = 0};
    struct {
        nlmsghdr header;
        rtmsg message;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETROUTE;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.message.rtm_family = AF_INET;
    if (!kernel.is_open() ||
        setsockopt(kernel.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
        send(kernel.get(), &request, sizeof request, 0) != sizeof request) {
        return FileDescriptor{-1};
    }
    return kernel;
}

} // namespace

bool find_route(const Route& wanted, Route& found)
{
    const FileDescriptor kernel = ask_for_routes();
    if (!kernel.is_open()) {
        return false;
    }
    alignas(nlmsghdr) char buffer[16 * 1024];
    bool is_found = false;
    for (;;) {
        const ssize_t received = recv(kernel.get(), buffer, sizeof buffer, 0);
        if (received <= 0) {
            if (received < 0 && errno == EINTR) {
                continue;
            }
            return is_found;
        }
        auto rest = static_cast<u32>(received);
        for (auto* header = reinterpret_cast<nlmsghdr*>(buffer); NLMSG_OK(header, rest);
             header = NLMSG_NEXT(header, rest)) {
            if (header->nlmsg_type == NLMSG_DONE || header->nlmsg_type == NLMSG_ERROR) {
                return is_found;
            }
            if (header->nlmsg_type != RTM_NEWROUTE || header->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) {
                continue;
            }
            auto& message = *static_cast<rtmsg*>(NLMSG_DATA(header));
            if (message.rtm_table == RT_TABLE_MAIN && message.rtm_dst_len <= 32) {
                const Route route = read_route(message, static_cast<u32>(RTM_PAYLOAD(header)));
                found = !is_found && is_same(wanted, route) ? route : found;
                is_found = is_found || is_same(wanted, route);
            }
        }
    }
}

bool find_default_gateway(const char* device, u32& gateway)
{
    const Route wanted{
        .destination = 0, .mask = 0, .gateway = 0, .metric = -1, .device = if_nametoindex(device)};
    Route found{};
    if (wanted.device == 0 || !find_route(wanted, found) || found.gateway == 0) {
        return false;
    }
    gateway = found.gateway;
    return true;
}

} // namespace qsc::network
