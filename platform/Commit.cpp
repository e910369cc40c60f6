// SPDX-License-Identifier: Apache-2.0
// Commits: what is staged becomes part of the package's file.
#include <cerrno>

#include "platform/ConfigFile.h"
#include "platform/PackageFiles.h"
#include "platform/Staging.h"
#include "platform/Store.h"
#include "platform/View.h"

namespace qrnuci::store
{

u32 commit(std::string_view name)
{
    if (changed_package(name) != nullptr) {
        log_error("%.*s: committed amid a change of it\n", static_cast<int>(name.size()), name.data());
        return EFAULT;
    }
    renew_view();
    PackageFiles files;
    Package package;
    if (const u32 code = lock_files(name, Access::kHold, Access::kChange, files)) {
        return code;
    }
    if (const u32 code = load_package(name, files, package)) {
        return code;
    }
    if (!files.delta.is_open() || !(files.state.has_changes || files.state.is_committed)) {
        return 0;
    }
    const char* const delta = files.delta_path.c_str();
    if (files.state.has_changes) {
        Replacement replacement;
        if (const u32 code = replacement.write(name, files.config_path, files.config.status(), package)) {
            return code;
        }
        // From here on a kill leaves either the old file with everything staged, or the new one with a note
        // in the staging file that it is all in there.
        if (const u32 code = mark_committed(files.delta, delta, name, files.state, replacement.inode())) {
            return code;
        }
        if (const u32 code = replacement.take_place(files.config.status())) {
            (void)append_delta(files.delta, delta, files.state, ""); // takes the note back
            return code;
        }
    }
    // The change is made; a staging file that could not be emptied is skipped up to its note.
    (void)clear_delta(files.delta, delta);
    return 0;
}

} // namespace qrnuci::store
