// SPDX-License-Identifier: Apache-2.0
// What the kernel says of the network.
#pragma once

#include "base/Types.h"

namespace qsc::network
{

/// An IPv4 route; addresses in host byte order.
struct Route {
    u32 destination;
    u32 mask;
    u32 gateway;    ///< 0: none
    i64 metric;     ///< -1: none is asked for
    u32 device = 0; ///< the kernel's index; 0: none is asked for
};

/// Finds a route of the kernel's main table. False: it has none such, or cannot be asked.
[[nodiscard]] bool find_route(const Route& wanted, Route& found);

/// Finds the gateway of a device's default route, in host byte order. False: it has none.
[[nodiscard]] bool find_default_gateway(const char* device, u32& gateway);

} // namespace qsc::network
