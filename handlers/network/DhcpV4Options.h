// SPDX-License-Identifier: Apache-2.0
// What the client's own module needs of its options.
#pragma once

#include "base/Types.h"

namespace qsc
{

/// Updates the targets of all options that have changed.
[[nodiscard]] u32 update_dhcp_options();

} // namespace qsc
