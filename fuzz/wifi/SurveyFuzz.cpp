// SPDX-License-Identifier: Apache-2.0
// The survey tool's table, with whatever neighbours call their networks.
#include <cstdlib>
#include <string_view>

#include "core/RowValue.h"
#include "handlers/wifi/Survey.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qsc::wifi::Survey survey{{reinterpret_cast<const char*>(data), size}};
    size_t lines = 0;
    for (qsc::wifi::Neighbour each; survey.next(each); ++lines) {
        if (lines > size || !qsc::is_mac_address(each.bssid.view()) ||
            each.ssid.find('\n') != std::string_view::npos) {
            std::abort();
        }
    }
    return 0;
}
