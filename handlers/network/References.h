// SPDX-License-Identifier: Apache-2.0
// How the tree refers to the interfaces of the configuration: "Device.IP.Interface.1" is the WAN,
// "Device.X_QRN_NetworkZone.N" a zone.
#pragma once

#include "core/ServeRow.h"

namespace qsc::network
{

/// The name in the package "network" of what a path refers to. False: it refers to nothing.
[[nodiscard]] bool find_interface(std::string_view reference, RowText& name);

/// The path of an interface; empty: the tree has none for it.
void refer_to_interface(std::string_view name, RowText& reference);

/// For rows whose interface is stored by its name: answers with the path of what is stored, ...
[[nodiscard]] u32 answer_reference(const RowCall& call);

/// ... refuses a path that refers to nothing, ...
[[nodiscard]] u32 check_reference(std::string_view reference);

/// ... and stores the name of what a path refers to.
[[nodiscard]] u32 store_reference(const RowCall& call, std::string_view reference);

} // namespace qsc::network
