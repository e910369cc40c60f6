// SPDX-License-Identifier: Apache-2.0
#include "platform/ConfigFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <dirent.h>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include "platform/Codec.h"

namespace qrnuci
{

namespace
{

/// Makes the entries of a file's folder safe on the storage.
void sync_folder_of(const Path& path)
{
    std::string_view folder = path.view();
    folder.remove_suffix(folder.size() - folder.rfind('/'));
    Path copy;
    copy.append(folder);
    const qsc::FileDescriptor descriptor{open(copy.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (descriptor.is_open()) {
        (void)fsync(descriptor.get()); // not every file system can, and the rename has happened already
    }
}

/// Removes what killed commits have left behind: nobody else writes such a file while the package is locked.
void remove_orphans(const Path& prefix)
{
    const std::size_t slash = prefix.view().rfind('/');
    const std::string_view name{prefix.c_str() + slash + 1};
    Path folder;
    folder.append({prefix.c_str(), slash});
    DIR* const entries = opendir(folder.c_str());
    if (entries == nullptr) {
        return;
    }
    while (const dirent* const entry = readdir(entries)) {
        if (std::string_view{entry->d_name}.starts_with(name)) {
            // NOLINTNEXTLINE(clang-analyzer-unix.StdCLibraryFunctions): an open folder has a descriptor
            (void)unlinkat(dirfd(entries), entry->d_name, 0);
        }
    }
    (void)closedir(entries);
}

} // namespace

Path config_path(std::string_view package)
{
    Path path;
    path.append("/etc/config/").append(package);
    return path;
}

u32 load_config(std::string_view name, char* text, std::size_t size, Package& package)
{
    u32 line = 0;
    const u32 code = parse_config(name, text, size, package, line);
    if (code == EFAULT) {
        syslog(LOG_ERR, "%s: line %u is malformed\n", config_path(name).c_str(), line);
    }
    return code;
}

Replacement::~Replacement()
{
    if (!path_.view().empty()) {
        (void)unlink(path_.c_str());
    }
}

/// Makes an empty file beside the one to replace; negative: it could not be made.
int Replacement::create()
{
    const std::string_view target = target_.view();
    const std::size_t name = target.rfind('/') + 1;
    path_.append({target.data(), name}).append(".").append({target.data() + name, target.size() - name});
    remove_orphans(path_.append(".qrnuci-"));
    path_.append("XXXXXX");
    if (!path_.fits()) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const int descriptor = mkostemp(path_.data(), O_CLOEXEC);
    if (descriptor < 0) {
        path_.clear();
    }
    return descriptor;
}

u32 Replacement::write(std::string_view name, const struct stat& old, const Package& package)
{
    // A link stays a link: what it leads to is replaced.
    const Path path = config_path(name);
    char* const resolved = realpath(path.c_str(), nullptr);
    const bool is_resolved = resolved != nullptr && target_.assign(resolved);
    std::free(resolved);
    if (!is_resolved) {
        return log_failure("resolve", path.c_str());
    }
    const int descriptor = create();
    if (descriptor < 0) {
        return log_failure("create a file beside", path.c_str());
    }
    const u32 code = fill(name, descriptor, old, package);
    return code != 0 ? code : check(name);
}

/// Reads the new file back. What others have staged may make no package, such as two sections of one name.
u32 Replacement::check(std::string_view name) const
{
    LockedFile file;
    Package package;
    char* text = nullptr;
    std::size_t size = 0;
    if (const u32 code = file.open(path_.c_str(), Access::kRead)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (const u32 code = file.read(path_.c_str(), package.arena(), text, size)) {
        return code;
    }
    u32 line = 0;
    const u32 code = parse_config(name, text, size, package, line);
    if (code == EFAULT) {
        syslog(LOG_ERR, "%s: the staged changes make no file that can be read; nothing is committed\n",
               target_.c_str());
    }
    return code;
}

u32 Replacement::fill(std::string_view name, int descriptor, const struct stat& old, const Package& package)
{
    std::FILE* const out = fdopen(descriptor, "w");
    if (out == nullptr) {
        (void)close(descriptor);
        return log_failure("open", path_.c_str());
    }
    struct stat status = {};
    const bool is_prepared = fstat(descriptor, &status) == 0 &&
                             fchown(descriptor, old.st_uid, old.st_gid) == 0 &&
                             fchmod(descriptor, old.st_mode & 07777) == 0;
    inode_ = status.st_ino;
    const u32 exported = is_prepared ? export_config(name, package, out) : 0;
    const bool is_written = is_prepared && exported == 0 && std::fflush(out) == 0 && std::ferror(out) == 0 &&
                            fsync(descriptor) == 0;
    const int reason = errno;
    const bool is_closed = std::fclose(out) == 0;
    if (is_written && is_closed) {
        return 0;
    }
    errno = reason;
    return exported == ENOMEM ? ENOMEM : log_failure("write", path_.c_str());
}

u32 Replacement::take_place()
{
    if (rename(path_.c_str(), target_.c_str()) != 0) {
        return log_failure("replace", target_.c_str());
    }
    path_.clear();
    sync_folder_of(target_);
    return 0;
}

} // namespace qrnuci
