// SPDX-License-Identifier: Apache-2.0
// A package's two files, locked together, and the package that is read from them.
//
// Locks are taken in one order, the package's file before its staging file, so nobody waits in a circle. A
// reader holds both shared, so that it never sees a commit half done; staging holds the staging file alone
// to itself, a commit both.
#pragma once

#include <string_view>

#include "uci/Cache.h"
#include "uci/Delta.h"
#include "uci/LockedFile.h"
#include "uci/Package.h"
#include "uci/StagingFile.h"

namespace qrnuci
{

/// A package's files while they are locked.
struct PackageFiles {
    Path config_path;
    LockedFile config;
    StagingFile staging; ///< closed: nothing is staged
    DeltaState state;
};

/// Locks a package's files for a change. ENOENT: no such package.
[[nodiscard]] u32 lock_files(std::string_view name, Access config_access, Access staging_access,
                             PackageFiles& files);

/// Reads a package with its staged changes from files that are locked for a change, and mends what a kill has
/// left in the staging file.
[[nodiscard]] u32 load_package(std::string_view name, PackageFiles& files, Package& package);

/// Mends what a kill has left in the staging file of files that are locked for a change.
[[nodiscard]] u32 restore_staged(PackageFiles& files);

/// Reads a package for the cache, for the first time or again. Where a lock cannot be had in time, the files
/// are read without it, until they do not change meanwhile.
[[nodiscard]] u32 read_package(CachedPackage& cached, Patience& patience);

} // namespace qrnuci
