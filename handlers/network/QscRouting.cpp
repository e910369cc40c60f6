// SPDX-License-Identifier: Apache-2.0
// "Device.Routing.Router.1" and its list "IPv4Forwarding": the static routes of the configuration.
#include "base/UciOptional.h"
#include "core/GrowingList.h"
#include "core/Objects.h"
#include "handlers/network/Netlink.h"
#include "handlers/network/Networks.h"
#include "handlers/network/References.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscRouting");

constexpr GrowingList kRoutes{.package = "network", .type = "route"};

constexpr const char* kAny = "0.0.0.0";

u32 answer_enabled(const RowCall& call)
{
    return answer_stored(call, "1");
}

u32 check_enable(const RowCall&, std::string_view stored)
{
    return stored == "1" ? 0 : refuse(EFAULT, "the router cannot be switched off");
}

u32 keep(const RowCall&, std::string_view)
{
    return 0;
}

/// An address that is empty or not set counts as 0.
u32 read_address(const RowCall& call, const char* name, u32& address)
{
    RowText text;
    address = 0;
    const u32 code = read_outcome(call, name, text);
    (void)is_ipv4(text.view(), address);
    return code;
}

/// The mask that a route will have. A destination of 0.0.0.0 that comes without a mask is the default route.
u32 read_mask(const RowCall& call, u32 destination, u32& mask)
{
    RowText text;
    if (const u32 code = read_outcome(call, "DestSubnetMask", text)) {
        return code;
    }
    const bool is_default =
        destination == 0 && is_named(call, "DestIPAddress") && !is_named(call, "DestSubnetMask");
    mask = 0;
    (void)(is_default || read_netmask(text.view(), mask));
    return 0;
}

/// What the kernel would be asked for.
u32 read_route(RowRequest& request, Route& route)
{
    const auto read = [&](const char* name, u32& address) {
        RowText text;
        address = 0;
        const u32 code = read_stored(request, *find_row(request.object, name), text);
        (void)(name[4] == 'S' ? read_netmask(text.view(), address) : is_ipv4(text.view(), address));
        return code;
    };
    RowText metric;
    if (const u32 code = read_stored(request, *find_row(request.object, "ForwardingMetric"), metric)) {
        return code;
    }
    route.metric = -1;
    (void)parse_whole(metric.view(), route.metric);
    const u32 code = read("DestIPAddress", route.destination) | read("DestSubnetMask", route.mask);
    return code | read("GatewayIPAddress", route.gateway);
}

/// Whether another route of the list leads to the same place as well.
bool is_taken(const RowCall& call, const Route& wanted)
{
    ListedSections sections;
    if (sections.read(kRoutes) != 0) {
        return false;
    }
    for (i32 number = sections.next(0); number != 0; number = sections.next(number)) {
        if (number == call.request.instance) {
            continue;
        }
        RowRequest other{
            .object = call.request.object, .path = "", .root = nullptr, .oper = QSC_OPER_GET, .argument = 0};
        other.section.append("network.").append(sections.find(number)).append(".");
        Route route{};
        if (read_route(other, route) == 0 && route.destination == wanted.destination &&
            route.mask == wanted.mask && route.gateway == wanted.gateway && route.metric == wanted.metric) {
            return true;
        }
    }
    return false;
}

u32 check_route(const RowCall& call, std::string_view)
{
    Route route{};
    RowText interface;
    RowText metric;
    u32 code = read_address(call, "DestIPAddress", route.destination);
    code = code != 0 ? code : read_mask(call, route.destination, route.mask);
    code = code != 0 ? code : read_address(call, "GatewayIPAddress", route.gateway);
    code = code != 0 ? code : read_outcome(call, "Interface", interface);
    code = code != 0 ? code : read_outcome(call, "ForwardingMetric", metric);
    if (code != 0) {
        return code;
    }
    route.metric = -1;
    (void)parse_whole(metric.view(), route.metric);
    if ((route.destination & ~route.mask) != 0) {
        return refuse(EFAULT, "the destination has bits outside its mask");
    }
    if (route.destination == 0 && route.mask != 0) {
        return refuse(EFAULT, "the default route has the mask 0.0.0.0");
    }
    if (route.gateway == 0 && interface.view().empty()) {
        return refuse(EFAULT, "a route needs a gateway or an interface");
    }
    if (route.gateway != 0 && is_router_address(route.gateway)) {
        return refuse(EFAULT, "the gateway is the router itself");
    }
    return is_taken(call, route) ? refuse(EFAULT, "there is such a route already") : 0;
}

u32 check_interface(const RowCall& call, std::string_view stored)
{
    const u32 code = check_reference(stored);
    return code != 0 ? code : check_route(call, stored);
}

/// A default route is stored as one; without a destination or a mask it would be one to a single host.
u32 complete_default(const RowCall& call, std::string_view stored)
{
    u32 address = 0;
    const bool is_any = stored.empty() || (is_ipv4(stored, address) && address == 0);
    if (!is_any) {
        return 0;
    }
    const bool is_alone = call.row.kind == Kind::kIPv4 && !is_named(call, "DestSubnetMask");
    Text<254> mask;
    mask.append(call.request.section.view()).append("netmask");
    Text<254> own;
    append_key(call.request, call.row, own);
    const u32 code = uci_write(own.c_str(), kAny);
    return code != 0 || !is_alone ? code : uci_write(mask.c_str(), kAny);
}

u32 answer_status(const RowCall& call)
{
    RowText disabled;
    Route route{};
    u32 code = read_stored(call.request, *find_row(call.request.object, "Enable"), disabled);
    if (code == 0 && is_switched_on(disabled.view())) {
        return answer_stored(call, "Disabled");
    }
    code = code != 0 ? code : read_route(call.request, route);
    Route found{};
    return code != 0 ? code : answer_stored(call, find_route(route, found) ? "Enabled" : "Error");
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRouterRows[] = {
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = Place::kFunction,
     .get = answer_enabled,
     .check = check_enable,
     .set = keep},
    {.name = "Status", .place = Place::kConstant, .limits = "Disabled|Enabled|Error", .key = "Enabled"},
    {.name = "IPv4ForwardingNumberOfEntries", .kind = Kind::kUnsigned, .place = Place::kCount},
    {.name = "X_QRN_Instances", .place = Place::kNumbers, .marks = kMany},
};

constexpr Row kRouteRows[] = {
    kAddRow,
    kDeleteRow,
    {.name = "DestIPAddress",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .marks = kNeeded,
     .key = "target",
     .fallback = kAny,
     .check = check_route,
     .set = complete_default},
    {.name = "DestSubnetMask",
     .kind = Kind::kNetmask,
     .access = kReadWrite,
     .key = "netmask",
     .fallback = "255.255.255.255",
     .check = check_route,
     .set = complete_default},
    {.name = "GatewayIPAddress",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .key = "gateway",
     .check = check_route},
    {.name = "Interface",
     .kind = Kind::kReference,
     .access = kReadWrite,
     .place = Place::kFunction,
     .limits = ":256",
     .key = "interface",
     .get = answer_reference,
     .check = check_interface,
     .set = store_reference},
    {.name = "ForwardingMetric",
     .kind = Kind::kInteger,
     .access = kReadWrite,
     .marks = kOmitted,
     .limits = "-1:2147483647",
     .key = "metric",
     .fallback = "-1",
     .check = check_route},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .marks = kInverted,
     .key = "disabled",
     .fallback = "0"},
    {.name = "Status",
     .kind = Kind::kWord,
     .place = Place::kFunction,
     .limits = "Disabled|Enabled|Error_Misconfigured|Error",
     .get = answer_status},
    {.name = "StaticRoute", .kind = Kind::kBoolean, .place = Place::kConstant, .key = "1"},
    {.name = "Origin",
     .kind = Kind::kWord,
     .place = Place::kConstant,
     .limits = "DHCPv4|OSPF|IPCP|RIP|Static",
     .key = "Static"},
};

} // namespace

QSC_EXPORTED_OBJECT(kRouter, "Device.Routing.Router.1", g_QscDeviceRoutingRouter1Cmd, kRouterRows,
                    .area = "router", .counted = &kRoutes)
QSC_OBJECT(kIPv4Forwarding, "Device.Routing.Router.1.IPv4Forwarding.{i}", kRouteRows, .area = "route",
           .list = &kRoutes)
