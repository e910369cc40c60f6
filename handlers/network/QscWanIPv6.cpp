// SPDX-License-Identifier: Apache-2.0
// "Device.IP.Interface.1" with "IPv6" in the path: the IPv6 half of the interface to the provider.
#include "core/Objects.h"
#include "handlers/network/Networks.h"
#include "handlers/network/SectionNames.h"
#include "handlers/network/Wan.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscWanIPv6");

constexpr Uplink kUplink = Uplink::kWan6;
constexpr const char* kSection = "network.wan6";

bool has_section()
{
    ValueText type;
    return uci_peek(kSection, type) == 0;
}

/// A missing interface is made as a device has it from the factory, and waits until it is enabled. It takes
/// no servers from the provider where the other half takes none.
u32 make_section()
{
    constexpr const char* kOptions[][2] = {
        {"network.wan6.device", "@wan"}, {"network.wan6.proto", "dhcpv6"}, {"network.wan6.disabled", "1"}};
    if (has_section()) {
        return 0;
    }
    u32 code = add_section("network", "interface", "wan6");
    for (const auto& [key, value] : kOptions) {
        code = code != 0 ? code : uci_write(key, value);
    }
    return code != 0 || !uci_holds("network.wan.peerdns", "0") ? code
                                                               : uci_write("network.wan6.peerdns", "0");
}

u32 store_option(const RowCall& call, std::string_view stored)
{
    if (!has_section() && stored == call.row.fallback()) {
        return 0;
    }
    const u32 code = make_section();
    return code != 0 ? code : write_stored(call, stored);
}

u32 answer_enabled(const RowCall& call)
{
    return answer_stored(call, is_uplink_on(kUplink) ? "0" : "1");
}

u32 store_enabled(const RowCall& call, std::string_view stored)
{
    if (is_switched_on(stored) && !has_section()) {
        return 0;
    }
    const u32 code = make_section();
    return code != 0 ? code : write_stored(call, stored);
}

u32 store_type(const RowCall& call, std::string_view stored)
{
    if (!has_section() && stored == call.row.fallback()) {
        return 0;
    }
    const u32 code = make_section();
    return code != 0 ? code : store_uplink_type(call, stored);
}

u32 store_part_six(const RowCall& call, std::string_view stored)
{
    const u32 code = make_section();
    // Only a length is a number.
    return code != 0 ? code : store_part(call, stored == "0" ? "" : stored);
}

u32 check_static(const RowCall& call, std::string_view)
{
    RowText type;
    RowText address;
    RowText length;
    RowText gateway;
    if (read_outcome(call, "X_QRN_AddressingType", type) != 0 || type.view() != "static") {
        return 0;
    }
    read_next_part(call, "X_QRN_IPAddress", Part::kAddress, address);
    read_next_part(call, "X_QRN_PrefixLength", Part::kLength, length);
    read_next_part(call, "X_QRN_DefaultGateway", Part::kGateway, gateway);
    if (address.view().empty() || length.view().empty() || length.view() == "0") {
        return refuse(EFAULT, "Static needs an address and a prefix length");
    }
    if (!is_host_ipv6(address.c_str(), false)) {
        return refuse(EFAULT, "the address is none of a host");
    }
    return !gateway.view().empty() &&
                   (!is_host_ipv6(gateway.c_str(), true) || gateway.view() == address.view())
               ? refuse(EFAULT, "the gateway is none of another host")
               : 0;
}

/// "auto", "no", or how long a prefix is asked for.
u32 check_prefix_request(const RowCall&, std::string_view stored)
{
    constexpr u32 kShortest = 48;
    constexpr u32 kLongest = 64;
    u32 length = 0;
    const bool is_length =
        !stored.starts_with('0') && parse_whole(stored, length) && length >= kShortest && length <= kLongest;
    return is_length || stored == "auto" || stored == "no"
               ? 0
               : refuse(EFAULT, "it is neither auto nor no nor %u to %u", kShortest, kLongest);
}

u32 check_enable(const RowCall&, std::string_view stored)
{
    RowText type;
    (void)uci_peek("network.wan.proto", type);
    return !is_switched_on(stored) && read_mtu(type.view()) < kLeastSix
               ? refuse(EFAULT, "the MTU is %d at least with IPv6", kLeastSix)
               : 0;
}

u32 answer_delegated(const RowCall& call)
{
    RowText prefix;
    RowText length;
    json_object* const status = live_status(call, kUplink);
    read_live(status, "ipv6-prefix.0.address", prefix);
    read_live(status, "ipv6-prefix.0.mask", length);
    prefix.append(prefix.view().empty() ? "" : "/").append(length.view());
    return answer_stored(call, prefix.view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "X_QRN_PrefixRequest",
     .access = kReadWrite,
     .place = kFunction,
     .key = "reqprefix",
     .fallback = "auto",
     .get = answer_option,
     .check = check_prefix_request,
     .set = store_option},
    part_row("X_QRN_IPAddress", Kind::kIPv6, kAddressKey, check_static, store_part_six),
    {.name = "X_QRN_PrefixLength",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .limits = "0:128",
     .key = kLengthKey,
     .get = answer_part,
     .check = check_static,
     .set = store_part_six},
    part_row("X_QRN_DefaultGateway", Kind::kIPv6, kGatewayKey, check_static, store_part_six),
    {.name = "X_QRN_AddressingType",
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .place = kFunction,
     .limits = QSC_STORED_WORDS("DHCPv6|Static", "dhcpv6|static"),
     .key = "proto",
     .fallback = "dhcpv6",
     .get = answer_option,
     .check = check_static,
     .set = store_type},
    {.name = "IPv6Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .marks = kInverted,
     .key = "disabled",
     .fallback = "0",
     .get = answer_enabled,
     .check = check_enable,
     .set = store_enabled},
    {.name = "Status", .kind = Kind::kWord, .place = kFunction, .limits = kUplinkStates, .get = answer_state},
    {.name = "X_QRN_DelegatedPrefix", .kind = Kind::kIPPrefix, .place = kFunction, .get = answer_delegated},
    {.name = "X_QRN_DNSServers",
     .kind = Kind::kIPAddress,
     .place = kFunction,
     .marks = kMany,
     .key = "dns-server",
     .get = answer_live},
};

} // namespace

QSC_OBJECT(kWanIPv6, "Device.IP.Interface.1.IPv6", kRows, .area = "wan ipv6", .section = "network.wan6.",
           .package = "network")
