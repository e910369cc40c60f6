// SPDX-License-Identifier: Apache-2.0
#include "uci/Log.h"

#include <cerrno>
#include <cstring>

#include <syslog.h>

#include "base/FileDescriptor.h"

namespace qrnuci
{

void log_error(const char* format, ...)
{
    const qsc::StdioReserve reserve;
    va_list arguments;
    va_start(arguments, format);
    vsyslog(LOG_ERR, format, arguments);
    va_end(arguments);
}

u32 log_failure(const char* step, const char* path)
{
    const int reason = errno;
    log_error("%s %s: %s\n", step, path, std::strerror(reason));
    return reason == ENOMEM || reason == EMFILE || reason == ENFILE ? ENOMEM : EFAULT;
}

} // namespace qrnuci
