// SPDX-License-Identifier: Apache-2.0
// Commits: what is staged becomes part of the package's file.
#include <cerrno>

#include "uci/ConfigFile.h"
#include "uci/Overlay.h"
#include "uci/PackageFiles.h"
#include "uci/Store.h"
#include "uci/View.h"

namespace qrnuci::store
{

u32 commit(std::string_view name)
{
    if (is_changing(name)) {
        log_error("%.*s: committed amid a change of it\n", static_cast<int>(name.size()), name.data());
        return EFAULT;
    }
    if (t_staging.overlay != nullptr) {
        return note_commit(*t_staging.overlay, name);
    }
    renew_view();
    PackageFiles files;
    Package package;
    if (const u32 code = lock_files(name, Access::kHold, Access::kChange, files)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (const u32 code = load_package(name, files, package)) {
        return code;
    }
    if (!files.staging.is_open() || !files.state.has_changes) {
        return 0;
    }
    Replacement replacement;
    if (const u32 code = replacement.write(name, files.config_path, files.config.status(), package)) {
        return code;
    }
    // From here on a kill leaves either the old file with everything staged, or the new one with nothing.
    if (const u32 code = files.staging.begin_commit(files.state.sound, replacement.inode())) {
        return code;
    }
    if (const u32 code = replacement.take_place(files.config.status())) {
        files.staging.take_back_commit();
        return code;
    }
    files.staging.finish_commit();
    return 0;
}

} // namespace qrnuci::store
