// SPDX-License-Identifier: Apache-2.0
// "Device.Ethernet.X_QRN_Custommac.": another MAC address for the interface to the provider. While it is off
// it waits in an option of its own. A section that names the device may hold the address from the factory,
// which is no custom one, and comes back when that is switched off.
#include "core/Objects.h"
#include "handlers/network/EthernetPorts.h"
#include "handlers/network/Wan.h"

using namespace qsc;
using namespace qsc::network;

namespace
{

QSC_MODULE("QscCustomMac");

constexpr const char* kOption = "macaddr";
constexpr const char* kWaiting = "network.wan.qrn_macaddr";

/// Appends the address that comes after another one; the maker's half stays.
void append_next(FileText& text, std::string_view address)
{
    u64 number = 0;
    for (const char& digit : address) {
        number = digit == ':' ? number : number << 4 | static_cast<u64>(hex_value(digit));
    }
    constexpr u64 kOwnHalf = 0xFFFFFF;
    number = (number & ~kOwnHalf) | ((number + 1) & kOwnHalf);
    for (u32 shift = 48; shift > 0; shift -= 4) {
        constexpr std::string_view kDigits = "0123456789ABCDEF";
        const bool begins_byte = shift % 8 == 0 && shift < 48;
        (void)((!begins_byte || text.append(":")) && text.append({&kDigits[number >> (shift - 4) & 0xF], 1}));
    }
}

/// Where the boot loader does not know it, the interface has the address after the device's own.
void make_factory_address(FileText& text)
{
    Sources sources;
    RowText address;
    if (read_places(sources, "env wanaddr", kModule, address) && is_mac_address(address.view())) {
        (void)text.append(address.view());
    } else if (read_places(sources, "env ethaddr", kModule, address) && is_mac_address(address.view())) {
        append_next(text, address.view());
    }
}

std::string_view factory_address(const RowCall& call)
{
    return call.request.sources.made("address from the factory", make_factory_address);
}

/// The custom address as it is stored.
struct Custom {
    Text<126> key; ///< of the address that is in use
    bool is_in_device = false;
    bool is_on = false;
    RowText used;
    RowText address; ///< empty: none

    explicit Custom(const RowCall& call)
    {
        is_in_device = read_device_key(kOption, key);
        is_on = uci_peek(key.c_str(), used) == 0 && !used.view().empty() &&
                !(is_in_device && is_same_address(used.view(), factory_address(call)));
        (void)(is_on ? address.assign(used.view()) : uci_peek(kWaiting, address) == 0);
    }
};

/// Reads what the request makes of it. @return whether it will be used
bool read_next(const RowCall& call, const Custom& custom, RowText& address)
{
    RowText enabled;
    if (!is_named(call, "MACAddress") || read_outcome(call, "MACAddress", address) != 0) {
        (void)address.assign(custom.address.view());
    }
    return is_named(call, "Enable") ? read_outcome(call, "Enable", enabled) == 0 && enabled.view() == "1"
                                    : custom.is_on;
}

u32 check_address(const RowCall& call, std::string_view stored)
{
    RowText address;
    if (read_next(call, Custom{call}, address) && address.view().empty()) {
        return refuse(EFAULT, "it needs an address");
    }
    if (call.row.kind != Kind::kMacAddress || stored.empty()) {
        return 0;
    }
    DeviceName device;
    DeviceName owner;
    (void)read_device("wan", device);
    // What the interface has now, devices that are part of it may have as well.
    return !is_same_address(device_file(call.request.sources, device.view(), "address"), stored) &&
                   find_owner(stored, device.view(), owner)
               ? refuse(EFAULT, "it is the address of %s", owner.c_str())
               : 0;
}

u32 put(const char* key, std::string_view value)
{
    RowText before;
    ValueText text;
    (void)uci_peek(key, before);
    return is_same_address(before.view(), value) || !text.assign(value) ? 0 : uci_write(key, text.c_str());
}

/// Stores all that the request says, whichever of its parameters comes first.
u32 store_address(const RowCall& call, std::string_view)
{
    const Custom custom{call};
    RowText address;
    if (read_next(call, custom, address)) {
        const u32 code = put(custom.key.c_str(), address.view());
        return code != 0 ? code : put(kWaiting, "");
    }
    const std::string_view factory = custom.is_in_device ? factory_address(call) : std::string_view{};
    const u32 code = custom.is_on ? put(custom.key.c_str(), factory) : 0;
    return code != 0 ? code : put(kWaiting, address.view());
}

u32 answer_address(const RowCall& call)
{
    return answer_stored(call, Custom{call}.address.view());
}

u32 answer_enabled(const RowCall& call)
{
    return answer_stored(call, Custom{call}.is_on ? "1" : "0");
}

u32 answer_factory(const RowCall& call)
{
    return answer_stored(call, factory_address(call));
}

constexpr Access kReadWrite = Access::kReadWrite;
constexpr Place kFunction = Place::kFunction;

constexpr Row kRows[] = {
    {.name = "MACAddress",
     .kind = Kind::kMacAddress,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_address,
     .check = check_address,
     .set = store_address},
    {.name = "Enable",
     .kind = Kind::kBoolean,
     .access = kReadWrite,
     .place = kFunction,
     .get = answer_enabled,
     .check = check_address,
     .set = store_address},
    {.name = "FactoryMACAddress", .kind = Kind::kMacAddress, .place = kFunction, .get = answer_factory},
};

} // namespace

QSC_OBJECT(kCustomMac, "Device.Ethernet.X_QRN_Custommac.", kRows, .area = "custom mac", .package = "network")
