// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Tables.h"

#include <algorithm>

namespace qsc
{

namespace
{

/// Subtrees that store values which nothing commits yet.
constexpr struct {
    std::string_view entry;
    std::string_view packages;
} kUncommitted[] = {
    {"Device.WiFi.Radio", "mtkwireless"},
    {"Device.WiFi.SSID", "mtkwireless qrnnetworkzone"},
};

} // namespace

bool Instances::find(const Object& object)
{
    u32 room = 0;
    if (QSysCmdHal_FindInstances(&object, nullptr, 0, &room) != 0) {
        return false;
    }
    numbers_.reset(static_cast<u32*>(std::calloc(room + 1, sizeof(u32))));
    if (numbers_ == nullptr || QSysCmdHal_FindInstances(&object, numbers_.get(), room, &count_) != 0) {
        return false;
    }
    // Others may have added some meanwhile.
    count_ = std::min(count_, room);
    return true;
}

std::string_view packages_of(const Object& object)
{
    for (const auto& [entry, packages] : kUncommitted) {
        if (entry == object.entry->path) {
            return packages;
        }
    }
    return object.packages;
}

} // namespace qsc
