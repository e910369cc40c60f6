// SPDX-License-Identifier: Apache-2.0
// Network zones: finding the zone of an interface, and moving an interface to another.
#include "include/qsc_network_zone.h"

#include <algorithm>
#include <cerrno>

#include "base/Text.h"
#include "core/UciAccess.h"

using namespace qsc;

namespace
{

/// More zones, and more interfaces in a zone, than any device has: a bound for every walk.
constexpr u32 kMost = 1024;

using ZoneText = Text<254>;

ZoneText zone_key(u32 zone, const char* option)
{
    ZoneText key;
    key.append("qrnnetworkzone.@zone[").append_number(zone).append("].").append(option);
    return key;
}

/// Calls visit(zone, name) for each zone until it returns true.
template <typename Visit>
bool find_zone(Visit visit)
{
    ZoneText name;
    for (u32 zone = 0; zone < kMost && uci_peek(zone_key(zone, "name").c_str(), name) == 0; ++zone) {
        if (visit(zone, name.view())) {
            return true;
        }
    }
    return false;
}

/// EFAULT: past the end of the list.
u32 read_interface(u32 zone, u32 index, ZoneText& interface)
{
    const ZoneText key = zone_key(zone, "iface");
    return index >= kMost ? u32{EFAULT} : interface.fill([&](char* buffer, std::size_t size) {
        return QrnUci_GetListItem(key.c_str(), index, buffer, static_cast<u32>(size));
    });
}

/// The index of an interface in a zone, or the number of its interfaces if it is not in it.
u32 find_interface(u32 zone, std::string_view wanted, bool& is_there)
{
    ZoneText interface;
    u32 index = 0;
    is_there = false;
    while (!is_there && read_interface(zone, index, interface) == 0) {
        is_there = interface.view() == wanted;
        index += is_there ? 0 : 1;
    }
    return index;
}

u32 write_interface(u32 zone, u32 index, const char* interface)
{
    return QrnUci_SetListItem(zone_key(zone, "iface").c_str(), index, interface);
}

/// Removes an interface from a zone; those after it move up.
u32 take_out(u32 zone, u32 index)
{
    ZoneText next;
    for (;; ++index) {
        const u32 code = read_interface(zone, index + 1, next);
        if (code != 0) {
            return code == EFAULT ? write_interface(zone, index, "") : code;
        }
        if (const u32 written = write_interface(zone, index, next.c_str())) {
            return written;
        }
    }
}

} // namespace

uint32_t QscGetNetworkZoneByIface(const char* iface, char* zone, uint32_t size)
{
    if (is_empty(iface) || zone == nullptr || size == 0) {
        return EINVAL;
    }
    *zone = '\0';
    u32 result = EFAULT;
    (void)find_zone([&](u32 number, std::string_view name) {
        bool is_there = false;
        (void)find_interface(number, iface, is_there);
        if (is_there && name.size() < size) {
            *std::copy(name.begin(), name.end(), zone) = '\0';
            result = 0;
        }
        return is_there;
    });
    return result == 0 ? 0 : refuse(result, "the interface %.60s is in no network zone", iface);
}

uint32_t QscSwitchIfaceNetworkZone(const char* iface, const char* zone)
{
    if (is_empty(iface) || zone == nullptr) {
        return EINVAL;
    }
    u32 target = 0;
    const bool exists = find_zone([&](u32 number, std::string_view name) {
        target = number;
        return name == zone;
    });
    if (!exists) {
        return refuse(EFAULT, "there is no network zone '%.60s'", zone);
    }
    // Added first and removed then: whatever fails, the interface is never without a zone.
    bool is_there = false;
    const u32 end = find_interface(target, iface, is_there);
    if (!is_there) {
        if (const u32 code = write_interface(target, end, iface)) {
            return code;
        }
    }
    u32 result = 0;
    (void)find_zone([&](u32 number, std::string_view) {
        bool is_here = false;
        const u32 index = number == target ? 0 : find_interface(number, iface, is_here);
        result = is_here ? take_out(number, index) : 0;
        return result != 0;
    });
    return result;
}
