// SPDX-License-Identifier: Apache-2.0
// Requests through the dispatchers: a byte for the operation, one for the commander, a path up to a line
// feed, and the request as JSON. QSC_FUZZ_PREFIX stands in front of every path.
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <json-c/json.h>

#include "fuzz/support/FuzzDevice.h"
#include "include/qslog.h"
#include "include/qsyscmdhal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::reset_device();
    if (size < 3) {
        return 0;
    }
    Qslog_SetLogLevel(7);
    Qsc_Dbg_SetEnableFlag(1);
    constexpr std::array<uint32_t, 8> kOperations{QSC_OPER_GET,     QSC_OPER_SET,     QSC_OPER_COMMIT,
                                                  QSC_OPER_SERVICE, QSC_OPER_GET | 2, 0,
                                                  UINT32_MAX,       QSC_OPER_SET};
    const uint32_t commander = (data[1] & 1) != 0 ? QSC_COMMANDER_MQTT : data[1];
    const std::string text{reinterpret_cast<const char*>(data + 2), size - 2};
    const size_t end = text.find('\n');
    const std::string path = QSC_FUZZ_PREFIX + text.substr(0, end);
    json_object* const object = end != std::string::npos ? json_tokener_parse(text.c_str() + end) : nullptr;
    for (const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList(); entry->id != QSC_TABLE_END; ++entry) {
        if (path.starts_with(entry->path)) {
            entry->dispatcher(path.c_str(), object, kOperations[data[0] % kOperations.size()], commander, 0,
                              0);
            break;
        }
    }
    Qsc_PrintJObj(object);
    json_object_put(object);
    return 0;
}
