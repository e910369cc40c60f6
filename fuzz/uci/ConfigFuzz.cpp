// SPDX-License-Identifier: Apache-2.0
// The file parser: whatever it takes, it writes in a form that reads back as the same package.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/uci/Written.h"

using namespace qrnuci;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string text{reinterpret_cast<const char*>(data), size};
    Package package;
    u32 line = 0;
    if (parse_config("p", text.data(), text.size(), package, line) != 0) {
        return 0;
    }
    package.build_index();
    for (const Section& section : package.sections()) {
        for (const Option& option : section.options) {
            if (package.find_option(section, option.name) != &option) {
                std::abort();
            }
        }
    }
    const std::string once = written(package);
    std::string copy = once;
    Package again;
    if (parse_config("p", copy.data(), copy.size(), again, line) != 0 || written(again) != once) {
        std::abort();
    }
    return 0;
}
