// SPDX-License-Identifier: Apache-2.0
// The mesh agent's topology dump, parsed and searched for the mesh's name.
#include <cstdlib>
#include <string>

#include <json-c/json.h>

#include "fuzz/support/FuzzDevice.h"
#include "handlers/wifi/MeshTopology.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::reset_device();
    const std::string text{reinterpret_cast<const char*>(data), size};
    json_object* const dump = json_tokener_parse(text.c_str());
    qsc::wifi::WifiText name;
    constexpr qsc::Source source{"fuzz", "fuzz", sizeof "fuzz"};
    const qsc::Call call{source, "fuzz", __LINE__, "", dump, QSC_OPER_GET, QSC_COMMANDER_CLI, 0};
    if (qsc::wifi::find_mesh_name(call, dump, name) == 0 && !name.fits()) {
        std::abort();
    }
    json_object_put(dump);
    return 0;
}
