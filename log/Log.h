// SPDX-License-Identifier: Apache-2.0
// Logging from inside the library. Each source file defines its module name as kModule.
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

/// Writes a log line that names the current function.
#define QSC_LOG(level, ...) Qslog_Log(level, kModule, __LINE__, __func__, __VA_ARGS__)
