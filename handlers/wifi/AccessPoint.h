// SPDX-License-Identifier: Apache-2.0
// What the objects of an access point share: where its values are, and its driver.
#pragma once

#include "core/ServeRow.h"
#include "handlers/wifi/Wifi.h"

namespace qsc::wifi
{

/// Has the keys of a request begin with the section of the access point's radio and end in its number there.
void locate_vap(RowRequest& request);

[[nodiscard]] inline Vap vap_of(const RowCall& call)
{
    return vap_of(call.request.instance);
}

/// Whether a switch is stored as on; a missing one is off.
[[nodiscard]] bool is_stored_on(const Key& key);

/// Whether the radio, and the access point on it, are switched on.
[[nodiscard]] bool is_switched_on(const Vap& vap);

/// How the kernel has an interface; unknown: it shows none of that name.
enum class InterfaceState : u8 { kUnknown, kDown, kUp };
[[nodiscard]] InterfaceState state_of(Sources& sources, const char* interface);

/// Sets a key of the driver, without a shell.
[[nodiscard]] u32 drive(const char* interface, const char* driver_key, std::string_view value);

/// Runs "ifconfig INTERFACE up" or "down".
[[nodiscard]] u32 switch_interface(const char* interface, bool on);

/// Judges MACAddressControlEnabled and AllowedMACAddress, or Mode and List, which are the same: an empty list
/// of those who may connect would lock everybody out.
[[nodiscard]] u32 check_access_list(const RowCall& call, std::string_view stored);

inline constexpr const char* kAllow = "Allow";

} // namespace qsc::wifi
