// SPDX-License-Identifier: Apache-2.0
// What the servers that let people in have in common.
#pragma once

#include "core/ServeRow.h"

namespace qsc::system
{

/// Whether some program of this device listens on a TCP port.
[[nodiscard]] bool is_listening(Sources& sources, u32 port);

/// Whether an option is switched on; `fallback` where it is missing.
[[nodiscard]] bool is_option_on(const char* key, bool fallback);

/// The number in an option; `fallback` where it is missing.
[[nodiscard]] u32 port_in_option(const char* key, u32 fallback);

[[nodiscard]] bool is_ssh_on();
[[nodiscard]] bool is_telnet_on();

/// Judges the end of a server: it must not be the last way to the router. Hosts that register a callback are
/// another.
[[nodiscard]] u32 check_last_way_in(bool is_other_on);

} // namespace qsc::system
