// SPDX-License-Identifier: Apache-2.0
// The messages of ubus as JSON.
#pragma once

#include "base/Json.h"

struct blob_attr;

namespace qscd
{

/// The parameters of a message as a JSON object; null: it is malformed, or there is no memory.
[[nodiscard]] qsc::JsonRef parameters_of(blob_attr* message);

} // namespace qscd
