// SPDX-License-Identifier: Apache-2.0
// The edit of a payload's JSON header, in buffers of every size: two bytes for the size, then the text.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <json-c/json.h>

#include "fuzz/support/FuzzDevice.h"
#include "include/qscbase.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::reset_device();
    if (size < 2) {
        return 0;
    }
    const auto room = static_cast<uint16_t>(data[0] | data[1] << 8);
    if (room == 0) {
        return 0;
    }
    std::vector<char> buffer(room, '\0');
    std::memcpy(buffer.data(), data + 2, std::min<size_t>(size - 2, room));
    const std::vector<char> before = buffer;
    const uint32_t code = QSCBase_ModifyMsgHeader(buffer.data(), room, 1, 2, 3, UINT32_MAX);
    if (code == 22 && buffer != before) {
        std::abort(); // refused, but changed
    }
    if (code == 0 && std::memchr(buffer.data(), '\0', room) == nullptr) {
        std::abort(); // not ended
    }
    return 0;
}
