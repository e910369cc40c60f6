// SPDX-License-Identifier: Apache-2.0
#include "platform/PackageFiles.h"

#include <cerrno>

#include <fcntl.h>

#include "platform/ConfigFile.h"
#include "platform/ForeignCommit.h"

namespace qrnuci
{

namespace
{

/// Another program takes less than this from giving up its lock to having its file in place.
constexpr Patience kForeignPatience{200};

/// Opens and locks both; what is no trusted staging file stays closed.
u32 open_files(PackageFiles& files, Access config_access, Access delta_access, bool with_delta,
               Patience& patience)
{
    if (!files.config_path.fits() || !files.delta_path.fits()) {
        return EFAULT;
    }
    if (const u32 code = files.config.open(files.config_path.c_str(), config_access, patience)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (!with_delta) {
        return 0;
    }
    const u32 code = files.delta.open(files.delta_path.c_str(), delta_access, patience, O_NOFOLLOW);
    return code == ENOENT ? 0 : code;
}

/// Reads both texts, which the cache hashes before they are cut up.
u32 load(std::string_view name, PackageFiles& files, Package& package, CachedPackage* cached)
{
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = files.config.read(files.config_path.c_str(), package.arena(), text, size)) {
        return code;
    }
    char* staged = nullptr;
    std::size_t staged_size = 0;
    if (files.delta.is_open()) {
        if (const u32 code =
                files.delta.read(files.delta_path.c_str(), package.arena(), staged, staged_size)) {
            return code;
        }
    }
    const ino_t inode = files.config.status().st_ino;
    if (cached != nullptr) {
        cached->config.take(files.config, {text, size});
        cached->delta.take(files.delta, {staged, staged_size});
    }
    if (const u32 code = load_config(name, files.config_path, text, size, package)) {
        return code;
    }
    return apply_delta(staged, staged_size, name, inode, package, files.state);
}

/// One attempt. EAGAIN: the files have changed while they were read without a lock.
u32 try_to_read(CachedPackage& cached, Patience& patience)
{
    cached.package.clear();
    cached.reads = 0;
    const bool is_staged = cached.find_files();
    const bool with_delta = check_staging_folder() == 0 && is_staged;
    PackageFiles files;
    files.config_path = cached.config_path;
    files.delta_path = cached.delta_path;
    if (const u32 code = open_files(files, Access::kRead, Access::kRead, with_delta, patience)) {
        return code;
    }
    const bool is_locked = files.config.is_locked() && (!files.delta.is_open() || files.delta.is_locked());
    const u32 code = load(cached.name.view(), files, cached.package, &cached);
    // Between the two files, somebody may have committed.
    return cached.config.is_there() && !is_locked && !cached.is_current() ? EAGAIN : code;
}

} // namespace

u32 lock_files(std::string_view name, Access config_access, Access delta_access, PackageFiles& files)
{
    if (const u32 code = check_staging_folder()) {
        return code;
    }
    files.delta_path = delta_path(name);
    Patience patience = kWriterPatience;
    Patience foreign_patience = kForeignPatience;
    for (;;) {
        files.config_path = config_path(name);
        if (const u32 code = open_files(files, config_access, delta_access, true, patience)) {
            return code;
        }
        // The other program may also have been through before it was looked for.
        const bool may_be_replaced = is_foreign_commit_under_way(files.config_path);
        if (files.config.is_current(files.config_path.c_str()) &&
            (!may_be_replaced || !foreign_patience.wait())) {
            return 0;
        }
        files.config.close();
        files.delta.close();
    }
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
