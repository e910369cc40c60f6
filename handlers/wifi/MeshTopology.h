// SPDX-License-Identifier: Apache-2.0
// The mesh agent's topology dump, which holds the name of a running mesh.
#pragma once

#include "handlers/wifi/Wifi.h"

struct json_object;

namespace qsc::wifi
{

/// Reads the mesh's name from the dump. EFAULT: there is no dump, or no name in it; logged.
[[nodiscard]] u32 read_mesh_name(const Call& call, WifiText& name);

/// The same for a parsed dump.
[[nodiscard]] u32 find_mesh_name(const Call& call, json_object* dump, WifiText& name);

} // namespace qsc::wifi
