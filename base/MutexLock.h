// SPDX-License-Identifier: Apache-2.0
// Holds a mutex of our own, which does not fail.
#pragma once

#include <pthread.h>

namespace qsc
{

class MutexLock
{
  public:
    explicit MutexLock(pthread_mutex_t& mutex) : mutex_(mutex) { (void)pthread_mutex_lock(&mutex_); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() { (void)pthread_mutex_unlock(&mutex_); }

  private:
    pthread_mutex_t& mutex_;
};

} // namespace qsc
