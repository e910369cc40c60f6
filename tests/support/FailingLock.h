// SPDX-License-Identifier: Apache-2.0
// A lock that fails: a record's mutex, held by a thread that then asks for it once more.
#pragma once

#include <pthread.h>

namespace test
{

class FailingLock
{
  public:
    explicit FailingLock(pthread_mutex_t& mutex) : mutex_(mutex)
    {
        pthread_mutexattr_t checked;
        pthread_mutexattr_init(&checked);
        pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_destroy(&mutex_);
        pthread_mutex_init(&mutex_, &checked);
        pthread_mutexattr_destroy(&checked);
        pthread_mutex_lock(&mutex_);
    }
    FailingLock(const FailingLock&) = delete;
    FailingLock& operator=(const FailingLock&) = delete;
    ~FailingLock() { pthread_mutex_unlock(&mutex_); }

  private:
    pthread_mutex_t& mutex_;
};

} // namespace test
