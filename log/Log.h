// SPDX-License-Identifier: Apache-2.0
// How the library's own code writes to its log. Each source file names its module once, as kModule.
#pragma once

#include "base/Types.h"
#include "include/qslog.h"

namespace qsc
{

enum LogLevel : i32 {
    kLogError = 3,
    kLogWarning = 4,
    kLogInfo = 6,
    kLogDebug = 7,
};

} // namespace qsc

/// Writes a line in the name of the function that stands around it.
#define QSC_LOG(level, ...) Qslog_Log(level, kModule, __LINE__, __func__, __VA_ARGS__)
