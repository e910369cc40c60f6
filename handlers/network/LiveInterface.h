// SPDX-License-Identifier: Apache-2.0
// What is live of the two interfaces that lead to the provider: "wan" for IPv4, "wan6" for IPv6. The network
// daemon is asked once a request; where it does not answer, the kernel knows the addresses.
#pragma once

#include "core/ServeRow.h"

namespace qsc::network
{

enum class Uplink : u8 { kWan, kWan6 };

/// The uplink's name in the configuration.
[[nodiscard]] constexpr const char* name_of(Uplink uplink)
{
    return uplink == Uplink::kWan ? "wan" : "wan6";
}

/// Whether the configuration has the interface, and it is not switched off.
[[nodiscard]] bool is_uplink_on(Uplink uplink);

/// What the network daemon says of the interface; null: it is switched off, or nothing is known of it.
[[nodiscard]] json_object* live_status(const RowCall& call, Uplink uplink);

/// Reads the member at a path, the texts of an array with commas between them.
void read_live(json_object* status, const char* path, RowText& text);

/// Parts of an address by which it is live, or configured by hand.
enum class Part : u8 { kAddress, kLength, kGateway };

/// Reads a part of the interface's address, the length as a number of bits; empty: it has none.
void read_live_part(const RowCall& call, Uplink uplink, Part part, RowText& text);

/// The kernel's device that carries the interface's packets; empty: none is known.
void read_live_device(const RowCall& call, Uplink uplink, RowText& device);

/// The interface's state, one of these words.
inline constexpr const char* kUplinkStates = "Up|Down|Unknown|Dormant|NotPresent|LowerLayerDown|Error";
[[nodiscard]] const char* live_state(const RowCall& call, Uplink uplink);

} // namespace qsc::network
