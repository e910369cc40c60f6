// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_2ndStaticIp": a second address of the router in the LAN.
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "handlers/network/Networks.h"
#include "include/qsc_handlers.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscSecondStaticIp");

constexpr const char* kProtocol = "network.lan2.proto";

/// Reads what the address and the mask will be. False: one of them will be missing.
bool read_network(const RowCall& call, Network& network)
{
    RowText address;
    RowText mask;
    return read_outcome(call, "IPAddress", address) == 0 && read_outcome(call, "SubnetMask", mask) == 0 &&
           is_ipv4(address.view(), network.address) && read_netmask(mask.view(), network.mask);
}

/// Whether the interface will be used. Without a section it is not, whatever its option would say.
bool will_be_enabled(const RowCall& call)
{
    RowText disabled;
    return (is_named(call, "Enable") || uci_peek(kProtocol, disabled) == 0) &&
           read_outcome(call, "Enable", disabled) == 0 && !is_switched_on(disabled.view());
}

u32 check_network(const RowCall& call, std::string_view)
{
    Network network{};
    if (!read_network(call, network)) {
        return will_be_enabled(call) ? refuse(EFAULT, "it needs an address and a mask") : 0;
    }
    RowText other;
    if (!is_host_address(network)) {
        return refuse(EFAULT, "the address is none of a host in its network");
    }
    return overlaps_interface(network, "lan2", other)
               ? refuse(EFAULT, "the network overlaps that of %s", other.c_str())
               : 0;
}

/// What a new section is, besides what was set. It waits until it is enabled.
u32 complete(const RowCall& call, std::string_view)
{
    ValueText protocol;
    if (uci_peek(kProtocol, protocol) == 0) {
        return 0;
    }
    const bool was_set = call.row.kind == Kind::kBoolean;
    u32 code = uci_write(kProtocol, "static");
    code = code != 0 ? code : uci_write("network.lan2.device", "@lan");
    return code != 0 || was_set ? code : uci_write("network.lan2.disabled", "1");
}

u32 answer_enabled(const RowCall& call)
{
    RowText disabled;
    if (uci_peek(kProtocol, disabled) != 0) {
        return answer_stored(call, "1");
    }
    const u32 code = read_stored(call.request, call.row, disabled);
    return code != 0 ? code : answer_stored(call, disabled.view());
}

u32 answer_status(const RowCall& call)
{
    RowText text;
    u32 address = 0;
    if (uci_peek(kProtocol, text) != 0 ||
        (uci_peek("network.lan2.disabled", text) == 0 && is_switched_on(text.view()))) {
        return answer_stored(call, "Disabled");
    }
    const bool is_up =
        uci_peek("network.lan2.ipaddr", text) == 0 && is_ipv4(text.view(), address) && has_address(address);
    return answer_stored(call, is_up ? "Enabled" : "Error");
}

constexpr Access kReadWrite = Access::kReadWrite;

constexpr Row kRows[] = {
    {.name = "IPAddress",
     .kind = Kind::kIPv4,
     .access = kReadWrite,
     .key = "ipaddr",
     .check = check_network,
     .set = complete},
    {.name = "SubnetMask",
     .kind = Kind::kNetmask,
     .access = kReadWrite,
     .key = "netmask",
     .check = check_network,
     .set = complete},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .marks = kInverted,
     .key = "disabled",
     .fallback = "0",
     .get = answer_enabled,
     .check = check_network,
     .set = complete},
    status_row("Status", answer_status),
};

} // namespace

QSC_EXPORTED_OBJECT(kSecondStaticIp, "Device.X_QRN_2ndStaticIp", g_Qsc2ndStaticIpCmd, kRows,
                    .area = "second static ip", .section = "network.lan2.", .section_type = "interface")
