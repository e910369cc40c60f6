// SPDX-License-Identifier: Apache-2.0
// Error lines of the system log, and the codes that go with them.
#pragma once

#include <cstdarg>

#include "base/Types.h"

namespace qrnuci
{

using qsc::u32;

/// Writes an error line; the socket that this may open is no standard stream of the host.
[[gnu::format(printf, 1, 2)]] void log_error(const char* format, ...);

/// Logs a failed step with the file's name and the reason in errno.
/// @return ENOMEM: it failed for want of memory or descriptors; else EFAULT
u32 log_failure(const char* step, const char* path);

} // namespace qrnuci
