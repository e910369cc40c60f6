// SPDX-License-Identifier: Apache-2.0
// Lists of texts for the caller.
#pragma once

#include <algorithm>
#include <cerrno>
#include <span>
#include <string_view>

#include "base/Types.h"

namespace qrnuci
{

using qsc::u32;

/// Copies texts one after the other, each with its end; nothing is written unless all fit. Each text is
/// handed over by for_each(take), which goes on as long as take(text) is true.
template <typename ForEach>
u32 copy_all_out(std::span<char> buffer, u32& count, ForEach for_each)
{
    std::size_t length = 0;
    u32 found = 0;
    for_each([&](std::string_view text) {
        length += text.size() + 1;
        ++found;
    });
    if (length > buffer.size()) {
        return EFAULT;
    }
    char* out = buffer.data();
    for_each([&](std::string_view text) {
        out = std::copy(text.begin(), text.end(), out);
        *out++ = '\0';
    });
    if (found == 0) {
        buffer.front() = '\0';
    }
    count = found;
    return 0;
}

} // namespace qrnuci
