// SPDX-License-Identifier: Apache-2.0
// The part of the DHCPv4 options that the client's module uses.
#pragma once

#include "base/Types.h"

namespace qsc
{

/// Updates the targets of all slots that have changed.
[[nodiscard]] u32 update_dhcp_options();

} // namespace qsc
