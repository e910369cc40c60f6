// SPDX-License-Identifier: Apache-2.0
// The mesh agent's topology dump, read as the list of its nodes.
#include <cstdlib>
#include <string>

#include <json-c/json.h>

#include "handlers/wifi/MeshNodes.h"

using qsc::wifi::MeshNode;
using qsc::wifi::MeshNodes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text{reinterpret_cast<const char*>(data), size};
    const qsc::JsonRef dump{json_tokener_parse(text.c_str())};
    const MeshNodes nodes{dump.get()};
    for (uint32_t i = 0; i < nodes.count(); ++i) {
        const MeshNode node = nodes.at(i);
        const bool is_whole =
            node.name.fits() && node.address.fits() && node.parent.fits() && node.backhaul.fits();
        if (!is_whole || node.hops < -1 || node.hops >= static_cast<int32_t>(nodes.count()) ||
            node.clients < 0) {
            std::abort();
        }
    }
    return 0;
}
