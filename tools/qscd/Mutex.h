// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

namespace qscd
{

/// Holds a mutex of the daemon's own until it goes out of scope. Such a lock cannot fail.
class Locked
{
  public:
    explicit Locked(pthread_mutex_t& mutex) : mutex_(mutex) { (void)pthread_mutex_lock(&mutex_); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() { (void)pthread_mutex_unlock(&mutex_); }

  private:
    pthread_mutex_t& mutex_;
};

} // namespace qscd
