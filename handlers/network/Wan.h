// SPDX-License-Identifier: Apache-2.0
// What the two halves of the interface to the provider have in common: the address, its length or mask, and
// the gateway that one is given by hand, which wait in options of their own ("qrn_ipaddr") while they come
// from elsewhere; and the size of packets.
#pragma once

#include "handlers/network/LiveInterface.h"

namespace qsc::network
{

/// Whether the uplink's address is given by hand.
[[nodiscard]] bool is_static(Uplink uplink);

/// Reads a part as it is stored, in use or waiting. The length is that of a prefix for IPv6, for IPv4 a mask
/// or a length.
void read_stored_part(Uplink uplink, Part part, RowText& text);

/// Stores a part where it belongs now.
[[nodiscard]] u32 write_part(Uplink uplink, Part part, const char* value);

/// Has the parts wait, or uses what waits.
[[nodiscard]] u32 move_parts(Uplink uplink, bool is_to_wait);

/// What rows of parts have as their keys.
inline constexpr const char* kAddressKey = "address";
inline constexpr const char* kLengthKey = "length";
inline constexpr const char* kGatewayKey = "gateway";

/// The uplink whose section a request is about.
[[nodiscard]] Uplink uplink_of(const RowRequest& request);

/// Serve a row of a part: what is configured where the address is given by hand, else what is live.
[[nodiscard]] u32 answer_part(const RowCall& call);
[[nodiscard]] u32 store_part(const RowCall& call, std::string_view stored);

/// Serves a row of what is configured, as it is stored.
[[nodiscard]] u32 answer_option(const RowCall& call);

/// Stores how the uplink gets its address, in a row with the key "proto". What is given by hand stays for the
/// way back.
[[nodiscard]] u32 store_uplink_type(const RowCall& call, std::string_view stored);

/// Serve "Status", and a row of what the network daemon says at the row's key.
[[nodiscard]] u32 answer_state(const RowCall& call);
[[nodiscard]] u32 answer_live(const RowCall& call);

/// A row of a part.
consteval Row part_row(RowName name, Kind kind, const char* key, RowTake check, RowTake set)
{
    Row row{.name = name};
    row.kind = kind;
    row.access = Access::kReadWrite;
    row.place = Place::kFunction;
    row.key = key;
    row.get = answer_part;
    row.check = check;
    row.set = set;
    return row;
}

/// Reads what a part will be after the request, which names it `name`; it is judged elsewhere.
void read_next_part(const RowCall& call, const char* name, Part part, RowText& text);

/// PPPoE, and the most that it carries in a packet.
inline constexpr const char* kDialled = "pppoe";
inline constexpr i32 kMostDialled = 1492;
/// The least that IPv6 needs.
inline constexpr i32 kLeastSix = 1280;

/// Reads the key of an option of the WAN's device. The section that names the device, if there is one,
/// comes before the interface's own. @return whether there is one
bool read_device_key(const char* option, Text<126>& key);

/// The key of the WAN's MTU, which depends on how the interface gets its address: PPPoE has its own.
void read_mtu_key(std::string_view type, Text<126>& key);

/// The MTU, or its default.
[[nodiscard]] i64 read_mtu(std::string_view type);

} // namespace qsc::network
