// SPDX-License-Identifier: Apache-2.0
// Commits of programs that lock as libuci does. It gives up its lock before it renames its new file; and who
// has waited for the lock of a file that was replaced meanwhile goes on with the replaced one. In both cases
// the next rename takes away what others have committed since, so we wait for it.
#pragma once

#include "uci/LockedFile.h"

namespace qrnuci
{

/// Whether another program is about to replace the package's file at this path, although we have locked it.
[[nodiscard]] bool is_foreign_commit_under_way(const Path& path, const struct stat& status);

} // namespace qrnuci
