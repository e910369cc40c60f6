// SPDX-License-Identifier: Apache-2.0
// How the tree refers to the interfaces of the configuration: "Device.IP.Interface.1" is the WAN,
// "Device.X_QRN_NetworkZone.N" a zone.
#pragma once

#include "core/RowValue.h"

namespace qsc::network
{

/// The name in the package "network" of what a path refers to. False: it refers to nothing.
[[nodiscard]] bool find_interface(std::string_view reference, RowText& name);

/// The path of an interface; empty: the tree has none for it.
void refer_to_interface(std::string_view name, RowText& reference);

} // namespace qsc::network
