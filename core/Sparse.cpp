// SPDX-License-Identifier: Apache-2.0
#include "core/Sparse.h"

namespace qsc
{

u32 count_below(u32 marks, u32 part)
{
    u32 count = 0;
    for (u32 below = marks & (part - 1); below != 0; below &= below - 1) {
        ++count;
    }
    return count;
}

} // namespace qsc
