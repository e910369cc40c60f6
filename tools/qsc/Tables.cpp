// SPDX-License-Identifier: Apache-2.0
#include "tools/qsc/Tables.h"

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
