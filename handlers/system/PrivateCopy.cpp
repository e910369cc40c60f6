// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/PrivateCopy.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>

#include "base/Parse.h"
#include "core/Refusal.h"

namespace qsc::system
{

namespace
{

constexpr std::string_view kPlace = "/tmp/";

/// One part of a path after the other, up to the last.
FileDescriptor open_folder_of(std::string_view name, Text<254>& last)
{
    FileDescriptor folder{-1};
    if (!name.starts_with(kPlace) || std::ranges::any_of(name, is_control)) {
        return folder;
    }
    folder.replace(open_file("/tmp", O_RDONLY | O_DIRECTORY));
    name.remove_prefix(kPlace.size());
    for (;;) {
        const std::size_t end = name.find('/');
        const bool fits = last.assign(name.substr(0, end));
        if (!fits || last.view().empty() || last.view() == "." || last.view() == ".." || !folder.is_open()) {
            return FileDescriptor{-1};
        }
        if (end == std::string_view::npos) {
            return folder;
        }
        name.remove_prefix(end + 1);
        const StdioReserve reserve;
        folder.replace(FileDescriptor{
            openat(folder.get(), last.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)});
    }
}

/// Copies to the end.
bool copy_all(int from, int to)
{
    constexpr std::size_t kPiece = 1 << 20;
    for (;;) {
        const ssize_t copied = sendfile(to, from, nullptr, kPiece);
        if (copied == 0) {
            return true;
        }
        if (copied < 0 && errno != EINTR) {
            return false;
        }
    }
}

} // namespace

PrivateCopy::~PrivateCopy()
{
    if (!is_kept_ && !folder_.view().empty()) {
        (void)unlink(path_.c_str());
        (void)rmdir(folder_.c_str());
    }
}

u32 PrivateCopy::make_folder()
{
    char name[] = "/tmp/qrn_sysupg.XXXXXX";
    if (mkdtemp(name) == nullptr) {
        return refuse(EFAULT, "no folder can be made below /tmp");
    }
    folder_.append(name);
    path_.append(name).append("/file");
    return 0;
}

u32 PrivateCopy::take(std::string_view name)
{
    Text<254> last;
    const FileDescriptor folder = open_folder_of(name, last);
    FileDescriptor file{-1};
    if (folder.is_open()) {
        const StdioReserve reserve;
        file.replace(FileDescriptor{
            openat(folder.get(), last.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)});
    }
    struct stat status {
    };
    const bool is_right = file.is_open() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
                          status.st_uid == geteuid() && (status.st_mode & 0022) == 0 && status.st_size > 0;
    if (!is_right) {
        return refuse(EFAULT, "FileName is no file below /tmp that root alone may write to");
    }
    if (const u32 code = make_folder()) {
        return code;
    }
    FileDescriptor copy = open_file(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    return copy.is_open() && copy_all(file.get(), copy.get()) && copy.close()
               ? 0
               : refuse(EFAULT, "there is no room for a copy of the file");
}

u32 PrivateCopy::check_new(std::string_view name) const
{
    Text<254> last;
    struct stat status {
    };
    const FileDescriptor folder = open_folder_of(name, last);
    return folder.is_open() && fstatat(folder.get(), last.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 &&
                   errno == ENOENT
               ? 0
               : refuse(EFAULT, "FileName is not below /tmp, or there is such a file already");
}

u32 PrivateCopy::publish(std::string_view name) const
{
    Text<254> last;
    const FileDescriptor folder = open_folder_of(name, last);
    return folder.is_open() && chmod(path_.c_str(), 0600) == 0 &&
                   linkat(AT_FDCWD, path_.c_str(), folder.get(), last.c_str(), 0) == 0
               ? 0
               : refuse(EFAULT, "the file could not be put in its place");
}

} // namespace qsc::system
