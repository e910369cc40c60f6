// SPDX-License-Identifier: Apache-2.0
// The filter of OpenVPN's file: whatever it lets through, the program itself must find nothing dangerous in
// it.
#include <cstdlib>

#include "handlers/services/OpenVpnFilter.h"
#include "support/OpenVpnReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    qsc::FileText file;
    if (qsc::services::filter_openvpn(text, file).why != nullptr) {
        return 0;
    }
    for (const test::Directive& directive : test::read_openvpn(file.view())) {
        if (test::is_dangerous(directive)) {
            std::abort();
        }
    }
    // What was written once is written the same again.
    qsc::FileText again;
    if (qsc::services::filter_openvpn(file.view(), again).why != nullptr || again.view() != file.view()) {
        std::abort();
    }
    return 0;
}
