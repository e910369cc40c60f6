// SPDX-License-Identifier: Apache-2.0
// Whole packages: their files' texts read, and replaced by others.
#include <cerrno>

#include <unistd.h>

#include "uci/ConfigFile.h"
#include "uci/Overlay.h"
#include "uci/PackageFiles.h"
#include "uci/Store.h"
#include "uci/View.h"

namespace qrnuci::store
{

namespace
{

/// Makes a file where there is none. Whoever does so holds the staging file's lock.
u32 make(std::string_view name, std::string_view text)
{
    if (const u32 code = check_staging_folder(true)) {
        return code;
    }
    Patience patience = kWriterPatience;
    StagingFile staging;
    if (const u32 code = staging.open(name, Access::kCreate, patience)) {
        return code;
    }
    Replacement replacement;
    const u32 code = replacement.write_text(usual_path(name), nullptr, text);
    return code != 0 ? code : replacement.take_free_place();
}

u32 remove(const Path& path)
{
    if (unlink(path.c_str()) != 0) {
        return log_failure("remove", path.c_str());
    }
    sync_folder_of(path);
    return 0;
}

/// Replaces or removes a file that is locked.
u32 replace(PackageFiles& files, const char* before, const char* after)
{
    Arena arena;
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = files.config.read(files.config_path.c_str(), arena, text, size)) {
        return code;
    }
    const std::string_view now{text, size};
    if (after != nullptr && now == after) {
        // Who has made it so may have been killed before the end.
        remove_left_files(files.config_path);
        sync_folder_of(files.config_path);
        return 0;
    }
    if (before == nullptr || now != before) {
        return EAGAIN;
    }
    // Otherwise what a killed commit has made part of the old file would be staged once more.
    if (const u32 code = restore_staged(files)) {
        return code;
    }
    if (after == nullptr) {
        return remove(files.config_path);
    }
    const struct stat& status = files.config.status();
    Replacement replacement;
    const u32 code = replacement.write_text(files.config_path, &status, after);
    return code != 0 ? code : replacement.take_place(status);
}

} // namespace

u32 read_package_text(std::string_view package, std::span<char> buffer, u32* length)
{
    if (t_staging.overlay != nullptr) {
        return copy_result(*t_staging.overlay, package, buffer, length);
    }
    PackageText text;
    bool is_new = false;
    const u32 code = text.look(package, is_new);
    return code != 0 ? code : copy_text(text.view(), buffer, length);
}

u32 read_base_text(std::string_view package, std::span<char> buffer, u32* length)
{
    return t_staging.overlay != nullptr ? copy_base(*t_staging.overlay, package, buffer, length) : EFAULT;
}

u32 replace_package(std::string_view package, const char* before, const char* after)
{
    if (is_changing(package)) {
        log_error("%.*s: replaced amid a change of it\n", static_cast<int>(package.size()), package.data());
        return EFAULT;
    }
    renew_view();
    renew_overlay();
    PackageFiles files;
    const u32 code = lock_files(package, Access::kHold, Access::kChange, files);
    if (code == 0) {
        return replace(files, before, after);
    }
    if (code != ENOENT || after == nullptr) {
        return code == ENOENT ? 0 : code;
    }
    return before != nullptr ? EAGAIN : make(package, after);
}

} // namespace qrnuci::store
