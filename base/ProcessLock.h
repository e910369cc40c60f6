// SPDX-License-Identifier: Apache-2.0
// Keeps other threads and other processes out of what only one at a time may do.
#pragma once

#include <pthread.h>

#include "base/FileDescriptor.h"
#include "base/Types.h"

namespace qsc
{

/// Holds a mutex and the lock of a file of our own until it goes out of scope. The file is made when it is
/// not there, and stays; one that somebody else has put in its place is no lock. A child that is forked
/// meanwhile keeps nothing locked.
class ProcessLock
{
  public:
    /// Waits up to five seconds.
    ProcessLock(pthread_mutex_t& mutex, const char* path);
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;
    ~ProcessLock();

    /// 0: it is held; ETIMEDOUT: others hold it; EPERM: the file is not ours, or no plain file; else an
    /// errno.
    [[nodiscard]] u32 code() const { return static_cast<u32>(error_); }

  private:
    pthread_mutex_t* mutex_ = nullptr;
    FileDescriptor file_{-1};
    int error_;
};

} // namespace qsc
