// SPDX-License-Identifier: Apache-2.0
#include "core/UciAccess.h"

namespace qsc
{

u32 uci_answer_text(const Call& call, const char* key)
{
    ValueText value;
    (void)uci_read(call, key, value);
    return answer_text(call.value, value.c_str());
}

u32 uci_write(const char* key, const char* value)
{
    return QrnUci_SetNewString(key, value, 0, 1);
}

} // namespace qsc
