// SPDX-License-Identifier: Apache-2.0
#include "platform/LockedFile.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

namespace qrnuci
{

namespace
{

constexpr int kLockAttempts = 500;
constexpr timespec kLockPause{.tv_sec = 0, .tv_nsec = 10'000'000};

/// Waits for the lock, but not for ever: whoever holds it may have stopped for good.
bool lock(int descriptor, int kind)
{
    for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
        if (flock(descriptor, kind | LOCK_NB) == 0) {
            return true;
        }
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        nanosleep(&kLockPause, nullptr);
    }
    errno = ETIMEDOUT;
    return false;
}

/// Whether the path still leads to the open file: a commit replaces it while others wait for its lock.
bool is_current(const char* path, const struct stat& status)
{
    struct stat now = {};
    return stat(path, &now) == 0 && now.st_dev == status.st_dev && now.st_ino == status.st_ino;
}

} // namespace

u32 log_failure(const char* step, const char* path)
{
    syslog(LOG_ERR, "%s %s: %s\n", step, path, std::strerror(errno));
    return EFAULT;
}

u32 LockedFile::open(const char* path, Access access)
{
    const int flags = O_CLOEXEC | (access == Access::kRead     ? O_RDONLY
                                   : access == Access::kChange ? O_RDWR
                                                               : O_RDWR | O_CREAT);
    for (;;) {
        // Not blocking, so that a pipe in the place of a file cannot stop the caller.
        qsc::FileDescriptor opened{::open(path, flags | O_NONBLOCK, 0600)};
        if (!opened.is_open()) {
            return errno == ENOENT ? ENOENT : log_failure("open", path);
        }
        descriptor_.replace(std::move(opened));
        if (!lock(get(), access == Access::kRead ? LOCK_SH : LOCK_EX)) {
            return log_failure("lock", path);
        }
        if (fstat(get(), &status_) != 0) {
            return log_failure("stat", path);
        }
        if (!S_ISREG(status_.st_mode)) {
            errno = EINVAL;
            return log_failure("not a regular file:", path);
        }
        if (is_current(path, status_)) {
            return 0;
        }
        close();
    }
}

void LockedFile::close()
{
    // Closing alone would leave the lock with a child that was forked meanwhile, for as long as it lives.
    if (is_open()) {
        (void)flock(get(), LOCK_UN);
        (void)descriptor_.close();
    }
}

qsc::FileDescriptor LockedFile::release()
{
    (void)flock(descriptor_.get(), LOCK_UN);
    return std::move(descriptor_);
}

u32 LockedFile::read(const char* path, Arena& arena, char*& text, std::size_t& size) const
{
    const auto room = static_cast<std::size_t>(status_.st_size);
    text = arena.make_text(room);
    if (text == nullptr) {
        return ENOMEM;
    }
    size = 0;
    while (size < room) {
        const ssize_t count = pread(get(), text + size, room - size, static_cast<off_t>(size));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return log_failure("read", path);
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    return 0;
}

} // namespace qrnuci
