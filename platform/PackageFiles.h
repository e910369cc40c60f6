// SPDX-License-Identifier: Apache-2.0
// A package's two files, locked together, and the package that is read from them.
//
// Locks are taken in one order, the package's file before its staging file, so nobody waits in a circle. A
// reader holds both shared, so that it never sees a commit half done; staging holds the staging file alone
// to itself, a commit both.
#pragma once

#include <string_view>

#include "platform/Cache.h"
#include "platform/Delta.h"
#include "platform/LockedFile.h"
#include "platform/Package.h"

namespace qrnuci
{

/// A package's files while they are locked.
struct PackageFiles {
    Path config_path;
    Path delta_path;
    LockedFile config;
    LockedFile delta; ///< closed: nothing is staged
    DeltaState state;
};

/// Locks a package's files. A staging file that is known to be missing still is not looked for again.
[[nodiscard]] u32 lock_files(std::string_view name, Access config_access, Access delta_access,
                             PackageFiles& files, Snapshot* known_delta = nullptr);

/// Reads a package with its staged changes from its locked files, and notes for the cache what was read if a
/// cached package is to be made of it.
[[nodiscard]] u32 load_package(std::string_view name, PackageFiles& files, Package& package,
                               CachedPackage* cached = nullptr);

} // namespace qrnuci
