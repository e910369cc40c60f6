// SPDX-License-Identifier: Apache-2.0
#include "uci/LockedFile.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <unistd.h>

namespace qrnuci
{

namespace
{

constexpr u32 kPauseMilliseconds = 5;

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
constinit pthread_once_t g_fork_handlers = PTHREAD_ONCE_INIT;
constinit LockedFile* g_first = nullptr;

bool is_same_time(const timespec& one, const timespec& other)
{
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

constexpr int open_flags(Access access)
{
    switch (access) {
    case Access::kChange:
        return O_RDWR;
    case Access::kCreate:
        return O_RDWR | O_CREAT;
    default:
        return O_RDONLY;
    }
}

} // namespace

/// A lock belongs to everybody who has the open file. A child that was forked while its parent held one, and
/// that lives on when the parent is killed, would keep it for as long as it lives.
class OpenFiles
{
  public:
    /// Opens a file; no child is forked before it is known here.
    static bool open(LockedFile& file, const char* path, int flags)
    {
        (void)pthread_once(&g_fork_handlers, [] { (void)pthread_atfork(lock, unlock, forget_all); });
        lock();
        // Not blocking, so that a pipe in the place of a file cannot stop the caller.
        file.descriptor_.replace(qsc::open_file(path, flags | O_NONBLOCK, 0600));
        const bool is_open = file.is_open();
        if (is_open) {
            add(file);
        }
        unlock();
        return is_open;
    }

    static void remove(LockedFile& file)
    {
        lock();
        (file.previous_ != nullptr ? file.previous_->next_ : g_first) = file.next_;
        if (file.next_ != nullptr) {
            file.next_->previous_ = file.previous_;
        }
        unlock();
    }

  private:
    static void lock() { (void)pthread_mutex_lock(&g_mutex); }
    static void unlock() { (void)pthread_mutex_unlock(&g_mutex); }

    static void add(LockedFile& file)
    {
        file.previous_ = nullptr;
        file.next_ = g_first;
        if (g_first != nullptr) {
            g_first->previous_ = &file;
        }
        g_first = &file;
    }

    static void forget_all()
    {
        for (LockedFile* file = std::exchange(g_first, nullptr); file != nullptr; file = file->next_) {
            (void)file->descriptor_.close();
        }
        unlock();
    }
};

bool Patience::wait()
{
    if (milliseconds_ == 0) {
        return false;
    }
    const u32 pause = milliseconds_ < kPauseMilliseconds ? milliseconds_ : kPauseMilliseconds;
    milliseconds_ -= pause;
    const timespec time{.tv_sec = 0, .tv_nsec = static_cast<long>(pause) * 1'000'000};
    (void)nanosleep(&time, nullptr);
    return true;
}

bool has_same_marks(const struct stat& one, const struct stat& other)
{
    return one.st_ino == other.st_ino && one.st_dev == other.st_dev && one.st_size == other.st_size &&
           is_same_time(one.st_mtim, other.st_mtim) && is_same_time(one.st_ctim, other.st_ctim);
}

bool LockedFile::lock(int kind, Patience& patience)
{
    while (flock(get(), kind | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return false;
        }
        if (!patience.wait()) {
            errno = ETIMEDOUT;
            return false;
        }
    }
    is_locked_ = true;
    return true;
}

u32 LockedFile::open(const char* path, Access access, Patience& patience, int flags)
{
    const bool is_reader = access == Access::kRead;
    for (;;) {
        if (!OpenFiles::open(*this, path, open_flags(access) | flags)) {
            return errno == ENOENT ? ENOENT : log_failure("open", path);
        }
        if (!lock(is_reader ? LOCK_SH : LOCK_EX, patience) && !(is_reader && errno == ETIMEDOUT)) {
            const u32 code = log_failure("lock", path);
            close();
            return code;
        }
        if (fstat(get(), &status_) != 0) {
            const u32 code = log_failure("stat", path);
            close();
            return code;
        }
        if (!S_ISREG(status_.st_mode)) {
            close();
            errno = EINVAL;
            return log_failure("not a regular file:", path);
        }
        if (is_current(path)) {
            return 0;
        }
        close();
    }
}

bool LockedFile::is_current(const char* path) const
{
    struct stat now = {};
    return stat(path, &now) == 0 && now.st_dev == status_.st_dev && now.st_ino == status_.st_ino;
}

void LockedFile::close()
{
    if (is_open()) {
        (void)release().close();
    }
}

qsc::FileDescriptor LockedFile::release()
{
    if (std::exchange(is_locked_, false)) {
        (void)flock(get(), LOCK_UN); // closing alone would leave it with whoever else has the open file
    }
    OpenFiles::remove(*this);
    return std::move(descriptor_);
}

u32 LockedFile::read_once(const char* path, char* text, std::size_t& size) const
{
    const auto room = static_cast<std::size_t>(status_.st_size);
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

u32 LockedFile::read(const char* path, Arena& arena, char*& text, std::size_t& size) const
{
    text = arena.make_text(static_cast<std::size_t>(status_.st_size));
    if (text == nullptr) {
        return ENOMEM;
    }
    if (const u32 code = read_once(path, text, size); code != 0 || is_locked_) {
        return code;
    }
    // Two equal looks at the file. The marks alone do not tell two changes within one tick of the clock.
    char* const again = arena.make_text(static_cast<std::size_t>(status_.st_size));
    if (again == nullptr) {
        return ENOMEM;
    }
    std::size_t size_again = 0;
    if (const u32 code = read_once(path, again, size_again)) {
        return code;
    }
    struct stat now = {};
    const bool is_same = size == size_again && std::memcmp(text, again, size) == 0 && stat(path, &now) == 0 &&
                         has_same_marks(now, status_);
    return is_same ? 0 : EAGAIN;
}

} // namespace qrnuci
