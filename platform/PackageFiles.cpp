// SPDX-License-Identifier: Apache-2.0
#include "platform/PackageFiles.h"

#include <cerrno>

#include "platform/ConfigFile.h"

namespace qrnuci
{

u32 lock_files(std::string_view name, Access config_access, Access delta_access, PackageFiles& files,
               Snapshot* known_delta)
{
    files.config_path = config_path(name);
    files.delta_path = delta_path(name);
    if (!files.config_path.fits() || !files.delta_path.fits()) {
        return EFAULT;
    }
    if (const u32 code = files.config.open(files.config_path.c_str(), config_access)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (known_delta != nullptr && !known_delta->is_there() &&
        known_delta->is_current(files.delta_path.c_str())) {
        return 0;
    }
    const u32 code = files.delta.open(files.delta_path.c_str(), delta_access);
    return code == ENOENT ? 0 : code;
}

u32 load_package(std::string_view name, PackageFiles& files, Package& package, CachedPackage* cached)
{
    const ino_t inode = files.config.status().st_ino;
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
    // Both texts are cut up below, so the cache hashes them first.
    if (cached != nullptr) {
        cached->config.take(files.config, {text, size});
        cached->delta.take(files.delta, {staged, staged_size});
    }
    if (const u32 code = load_config(name, text, size, package)) {
        return code;
    }
    return apply_delta(staged, staged_size, name, inode, package, files.state);
}

} // namespace qrnuci
