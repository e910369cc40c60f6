// SPDX-License-Identifier: Apache-2.0
// What the two halves of the ring buffer share: its states, its mutex, its condition.
#pragma once

#include "bacl/Pthread.h"
#include "include/bacl_ring_buffer.h"

namespace qsc
{

inline constexpr const char* kModule = "BaCL_RingBuffer";

constexpr u32 kInitialised = BACL_RING_INITIALISED;
constexpr u32 kAvailable = BACL_RING_INITIALISED | BACL_RING_ENABLED;

/// Locks a ring's mutex.
class RingGuard : public MutexGuard
{
  public:
    /// @param take  false: the caller holds the mutex already
    RingGuard(BaCL_RingBuffer& ring, const Caller& caller, bool take = true, LogLevel level = kLogError)
        : MutexGuard(take ? &ring.Mutex : nullptr, caller, level, kShownError)
    {
    }

    /// Error number that the log shows for any failed lock.
    static constexpr int kShownError = EFAULT;
};

inline bool has_state(BaCL_RingBuffer* ring, u32 bits)
{
    return ring != nullptr && (load(ring->State) & bits) == bits;
}

inline u32 signal(BaCL_RingBuffer& ring, const Caller& caller)
{
    return check_pthread(caller, pthread_cond_signal(&ring.Condition), "pthread_cond_signal", kLogWarning);
}

inline bool has_reached_threshold(const BaCL_RingBuffer& ring)
{
    return ring.Threshold != 0 && ring.DataSize >= ring.Threshold;
}

} // namespace qsc
