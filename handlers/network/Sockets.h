// SPDX-License-Identifier: Apache-2.0
// The sockets of this device, as the kernel lists them.
#pragma once

#include "core/RowSource.h"

namespace qsc::network
{

/// States, as the kernel's list has them.
inline constexpr std::string_view kConnected = "01";
inline constexpr std::string_view kListening = "0A";
inline constexpr std::string_view kUnconnected = "07"; ///< of UDP: hears any sender

enum class Transport : u8 { kTcp, kUdp };

enum class SocketEnd : u8 { kOwn = 1, kPeer = 2 };

/// Whether some program has a socket in a state whose one end is at a port.
[[nodiscard]] bool has_socket(Sources& sources, std::string_view state, SocketEnd end, u32 port,
                              Transport transport = Transport::kTcp);

} // namespace qsc::network
