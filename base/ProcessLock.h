// SPDX-License-Identifier: Apache-2.0
// Mutual exclusion between threads and processes.
#pragma once

#include <pthread.h>

#include "base/FileDescriptor.h"
#include "base/Types.h"

namespace qsc
{

/// Locks a mutex and a lock file for its lifetime. The file is created if necessary and not removed; a file
/// of another user is not accepted. Forked children do not inherit the lock.
class ProcessLock
{
  public:
    /// Waits for at most five seconds.
    ProcessLock(pthread_mutex_t& mutex, const char* path);
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;
    ~ProcessLock();

    /// 0 if locked, ETIMEDOUT if others hold the lock, EPERM if the file is not a regular file of our own
    /// that no one else may open, or another errno.
    [[nodiscard]] u32 code() const { return static_cast<u32>(error_); }

  private:
    pthread_mutex_t* mutex_ = nullptr;
    FileDescriptor file_{-1};
    int error_;
};

} // namespace qsc
