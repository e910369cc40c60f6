// SPDX-License-Identifier: Apache-2.0
#include "uci/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

#include "uci/Codec.h"
#include "uci/Folder.h"

namespace qrnuci
{

namespace
{

/// How the names of the new files begin that are written beside a package's.
qsc::Text<300> new_file_begin(const Path& path)
{
    qsc::Text<300> begin;
    begin.append(".").append(file_name(path)).append(".qrnuci-");
    return begin;
}

/// Copies a part of one file over another's.
bool copy_part(int from, int to, off_t begin, off_t end)
{
    char part[4096];
    while (begin < end) {
        const auto room = static_cast<std::size_t>(std::min<off_t>(end - begin, sizeof part));
        const ssize_t count = pread(from, part, room, begin);
        if (count <= 0 || pwrite(to, part, static_cast<std::size_t>(count), begin) != count) {
            return false;
        }
        begin += count;
    }
    return true;
}

/// Gives a file that has been replaced the text of the new one. A program that waits for the old one's lock
/// reads it as if it were the package's file still, and may even commit what it has read.
void update_replaced(int old, int replacement)
{
    struct stat before = {};
    struct stat after = {};
    // Under another name it is somebody's copy.
    if (fstat(old, &before) != 0 || fstat(replacement, &after) != 0 || before.st_nlink != 0) {
        return;
    }
    // What may want room comes first, so that nothing has been done yet where there is none.
    if (!copy_part(replacement, old, before.st_size, after.st_size)) {
        (void)!ftruncate(old, before.st_size);
        return;
    }
    if (!copy_part(replacement, old, 0, std::min(before.st_size, after.st_size))) {
        (void)!pwrite(old, "'", 1, 0); // better no package at all than half of one
        return;
    }
    (void)!ftruncate(old, after.st_size);
}

} // namespace

Path first_path(std::string_view package)
{
    Path path;
    path.append(kFirstFolder).append("/").append(package);
    return path;
}

Path usual_path(std::string_view package)
{
    Path path;
    path.append("/etc/config/").append(package);
    return path;
}

Path config_path(std::string_view package)
{
    Path path = first_path(package);
    struct stat status = {};
    return path.fits() && stat(path.c_str(), &status) == 0 ? path : usual_path(package);
}

void sync_folder_of(const Path& path)
{
    const qsc::FileDescriptor folder = qsc::open_file(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY);
    if (folder.is_open()) {
        (void)fsync(folder.get()); // not every file system can, and the file has its place already
    }
}

void remove_left_files(const Path& path)
{
    (void)find_entry(folder_of(path), new_file_begin(path).view(), [](int folder, const char* entry) {
        (void)unlinkat(folder, entry, 0);
        return false;
    });
}

u32 load_config(std::string_view name, const Path& path, char* text, std::size_t size, Package& package)
{
    u32 line = 0;
    const u32 code = parse_config(name, text, size, package, line);
    if (code == EFAULT) {
        log_error("%s: line %u is malformed\n", path.c_str(), line);
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
    remove_left_files(target_);
    const std::string_view folder{target_.c_str(), target_.view().size() - file_name(target_).size()};
    path_.append(folder).append(new_file_begin(target_).view()).append("XXXXXX");
    if (!path_.fits()) {
        errno = ENAMETOOLONG;
        return -1;
    }
    const qsc::StdioReserve reserve;
    const int descriptor = mkostemp(path_.data(), O_CLOEXEC);
    if (descriptor < 0) {
        path_.clear();
    }
    return descriptor;
}

/// A link stays a link: what it leads to is replaced.
u32 Replacement::resolve(const Path& path)
{
    char* const resolved = realpath(path.c_str(), nullptr);
    const bool is_resolved = resolved != nullptr && target_.assign(resolved);
    std::free(resolved);
    return is_resolved ? 0 : log_failure("resolve", path.c_str());
}

/// Makes the new file and writes it.
template <typename Export>
u32 Replacement::fill(const struct stat& old, Export write_content)
{
    const int descriptor = create();
    if (descriptor < 0) {
        return log_failure("create a file beside", target_.c_str());
    }
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
    const u32 exported = is_prepared ? write_content(out) : 0;
    const bool is_written = is_prepared && exported == 0 && std::fflush(out) == 0 && std::ferror(out) == 0 &&
                            fsync(descriptor) == 0;
    const int reason = errno;
    const bool is_closed = std::fclose(out) == 0;
    if (is_written && is_closed) {
        return 0;
    }
    if (exported != 0) {
        return exported == EINVAL ? refuse() : exported;
    }
    errno = reason;
    return log_failure("write", path_.c_str());
}

u32 Replacement::write(std::string_view name, const Path& path, const struct stat& old,
                       const Package& package)
{
    if (const u32 code = resolve(path)) {
        return code;
    }
    const u32 code = fill(old, [&](std::FILE* out) { return export_config(name, package, out); });
    return code != 0 ? code : check(name);
}

u32 Replacement::write_text(const Path& path, const struct stat* old, std::string_view text)
{
    struct stat fresh = {};
    fresh.st_uid = geteuid();
    fresh.st_gid = getegid();
    fresh.st_mode = 0600;
    if (old == nullptr) {
        target_ = path;
    } else if (const u32 code = resolve(path)) {
        return code;
    }
    return fill(old != nullptr ? *old : fresh, [&](std::FILE* out) -> u32 {
        (void)!std::fwrite(text.data(), 1, text.size(), out); // the stream remembers a failure
        return 0;
    });
}

/// Reads the new file back. What others have staged may make no package, such as two sections of one name.
u32 Replacement::check(std::string_view name) const
{
    LockedFile file;
    Package package;
    char* text = nullptr;
    std::size_t size = 0;
    Patience patience = kReaderPatience;
    if (const u32 code = file.open(path_.c_str(), Access::kRead, patience)) {
        return code == ENOENT ? EFAULT : code;
    }
    if (const u32 code = file.read(path_.c_str(), package.arena(), text, size)) {
        return code;
    }
    u32 line = 0;
    const u32 code = parse_config(name, text, size, package, line);
    return code == EFAULT ? refuse() : code;
}

u32 Replacement::refuse() const
{
    log_error("%s: the staged changes make no file that can be read; nothing is committed\n",
              target_.c_str());
    return EFAULT;
}

u32 Replacement::take_place(const struct stat& old)
{
    struct stat status = {};
    const qsc::FileDescriptor replaced = qsc::open_file(target_.c_str(), O_WRONLY | O_NONBLOCK);
    const bool is_old = replaced.is_open() && fstat(replaced.get(), &status) == 0 &&
                        status.st_ino == old.st_ino && status.st_dev == old.st_dev;
    const qsc::FileDescriptor replacement = qsc::open_file(path_.c_str(), O_RDONLY);
    if (rename(path_.c_str(), target_.c_str()) != 0) {
        return log_failure("replace", target_.c_str());
    }
    path_.clear();
    sync_folder_of(target_);
    if (is_old && replacement.is_open()) {
        update_replaced(replaced.get(), replacement.get());
    }
    return 0;
}

u32 Replacement::take_free_place()
{
    // Unlike a rename, a link never takes the place of a file that somebody has made meanwhile.
    if (link(path_.c_str(), target_.c_str()) != 0) {
        return errno == EEXIST ? EAGAIN : log_failure("create", target_.c_str());
    }
    (void)unlink(path_.c_str());
    path_.clear();
    sync_folder_of(target_);
    return 0;
}

} // namespace qrnuci
