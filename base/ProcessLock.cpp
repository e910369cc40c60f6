// SPDX-License-Identifier: Apache-2.0
#include "base/ProcessLock.h"

#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <sys/stat.h>

namespace qsc
{

namespace
{

constexpr long kWait_s = 5;
constexpr long kPause_ns = 2'000'000;

bool is_past(const timespec& moment)
{
    timespec now = {};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec > moment.tv_sec || (now.tv_sec == moment.tv_sec && now.tv_nsec > moment.tv_nsec);
}

/// Whether no other user can have created the file or can open it: anyone who opens it could lock it for
/// ever.
bool is_ours(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & 0077) == 0;
}

/// Locks a file for this process; children do not inherit the lock.
int lock_until(int descriptor, const timespec& deadline)
{
    struct flock whole = {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    while (fcntl(descriptor, F_SETLK, &whole) != 0) {
        if (errno != EACCES && errno != EAGAIN && errno != EINTR) {
            return errno;
        }
        if (is_past(deadline)) {
            return ETIMEDOUT;
        }
        const timespec pause{0, kPause_ns};
        (void)nanosleep(&pause, nullptr);
    }
    return 0;
}

} // namespace

ProcessLock::ProcessLock(pthread_mutex_t& mutex, const char* path)
{
    timespec deadline = {};
    (void)clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += kWait_s;
    error_ = pthread_mutex_timedlock(&mutex, &deadline);
    if (error_ != 0) {
        return;
    }
    mutex_ = &mutex;
    file_.replace(open_file(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, 0600));
    error_ = !file_.is_open() ? errno : !is_ours(file_.get()) ? EPERM : lock_until(file_.get(), deadline);
}

ProcessLock::~ProcessLock()
{
    (void)file_
        .close(); // before another thread opens it: closing releases all locks of the process on the file
    if (mutex_ != nullptr) {
        (void)pthread_mutex_unlock(mutex_);
    }
}

} // namespace qsc
