// SPDX-License-Identifier: Apache-2.0
// What the two halves of the ring buffer share: its states, its lock, its signal.
#pragma once

#include <cerrno>

#include "bacl/Pthread.h"
#include "include/bacl_ring_buffer.h"

namespace qsc
{

inline constexpr const char* kModule = "BaCL_RingBuffer";

constexpr u32 kInitialised = BACL_RING_INITIALISED;
constexpr u32 kAvailable = BACL_RING_INITIALISED | BACL_RING_ENABLED;

/// What a ring's log shows of a lock that failed, whatever its error.
constexpr int kShownLockError = EFAULT;

/// Holds a ring's mutex.
class RingHeld : public Held
{
  public:
    RingHeld(BaCL_RingBuffer& ring, const PthreadLog& log, bool take = true, LogLevel level = kLogError)
        : Held(ring.Mutex, log, take, level, kShownLockError)
    {
    }
};

inline bool has_state(BaCL_RingBuffer* ring, u32 bits)
{
    return ring != nullptr && (load(ring->State) & bits) == bits;
}

inline u32 signal(BaCL_RingBuffer& ring, const PthreadLog& log)
{
    return log.told(pthread_cond_signal(&ring.Condition), "pthread_cond_signal", kLogWarning);
}

inline bool has_reached_threshold(const BaCL_RingBuffer& ring)
{
    return ring.Threshold != 0 && ring.DataSize >= ring.Threshold;
}

} // namespace qsc

/// Ends a function whose lock failed.
#define HOLD(RING, TAKE, RESULT)                                                                             \
    const RingHeld held{*(RING), QSC_PTHREAD_LOG, TAKE};                                                     \
    if (held.code() != 0) {                                                                                  \
        return RESULT;                                                                                       \
    }
