// SPDX-License-Identifier: Apache-2.0
// The Ethernet ports that the device has: what the kernel knows of them, and the sections of the
// configuration that are about them.
#pragma once

#include "core/ServeRow.h"

namespace qsc::network
{

/// A kernel device's name, or the name of a section.
using DeviceName = Text<62>;

inline constexpr i32 kMostPorts = 64;

/// The name of a port by its number, from 1, in natural order; empty: there is none.
[[nodiscard]] std::string_view port_name(Sources& sources, i32 number);

/// The number of the port of that name; 0: it is none.
[[nodiscard]] i32 port_number(Sources& sources, std::string_view name);

[[nodiscard]] i32 count_ports();

/// What a file below /sys/class/net/DEVICE has as its first line; empty: there is none.
[[nodiscard]] std::string_view device_file(Sources& sources, std::string_view device, const char* file);

/// Reads the kernel device that an interface is configured to use. False: it has none of its own.
[[nodiscard]] bool read_device(std::string_view interface, DeviceName& device);

/// The part of a device's name before its VLAN: "eth1" of "eth1.10".
[[nodiscard]] inline std::string_view base_device(std::string_view device)
{
    return device.substr(0, device.find('.'));
}

/// Finds the section of type "device" that names a kernel device. False: none does.
[[nodiscard]] bool find_device_section(std::string_view device, DeviceName& section);

/// Finds a kernel device that has a MAC address, in either case, other than the one named. False: none has.
[[nodiscard]] bool find_owner(std::string_view mac_address, std::string_view except, DeviceName& owner);

/// Whether a port is an interface's device, or part of it.
[[nodiscard]] bool carries(std::string_view interface, std::string_view port);

} // namespace qsc::network
