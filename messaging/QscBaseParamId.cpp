// SPDX-License-Identifier: Apache-2.0
// The instance record that dispatchers hand to handlers.
#include <cerrno>

#include "include/qscbase.h"

uint32_t QSCBase_ParamId_Init(QSCBase_ParamId* record)
{
    if (record == nullptr) {
        return EINVAL;
    }
    *record = {.context = 0, .index = {-1, -1}, .value = 0};
    return 0;
}

uint32_t QSCBase_ParamId_Close(QSCBase_ParamId*)
{
    return 0;
}
