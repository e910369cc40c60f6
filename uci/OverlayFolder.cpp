// SPDX-License-Identifier: Apache-2.0
#include "uci/OverlayFolder.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

namespace qrnuci
{

u32 OverlayFolder::fail(const char* step, const char* name) const
{
    Path path;
    path.append(path_.view()).append("/").append(name);
    return log_failure(step, path.c_str());
}

u32 OverlayFolder::open(std::string_view path)
{
    constexpr std::size_t kLongest = 220; // a package's name has room behind it
    if (path.size() > kLongest || !path_.assign(path)) {
        errno = ENAMETOOLONG;
        return log_failure("open", "an overlay's folder");
    }
    if (mkdir(path_.c_str(), 0700) != 0 && errno != EEXIST) {
        return log_failure("create", path_.c_str());
    }
    folder_.replace(qsc::open_file(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
    struct stat status = {};
    if (!folder_.is_open() || fstat(folder_.get(), &status) != 0) {
        return log_failure("open", path_.c_str());
    }
    if (status.st_uid != geteuid() || (status.st_mode & 0077) != 0) {
        log_error("%s is not a folder for us alone; nothing there is used\n", path_.c_str());
        return EFAULT;
    }
    return 0;
}

u32 OverlayFolder::read(const char* name, Growing& text, struct stat& status) const
{
    const qsc::StdioReserve reserve;
    const qsc::FileDescriptor file{
        openat(folder_.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        return errno == ENOENT ? ENOENT : fail("open", name);
    }
    errno = EINVAL;
    ssize_t count = S_ISREG(status.st_mode) ? 1 : -1;
    char part[4096];
    while (count > 0) {
        count = ::read(file.get(), part, sizeof part);
        text.append({part, count > 0 ? static_cast<std::size_t>(count) : 0});
    }
    return count < 0 ? fail("read", name) : text.failed() ? ENOMEM : 0;
}

u32 OverlayFolder::write(const char* name, std::size_t kept, std::string_view text,
                         struct stat& written) const
{
    const qsc::StdioReserve reserve;
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    qsc::FileDescriptor file{openat(folder_.get(), name, flags | (kept == 0 ? O_TRUNC : 0), 0600)};
    const bool is_written = file.is_open() && qsc::write_all(file.get(), text) &&
                            fstat(file.get(), &written) == 0 && file.close();
    if (is_written && written.st_size != static_cast<off_t>(kept + text.size())) {
        errno = EBUSY; // somebody else writes it
        return fail("write", name);
    }
    return is_written ? 0 : fail("write", name);
}

void OverlayFolder::leave()
{
    if (fstat(folder_.get(), &left_) != 0) {
        left_ = {};
    }
}

bool OverlayFolder::is_as_left(std::string_view path) const
{
    // As it is kept open, no other one can have its number.
    struct stat now = {};
    return path == path_.view() && lstat(path_.c_str(), &now) == 0 && has_same_marks(now, left_) &&
           now.st_mode == left_.st_mode;
}

bool OverlayFolder::has_same_file(const char* name, const struct stat& written) const
{
    struct stat now = {};
    return fstatat(folder_.get(), name, &now, AT_SYMLINK_NOFOLLOW) == 0 && has_same_marks(now, written);
}

} // namespace qrnuci
