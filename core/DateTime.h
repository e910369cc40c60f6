// SPDX-License-Identifier: Apache-2.0
// Moments as values of the kind dateTime.
#pragma once

#include "base/Text.h"

namespace qsc
{

using DateTimeText = Text<30>;

/// "2026-11-21T05:48:39Z" of seconds since 1970; 0 is never, "0001-01-01T00:00:00Z".
[[nodiscard]] DateTimeText date_time_of(i64 moment);

} // namespace qsc
