// SPDX-License-Identifier: Apache-2.0
// The ring buffer: its record, its state and its condition. BaCL_RingBufferBytes.cpp moves the bytes.
#include "include/bacl_ring_buffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bacl/RingBuffer.h"

using namespace qsc;

namespace
{

using Read = u32 (*)(BaCL_RingBuffer& ring);
using Change = void (*)(BaCL_RingBuffer& ring, u32 value);
using Use = u32 (*)(BaCL_RingBuffer& ring, const Caller& caller);

void release_storage(BaCL_RingBuffer& ring)
{
    std::free(ring.PtrBuffer);
    ring.PtrBuffer = nullptr;
    ring.BufferSize = ring.DataSize = ring.StartLoc = ring.Threshold = 0;
}

/// Sleeps the whole time, even if signals arrive.
void sleep_ms(u32 wait_ms)
{
    // usleep() takes too few microseconds for 32 bits of milliseconds.
    timespec rest{.tv_sec = static_cast<time_t>(wait_ms / 1000),
                  .tv_nsec = static_cast<long>(wait_ms % 1000) * 1'000'000};
    while (nanosleep(&rest, &rest) != 0 && errno == EINTR) {
    }
}

/// Reads a value under the mutex. @return 0 for a bad record or a failed lock
u32 get(BaCL_RingBuffer* ring, const Caller& caller, Read read)
{
    if (!has_state(ring, kInitialised)) {
        return reject(caller, 0);
    }
    const RingGuard guard{*ring, caller};
    return guard.error() == 0 ? read(*ring) : 0;
}

/// Changes the ring, under the mutex unless the caller has it.
u32 change(BaCL_RingBuffer* ring, const Caller& caller, Change apply, u32 value = 0, bool takes_mutex = true)
{
    if (!has_state(ring, kInitialised)) {
        return reject(caller);
    }
    const RingGuard guard{*ring, caller, takes_mutex};
    if (guard.error() == 0) {
        apply(*ring, value);
    }
    return guard.error();
}

u32 wait(BaCL_RingBuffer& ring, const Caller& caller)
{
    return check_pthread(caller, pthread_cond_wait(&ring.Condition, &ring.Mutex), "pthread_cond_wait");
}

/// Uses the condition. The caller has the mutex.
u32 use_condition(BaCL_RingBuffer* ring, const Caller& caller, Use use)
{
    return has_state(ring, kAvailable) ? use(*ring, caller) : reject(caller);
}

/// Uses the condition under the mutex. An unlock that fails is a failure as well.
u32 use_condition_locked(BaCL_RingBuffer* ring, const Caller& caller, Use use)
{
    if (!has_state(ring, kAvailable)) {
        return reject(caller);
    }
    RingGuard guard{*ring, caller};
    if (guard.error() != 0) {
        return guard.error();
    }
    const u32 code = use(*ring, caller);
    return code | guard.unlock();
}

} // namespace

uint32_t BaCL_RingBuf_Init(BaCL_RingBuffer* ring)
{
    if (ring == nullptr) {
        return reject(QSC_CALLER);
    }
    std::memset(ring, 0, sizeof *ring);
    const Caller caller = QSC_CALLER;
    if (const u32 code =
            check_pthread(caller, pthread_mutex_init(&ring->Mutex, nullptr), "pthread_mutex_init")) {
        return code;
    }
    if (const u32 code =
            check_pthread(caller, pthread_cond_init(&ring->Condition, nullptr), "pthread_cond_init")) {
        (void)pthread_mutex_destroy(&ring->Mutex);
        return code;
    }
    store(ring->State, kInitialised);
    return 0;
}

uint32_t BaCL_RingBuf_AllocateBuffer(BaCL_RingBuffer* ring, uint32_t size)
{
    if (!has_state(ring, kInitialised) || size == 0) {
        return reject(QSC_CALLER);
    }
    const RingGuard guard{*ring, QSC_CALLER};
    if (guard.error() != 0) {
        return guard.error();
    }
    ring->DataSize = ring->StartLoc = 0;
    if (size == ring->BufferSize) {
        return 0;
    }
    const u32 threshold = std::min(ring->Threshold, size);
    release_storage(*ring);
    ring->PtrBuffer = static_cast<u8*>(std::malloc(size));
    if (ring->PtrBuffer == nullptr) {
        QSC_LOG(kLogError, "malloc, error %d\n", ENOMEM);
        return ENOMEM;
    }
    ring->BufferSize = size;
    ring->Threshold = threshold;
    return 0;
}

uint32_t BaCL_RingBuf_FreeBuffer(BaCL_RingBuffer* ring)
{
    return BaCL_RingBuf_FreeBuffer_WM(ring, 1);
}

uint32_t BaCL_RingBuf_FreeBuffer_WM(BaCL_RingBuffer* ring, int32_t takeMutex)
{
    constexpr Change apply = [](BaCL_RingBuffer& it, u32) { release_storage(it); };
    return change(ring, QSC_CALLER, apply, 0, takeMutex != 0);
}

uint32_t BaCL_RingBuf_ClearBuffer(BaCL_RingBuffer* ring)
{
    return change(ring, QSC_CALLER, [](BaCL_RingBuffer& it, u32) { it.DataSize = it.StartLoc = 0; });
}

uint32_t BaCL_RingBuf_Close(BaCL_RingBuffer* ring, uint32_t waitMs)
{
    if (!has_state(ring, kInitialised)) {
        return reject(QSC_CALLER);
    }
    (void)BaCL_RingBuf_ClearState(ring, BACL_RING_ENABLED);
    // Threads that wait below the threshold must leave too: a condition with waiters cannot be destroyed.
    (void)pthread_cond_broadcast(&ring->Condition);
    if (waitMs != 0) {
        sleep_ms(waitMs);
    }
    const Caller caller = QSC_CALLER;
    {
        // Even without the lock: no one else will free the storage.
        const RingGuard guard{*ring, caller};
        release_storage(*ring);
    }
    ring->StateFlag = 0;
    store(ring->State, 0);
    (void)check_pthread(caller, pthread_cond_destroy(&ring->Condition), "pthread_cond_destroy", kLogWarning);
    (void)check_pthread(caller, pthread_mutex_destroy(&ring->Mutex), "pthread_mutex_destroy", kLogWarning);
    return 0;
}

uint32_t BaCL_RingBuf_SetThreshold(BaCL_RingBuffer* ring, uint32_t threshold)
{
    constexpr Change apply = [](BaCL_RingBuffer& it, u32 value) {
        it.Threshold = std::min(value, it.BufferSize);
        if (has_reached_threshold(it)) {
            (void)signal(it, Caller{kModule, "BaCL_RingBuf_SetThreshold", __LINE__});
        }
    };
    return change(ring, QSC_CALLER, apply, threshold);
}

uint32_t BaCL_RingBuf_GetThreshold(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return it.Threshold; });
}

uint32_t BaCL_RingBuf_SetState(BaCL_RingBuffer* ring, uint32_t bits)
{
    constexpr Change set = [](BaCL_RingBuffer& it, u32 value) { change_bits(it.State, value, 0); };
    return change(ring, QSC_CALLER, set, bits & 7);
}

uint32_t BaCL_RingBuf_ClearState(BaCL_RingBuffer* ring, uint32_t bits)
{
    if (!has_state(ring, kInitialised)) {
        return reject(QSC_CALLER);
    }
    const Caller caller = QSC_CALLER;
    // Even without the lock: a ring must always be able to end.
    const RingGuard guard{*ring, caller, true, kLogWarning};
    change_bits(ring->State, 0, bits & 7);
    if (has_reached_threshold(*ring) && signal(*ring, caller) == 0) {
        ring->StateFlag &= ~BACL_RING_NO_OVERWRITE;
    }
    return 0;
}

uint32_t BaCL_RingBuf_GetState(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return load(it.State); });
}

uint32_t BaCL_RingBuf_SetStateFlag(BaCL_RingBuffer* ring, uint32_t bits)
{
    constexpr Change set = [](BaCL_RingBuffer& it, u32 value) { it.StateFlag |= value; };
    return change(ring, QSC_CALLER, set, bits & 1);
}

uint32_t BaCL_RingBuf_ClearStateFlag(BaCL_RingBuffer* ring, uint32_t bits)
{
    constexpr Change clear = [](BaCL_RingBuffer& it, u32 value) { it.StateFlag &= ~value; };
    return change(ring, QSC_CALLER, clear, bits & 1);
}

uint32_t BaCL_RingBuf_GetStateFlag(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return it.StateFlag; });
}

uint32_t BaCL_RingBuf_GetDataSize(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return it.DataSize; });
}

uint32_t BaCL_RingBuf_GetBufferSize(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return it.BufferSize; });
}

uint32_t BaCL_RingBuf_IsAvailable(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return has_state(&it, kAvailable) ? 1u : 0u; });
}

uint32_t BaCL_RingBuf_IsBufferEmpty(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) { return it.DataSize == 0 ? 1u : 0u; });
}

uint32_t BaCL_RingBuf_IsBufferFull(BaCL_RingBuffer* ring)
{
    return get(ring, QSC_CALLER, [](BaCL_RingBuffer& it) {
        return it.BufferSize != 0 && it.BufferSize == it.DataSize ? 1u : 0u;
    });
}

uint32_t BaCL_RingBuf_ThreadCondWait(BaCL_RingBuffer* ring)
{
    return use_condition(ring, QSC_CALLER, wait);
}

uint32_t BaCL_RingBuf_ThreadCondWait_CF(BaCL_RingBuffer* ring)
{
    return use_condition_locked(ring, QSC_CALLER, wait);
}

uint32_t BaCL_RingBuf_ThreadCondSignal(BaCL_RingBuffer* ring)
{
    return use_condition(ring, QSC_CALLER, signal);
}

uint32_t BaCL_RingBuf_ThreadCondSignal_CF(BaCL_RingBuffer* ring)
{
    return use_condition_locked(ring, QSC_CALLER, signal);
}

uint32_t BaCL_RingBuf_ThreadMuxLock(BaCL_RingBuffer* ring, int32_t lock)
{
    if (!has_state(ring, kInitialised)) {
        return reject(QSC_CALLER);
    }
    const Caller caller = QSC_CALLER;
    if (lock == 0) {
        (void)check_pthread(caller, pthread_mutex_unlock(&ring->Mutex), "pthread_mutex_unlock", kLogWarning);
        return 0;
    }
    if (!has_state(ring, kAvailable)) {
        QSC_LOG(kLogError, "not enabled\n");
        return EFAULT;
    }
    const int error = pthread_mutex_lock(&ring->Mutex);
    if (error != 0) {
        log_pthread_error(caller, RingGuard::kShownError, "pthread_mutex_lock", kLogError);
    }
    return static_cast<u32>(error);
}
