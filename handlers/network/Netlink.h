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
    u32 gateway; ///< 0: none
    i64 metric;  ///< -1: none is asked for
};

/// Whether the kernel's main table has a route. False also when it cannot be asked.
[[nodiscard]] bool has_route(const Route& wanted);

} // namespace qsc::network
