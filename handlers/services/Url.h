// SPDX-License-Identifier: Apache-2.0
// Addresses of the web, which other programs are given.
#pragma once

#include <string_view>

#include "base/Types.h"

namespace qsc::services
{

/// Judges an address with http or https and a host, of characters that neither a shell between single quotes
/// nor a line of a configuration file takes for its own; empty is none. A user name and a password may only
/// stand there as "[USERNAME]:[PASSWORD]": addresses are shown and recorded.
[[nodiscard]] u32 check_url(std::string_view url);

} // namespace qsc::services
