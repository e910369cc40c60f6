// SPDX-License-Identifier: Apache-2.0
#include "uci/PackageFiles.h"

#include <cerrno>

#include "uci/ConfigFile.h"
#include "uci/ForeignCommit.h"

namespace qrnuci
{

namespace
{

/// Another program takes less than this from giving up its lock to having its file in place.
constexpr Patience kForeignPatience{200};

/// Opens and locks both.
u32 open_files(std::string_view name, PackageFiles& files, Access config_access, Access staging_access,
               bool is_staged, Patience& patience)
{
    if (!files.config_path.fits()) {
        return EFAULT;
    }
    if (const u32 code = files.config.open(files.config_path.c_str(), config_access, patience)) {
        return code;
    }
    // Not before the package is known to exist, or every misspelt name would leave a staging file.
    if (const u32 code = check_staging_folder(staging_access == Access::kCreate)) {
        // A reader sees the package as if nothing were staged.
        return code == ENOENT || staging_access == Access::kRead ? 0 : code;
    }
    const u32 code = is_staged ? files.staging.open(name, staging_access, patience) : 0;
    return code == ENOENT ? 0 : code;
}

/// Reads both files: for the cache, which hashes them before they are cut up, or for a change.
u32 load(std::string_view name, PackageFiles& files, Package& package, CachedPackage* cached)
{
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = files.config.read(files.config_path.c_str(), package.arena(), text, size)) {
        return code;
    }
    Staged staged;
    if (files.staging.is_open()) {
        if (const u32 code = files.staging.read(files.config.status().st_ino, package.arena(), staged)) {
            return code;
        }
    }
    if (cached != nullptr) {
        cached->config.take(files.config, {text, size});
        cached->delta.take(files.staging.file(), staged.file);
    } else if (files.staging.is_open()) {
        if (const u32 code = files.staging.restore(staged)) {
            return code;
        }
    }
    if (const u32 code = load_config(name, files.config_path, text, size, package)) {
        return code;
    }
    return apply_delta(staged.text, staged.size, name, package, files.state);
}

/// One attempt. EAGAIN: the files have changed while they were read without a lock.
u32 try_to_read(CachedPackage& cached, Patience& patience)
{
    cached.package.clear();
    cached.reads = 0;
    const bool is_staged = cached.find_files();
    const std::string_view name = cached.name.view();
    PackageFiles files;
    files.config_path = cached.config_path;
    if (const u32 code = open_files(name, files, Access::kRead, Access::kRead, is_staged, patience)) {
        return code == ENOENT ? EFAULT : code;
    }
    const bool is_locked =
        files.config.is_locked() && (!files.staging.is_open() || files.staging.file().is_locked());
    const u32 code = load(name, files, cached.package, &cached);
    // Between the two files, somebody may have committed.
    return cached.config.is_there() && !is_locked && !cached.is_current() ? EAGAIN : code;
}

} // namespace

u32 lock_files(std::string_view name, Access config_access, Access staging_access, PackageFiles& files)
{
    Patience patience = kWriterPatience;
    Patience foreign_patience = kForeignPatience;
    for (;;) {
        files.config_path = config_path(name);
        if (const u32 code = open_files(name, files, config_access, staging_access, true, patience)) {
            return code;
        }
        const char* const path = files.config_path.c_str();
        const bool may_be_replaced = is_foreign_commit_under_way(files.config_path, files.config.status());
        // The other program may also have been through before it was looked for.
        if (files.config.is_current(path) && (!may_be_replaced || !foreign_patience.wait())) {
            return 0;
        }
        files.config.close();
        files.staging.close();
    }
}

u32 restore_staged(PackageFiles& files)
{
    if (!files.staging.is_open()) {
        return 0;
    }
    Arena arena;
    Staged staged;
    const u32 code = files.staging.read(files.config.status().st_ino, arena, staged);
    return code != 0 ? code : files.staging.restore(staged);
}

u32 load_package(std::string_view name, PackageFiles& files, Package& package)
{
    return load(name, files, package, nullptr);
}

u32 read_package(CachedPackage& cached, Patience& patience)
{
    Patience attempts{1000};
    u32 code = 0;
    do {
        code = try_to_read(cached, patience);
    } while (code == EAGAIN && attempts.wait());
    if (code != EAGAIN) {
        return code;
    }
    log_error("%s changes all the time and cannot be read\n", cached.config_path.c_str());
    return EFAULT;
}

} // namespace qrnuci
