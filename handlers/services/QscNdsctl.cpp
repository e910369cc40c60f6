// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Ndsctl": what the captive portal is to do with one client. It lasts until the portal
// restarts.
#include "core/Objects.h"
#include "core/RunTool.h"
#include "core/ServeRow.h"
#include "handlers/network/Networks.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscNdsctl");

/// A client that the portal knows may be named by its IPv4 address as well.
u32 check_client(const RowCall&, std::string_view stored)
{
    u32 address = 0;
    if (is_mac_address(stored)) {
        return 0;
    }
    if (!is_ipv4(stored, address)) {
        return refuse(EFAULT, "it is neither a MAC address nor an IPv4 address");
    }
    return network::is_router_address(address) || network::has_address(address)
               ? refuse(EFAULT, "it is an address of the router")
               : 0;
}

/// The tool's word for it is the row's key.
u32 tell(const RowCall& call, std::string_view stored)
{
    constexpr u32 kRefused = 1;
    constexpr u32 kDoesNotRun = 3;
    Text<30> address;
    for (const char& letter : stored) {
        const char small = to_lower(letter); // as the kernel writes them
        address.append({&small, 1});
    }
    const char* const arguments[] = {"ndsctl", call.row.key(), address.c_str(), nullptr};
    const u32 code = run_tool({.arguments = arguments, .is_optional = true}, kModule);
    if (code != 0) {
        QSC_LOG_CALL(call, kLogError, "ndsctl %s, error %u\n", call.row.key(), code);
    }
    switch (code) {
    case 0:
        return 0;
    case kRefused:
        return refuse(EFAULT, "the portal knows no such client, or has done that already");
    case kDoesNotRun:
        return refuse(EFAULT, "the portal does not run");
    case kNotInstalled:
        return refuse(EFAULT, "nodogsplash is not installed");
    default:
        return refuse(EFAULT, "the portal could not be told");
    }
}

/// One that takes either address of a client.
consteval Row client_row(RowName name, const char* word)
{
    Row row{.name = name};
    row.access = Access::kWrite;
    row.place = Place::kFunction;
    row.key = word;
    row.limits = "7:17";
    row.check = check_client;
    row.set = tell;
    return row;
}

/// One that takes a MAC address alone.
consteval Row device_row(RowName name, const char* word)
{
    Row row = client_row(name, word);
    row.kind = Kind::kMacAddress;
    row.marks = kNeeded;
    row.limits = nullptr;
    row.check = nullptr;
    return row;
}

constexpr Row kRows[] = {
    client_row("Auth", "auth"),       client_row("Deauth", "deauth"), device_row("Block", "block"),
    device_row("Unblock", "unblock"), device_row("Trust", "trust"),   device_row("Untrust", "untrust"),
};

} // namespace

QSC_OBJECT(kNdsctl, "Device.X_QRN_Ndsctl", kRows, .area = "portal client")
