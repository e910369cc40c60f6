// SPDX-License-Identifier: Apache-2.0
// "Device.IP.Interface.1": the interface to the provider. What its address is made of can be given while it
// comes from elsewhere, and waits then.
#include "core/Objects.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Networks.h"
#include "handlers/network/SectionNames.h"
#include "handlers/network/Wan.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscWan");

constexpr const char* kDevice = "network.wan.device";
constexpr const char* kType = "X_QRN_AddressingType";

/// How the interface will get its address.
void read_next_type(const RowCall& call, RowText& type)
{
    if (read_outcome(call, kType, type) != 0) {
        type.clear();
    }
}

u32 check_static(const RowCall& call, std::string_view)
{
    RowText type;
    RowText address;
    RowText mask;
    RowText gateway_text;
    read_next_type(call, type);
    if (type.view() != "static") {
        return 0;
    }
    read_next_part(call, "X_QRN_IPAddress", Part::kAddress, address);
    read_next_part(call, "X_QRN_SubnetMask", Part::kLength, mask);
    read_next_part(call, "X_QRN_DefaultGateway", Part::kGateway, gateway_text);
    Network network{};
    Network gateway{};
    if (!is_ipv4(address.view(), network.address) || !read_netmask(mask.view(), network.mask) ||
        !is_ipv4(gateway_text.view(), gateway.address)) {
        return refuse(EFAULT, "Static needs an address, a mask and a gateway");
    }
    gateway.mask = network.mask;
    if (!is_host_address(network)) {
        return refuse(EFAULT, "the address is none of a host in its network");
    }
    // A network of one address has its gateway elsewhere.
    if (network.mask != UINT32_MAX && (!is_within(gateway.address, network) || !is_host_address(gateway))) {
        return refuse(EFAULT, "the gateway is none of a host in the network");
    }
    if (gateway.address == network.address) {
        return refuse(EFAULT, "the gateway is the router itself");
    }
    RowText other;
    return overlaps_interface(network, "wan", other)
               ? refuse(EFAULT, "the network overlaps that of %s", other.c_str())
               : 0;
}

u32 check_mtu(const RowCall& call, std::string_view)
{
    RowText type;
    RowText text;
    i64 mtu = 0;
    read_next_type(call, type);
    if (is_named(call, "MaxMTUSize")) {
        if (const u32 code = read_outcome(call, "MaxMTUSize", text)) {
            return code;
        }
        (void)parse_whole(text.view(), mtu);
    } else {
        mtu = read_mtu(type.view());
    }
    if (type.view() == kDialled && mtu > kMostDialled) {
        return refuse(EFAULT, "the MTU is %d at most with PPPoE", kMostDialled);
    }
    return mtu < kLeastSix && is_uplink_on(Uplink::kWan6)
               ? refuse(EFAULT, "the MTU is %d at least with IPv6", kLeastSix)
               : 0;
}

u32 check_type(const RowCall& call, std::string_view stored)
{
    ValueText user;
    if (stored == kDialled && (uci_peek("network.wan.username", user) != 0 || user.view().empty())) {
        return refuse(EFAULT, "PPPoE needs a user name, which Device.DHCPv4.Client.1 has");
    }
    const u32 code = check_mtu(call, stored);
    return code != 0 ? code : check_static(call, stored);
}

u32 answer_mtu(const RowCall& call)
{
    RowText type;
    (void)uci_peek("network.wan.proto", type);
    return answer_number(call, read_mtu(type.view()));
}

u32 store_mtu(const RowCall& call, std::string_view stored)
{
    RowText type;
    Text<126> key;
    ValueText value;
    i64 mtu = 0;
    read_next_type(call, type);
    read_mtu_key(type.view(), key);
    const bool is_other = value.assign(stored) && parse_whole(stored, mtu) && mtu != read_mtu(type.view());
    return is_other ? uci_write(key.c_str(), value.c_str()) : 0;
}

/// The number after the device's name; 0: it has none.
i32 vlan_of(std::string_view device)
{
    i32 vlan = 0;
    const std::string_view base = base_device(device);
    device.remove_prefix(std::min(base.size() + 1, device.size()));
    return parse_whole(device, vlan) ? vlan : 0;
}

u32 answer_vlan(const RowCall& call)
{
    DeviceName device;
    return answer_number(call, read_device("wan", device) ? vlan_of(device.view()) : 0);
}

/// The device with another VLAN. False: the interface has none of its own.
bool read_vlan_device(std::string_view vlan, DeviceName& device)
{
    DeviceName before;
    if (!read_device("wan", before) || before.view().empty()) {
        return false;
    }
    device.append(base_device(before.view()));
    device.append(vlan == "0" ? "" : ".").append(vlan == "0" ? "" : vlan);
    return true;
}

u32 check_vlan(const RowCall&, std::string_view stored)
{
    constexpr std::size_t kLongestName = 15;
    DeviceName device;
    DeviceName other;
    if (!read_vlan_device(stored, device)) {
        return refuse(EFAULT, "the interface has no device of its own");
    }
    if (device.view().size() > kLongestName) {
        return refuse(EFAULT, "'%s' is too long for a device's name", device.c_str());
    }
    const bool is_used = find_section("network", "interface", "device", device.c_str(), other);
    return is_used && other.view() != "wan" && other.view() != "wan6"
               ? refuse(EFAULT, "%s is the device of %s", device.c_str(), other.c_str())
               : 0;
}

/// Where IPv6 names the same device, it follows.
u32 store_vlan(const RowCall&, std::string_view stored)
{
    constexpr const char* kSixDevice = "network.wan6.device";
    DeviceName before;
    DeviceName device;
    (void)read_device("wan", before);
    if (!read_vlan_device(stored, device) || device.view() == before.view()) {
        return 0;
    }
    const u32 code = uci_holds(kSixDevice, before.view()) ? uci_write(kSixDevice, device.c_str()) : 0;
    return code != 0 ? code : uci_write(kDevice, device.c_str());
}

u32 answer_name(const RowCall& call)
{
    RowText device;
    read_live_device(call, Uplink::kWan, device);
    return answer_stored(call, device.view());
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "X_QRN_VLANID",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .limits = "0:4094",
     .get = answer_vlan,
     .check = check_vlan,
     .set = store_vlan},
    {.name = "MaxMTUSize",
     .kind = Kind::kUnsigned,
     .access = kReadWrite,
     .place = kFunction,
     .unit = Unit::kBytes,
     .limits = "64:65535",
     .get = answer_mtu,
     .check = check_mtu,
     .set = store_mtu},
    part_row("X_QRN_IPAddress", Kind::kIPv4, kAddressKey, check_static, store_part),
    part_row("X_QRN_SubnetMask", Kind::kNetmask, kLengthKey, check_static, store_part),
    part_row("X_QRN_DefaultGateway", Kind::kIPv4, kGatewayKey, check_static, store_part),
    {.name = kType,
     .kind = Kind::kStoredWord,
     .access = kReadWrite,
     .place = kFunction,
     .limits = QSC_STORED_WORDS("DHCP|Static|PPPoE", "dhcp|static|pppoe"),
     .key = "proto",
     .get = answer_option,
     .check = check_type,
     .set = store_uplink_type},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .marks = kInverted,
     .key = "disabled",
     .fallback = "0"},
    {.name = "Status", .kind = Kind::kWord, .place = kFunction, .limits = kUplinkStates, .get = answer_state},
    {.name = "Name", .place = kFunction, .get = answer_name},
    {.name = "LastChange",
     .kind = Kind::kUnsigned,
     .place = kFunction,
     .unit = Unit::kSeconds,
     .key = "uptime",
     .get = answer_live},
    {.name = "Type",
     .kind = Kind::kWord,
     .place = Place::kConstant,
     .limits = "Normal|Loopback|Tunnel|Tunneled",
     .key = "Normal"},
    {.name = "X_QRN_DNSServers",
     .kind = Kind::kIPAddress,
     .place = kFunction,
     .marks = kMany,
     .key = "dns-server",
     .get = answer_live},
};

} // namespace

QSC_EXPORTED_OBJECT(kWan, "Device.IP.Interface.1", g_QscIpv4InterfaceCmd, kRows, .area = "wan",
                    .section = "network.wan.", .package = "network")
