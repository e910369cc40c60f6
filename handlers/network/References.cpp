// SPDX-License-Identifier: Apache-2.0
#include "handlers/network/References.h"

#include "base/Parse.h"
#include "handlers/network/Zones.h"

namespace qsc::network
{

namespace
{

constexpr std::string_view kWan = "Device.IP.Interface.1";
constexpr std::string_view kZonePath = "Device.X_QRN_NetworkZone.";

} // namespace

bool find_interface(std::string_view reference, RowText& name)
{
    if (reference.ends_with('.')) {
        reference.remove_suffix(1);
    }
    if (reference == kWan) {
        return name.assign("wan");
    }
    i32 number = 0;
    ListedSections zones;
    if (!reference.starts_with(kZonePath) || !parse_whole(reference.substr(kZonePath.size()), number) ||
        zones.read(kZones) != 0) {
        return false;
    }
    const char* const zone = zones.find(number);
    return zone != nullptr && name.assign(zone);
}

void refer_to_interface(std::string_view name, RowText& reference)
{
    reference.clear();
    if (name == "wan") {
        (void)reference.assign(kWan);
        return;
    }
    ListedSections zones;
    if (name.empty() || zones.read(kZones) != 0) {
        return;
    }
    for (i32 number = zones.next(0); number != 0; number = zones.next(number)) {
        if (name == zones.find(number)) {
            reference.append(kZonePath).append_number(number);
            return;
        }
    }
}

u32 answer_reference(const RowCall& call)
{
    RowText name;
    RowText reference;
    if (const u32 code = read_stored(call.request, call.row, name)) {
        return code;
    }
    refer_to_interface(name.view(), reference);
    return answer_stored(call, reference.view());
}

u32 check_reference(std::string_view reference)
{
    RowText name;
    return reference.empty() || find_interface(reference, name)
               ? 0
               : refuse(EFAULT, "there is no such interface");
}

u32 store_reference(const RowCall& call, std::string_view reference)
{
    RowText name;
    (void)(reference.empty() || find_interface(reference, name));
    return write_stored(call, name.view());
}

} // namespace qsc::network
