// SPDX-License-Identifier: Apache-2.0
// The key parser: every part of an accepted key is of its own kind and lies within the text.
#include <cstdint>
#include <cstdlib>

#include "uci/Key.h"

using namespace qrnuci;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    Key key;
    if (parse_key(text, key) &&
        (!is_package_name(key.package) || (!key.option.empty() && !is_name(key.option)) ||
         (!key.section.name.empty() && !is_name(key.section.name)) ||
         key.package.size() + key.section.name.size() + key.section.type.size() + key.option.size() > size)) {
        std::abort();
    }
    return 0;
}
