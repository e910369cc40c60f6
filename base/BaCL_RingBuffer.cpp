// SPDX-License-Identifier: Apache-2.0
// The ring buffer: bytes from a producer to a consumer who is woken at a threshold.
#include "include/bacl_ring_buffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "base/Pthread.h"

using namespace qsc;

namespace
{

constexpr const char* kModule = "BaCL_RingBuffer";

bool has_state(BaCL_RingBuffer* ring, u32 bits)
{
    return ring != nullptr && (load(ring->State) & bits) == bits;
}

constexpr u32 kInitialised = BACL_RING_INITIALISED;
constexpr u32 kAvailable = BACL_RING_INITIALISED | BACL_RING_ENABLED;

/// Ends a function whose lock failed.
#define HOLD(RING, TAKE, RESULT)                                                                             \
    const Held held{(RING)->Mutex, QSC_PTHREAD_LOG, TAKE};                                                   \
    if (held.code() != 0) {                                                                                  \
        return RESULT;                                                                                       \
    }

u32 signal(BaCL_RingBuffer& ring, const PthreadLog& log)
{
    return log.told(pthread_cond_signal(&ring.Condition), "pthread_cond_signal", kLogWarning);
}

bool has_reached_threshold(const BaCL_RingBuffer& ring)
{
    return ring.Threshold != 0 && ring.DataSize >= ring.Threshold;
}

void release_storage(BaCL_RingBuffer& ring)
{
    std::free(ring.PtrBuffer);
    ring.PtrBuffer = nullptr;
    ring.BufferSize = ring.DataSize = ring.StartLoc = 0;
}

/// A place in the storage, for one that may lie behind its end. Once around is the rule, and a division is
/// dear.
u32 wrap(const BaCL_RingBuffer& ring, u64 place)
{
    if (place < ring.BufferSize) {
        return static_cast<u32>(place);
    }
    const u64 once = place - ring.BufferSize;
    return static_cast<u32>(once < ring.BufferSize ? once : once % ring.BufferSize);
}

/// Calls copy(place in the storage, offset, count) for one or two pieces that do not cross its end.
template <typename Copy>
void in_pieces(const BaCL_RingBuffer& ring, u64 place, u32 count, Copy copy)
{
    const u32 begin = wrap(ring, place);
    const u32 first = std::min(count, ring.BufferSize - begin);
    copy(ring.PtrBuffer + begin, 0u, first);
    if (first < count) {
        copy(ring.PtrBuffer, first, count - first);
    }
}

u32 push(BaCL_RingBuffer& ring, const void* data, u32 count, const PthreadLog& log)
{
    const bool fits = u64{ring.DataSize} + count <= ring.BufferSize;
    if (!fits && (ring.BufferSize == 0 || (ring.StateFlag & BACL_RING_NO_OVERWRITE) != 0)) {
        Qslog_Log(kLogError, kModule, __LINE__, "BaCL_RingBuf_Push_WM",
                  "too many data (%u), buffer is too small, %u %u\n", count, ring.BufferSize, ring.DataSize);
        return EFAULT;
    }
    // Of more than the ring holds, only the last bytes stay: the others need not be written.
    const u32 skipped = count > ring.BufferSize ? count - ring.BufferSize : 0;
    const u64 end = u64{ring.StartLoc} + ring.DataSize + count;
    const auto* const bytes = static_cast<const u8*>(data) + skipped;
    in_pieces(ring, end - count + skipped, count - skipped,
              [&](u8* place, u32 offset, u32 size) { std::memcpy(place, bytes + offset, size); });
    if (fits) {
        ring.DataSize += count;
    } else {
        ring.DataSize = ring.BufferSize;
        ring.StartLoc = wrap(ring, end);
    }
    if (has_reached_threshold(ring)) {
        (void)signal(ring, log);
    }
    return 0;
}

u32 pop(BaCL_RingBuffer& ring, void* data, u32 count)
{
    if (count > ring.DataSize) {
        Qslog_Log(kLogError, kModule, __LINE__, "BaCL_RingBuf_Pop_WM",
                  "DataSize (%u) is too small for ouput size %u\n", ring.DataSize, count);
        return EFAULT;
    }
    auto* const bytes = static_cast<u8*>(data);
    in_pieces(ring, ring.StartLoc, count,
              [&](const u8* place, u32 offset, u32 size) { std::memcpy(bytes + offset, place, size); });
    ring.StartLoc = wrap(ring, u64{ring.StartLoc} + count);
    ring.DataSize -= count;
    return 0;
}

/// Reads a value under the mutex; 0 for a bad record.
template <typename Read>
u32 get(BaCL_RingBuffer* ring, const char* function, Read read)
{
    if (!has_state(ring, kInitialised)) {
        Qslog_Log(kLogError, kModule, __LINE__, function, "parameter\n");
        return 0;
    }
    const Held held{ring->Mutex, PthreadLog{kModule, function, __LINE__}};
    return held.code() == 0 ? read(*ring) : 0;
}

/// Changes something under the mutex.
template <typename Change>
u32 change(BaCL_RingBuffer* ring, const char* function, Change apply)
{
    if (!has_state(ring, kInitialised)) {
        Qslog_Log(kLogError, kModule, __LINE__, function, "parameter\n");
        return EINVAL;
    }
    const Held held{ring->Mutex, PthreadLog{kModule, function, __LINE__}};
    if (held.code() == 0) {
        apply(*ring);
    }
    return held.code();
}

} // namespace

uint32_t BaCL_RingBuf_Init(BaCL_RingBuffer* ring)
{
    QSC_REFUSE_UNLESS(ring != nullptr, EINVAL);
    std::memset(ring, 0, sizeof *ring);
    const PthreadLog log = QSC_PTHREAD_LOG;
    if (const u32 code = log.told(pthread_mutex_init(&ring->Mutex, nullptr), "pthread_mutex_init")) {
        return code;
    }
    if (const u32 code = log.told(pthread_cond_init(&ring->Condition, nullptr), "pthread_cond_init")) {
        (void)pthread_mutex_destroy(&ring->Mutex);
        return code;
    }
    store(ring->State, kInitialised);
    return 0;
}

uint32_t BaCL_RingBuf_AllocateBuffer(BaCL_RingBuffer* ring, uint32_t size)
{
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised) && size != 0, EINVAL);
    HOLD(ring, true, held.code());
    ring->DataSize = ring->StartLoc = 0;
    if (size == ring->BufferSize) {
        return 0;
    }
    release_storage(*ring);
    ring->PtrBuffer = static_cast<u8*>(std::malloc(size));
    if (ring->PtrBuffer == nullptr) {
        QSC_LOG(kLogError, "malloc, error %d\n", ENOMEM);
        return ENOMEM;
    }
    ring->BufferSize = size;
    ring->Threshold = std::min(ring->Threshold, size);
    return 0;
}

uint32_t BaCL_RingBuf_FreeBuffer(BaCL_RingBuffer* ring)
{
    return BaCL_RingBuf_FreeBuffer_WM(ring, 1);
}

uint32_t BaCL_RingBuf_FreeBuffer_WM(BaCL_RingBuffer* ring, int32_t takeMutex)
{
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised), EINVAL);
    HOLD(ring, takeMutex != 0, held.code());
    release_storage(*ring);
    return 0;
}

uint32_t BaCL_RingBuf_ClearBuffer(BaCL_RingBuffer* ring)
{
    return change(ring, __func__, [](BaCL_RingBuffer& it) { it.DataSize = it.StartLoc = 0; });
}

uint32_t BaCL_RingBuf_Close(BaCL_RingBuffer* ring, uint32_t waitMs)
{
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised), EINVAL);
    (void)BaCL_RingBuf_ClearState(ring, BACL_RING_ENABLED);
    // Whoever waits below the threshold must leave as well: a condition with waiters cannot be destroyed.
    (void)pthread_cond_broadcast(&ring->Condition);
    if (waitMs != 0) {
        // Not usleep(): weeks of milliseconds are more microseconds than it takes.
        const timespec pause{.tv_sec = static_cast<time_t>(waitMs / 1000),
                             .tv_nsec = long{1'000'000} * (waitMs % 1000)};
        (void)nanosleep(&pause, nullptr);
    }
    (void)BaCL_RingBuf_FreeBuffer(ring);
    ring->StateFlag = 0;
    store(ring->State, 0);
    const PthreadLog log = QSC_PTHREAD_LOG;
    (void)log.told(pthread_cond_destroy(&ring->Condition), "pthread_cond_destroy", kLogWarning);
    (void)log.told(pthread_mutex_destroy(&ring->Mutex), "pthread_mutex_destroy", kLogWarning);
    return 0;
}

uint32_t BaCL_RingBuf_Push(BaCL_RingBuffer* ring, const void* data, int32_t count)
{
    return BaCL_RingBuf_Push_WM(ring, data, count, 1);
}

uint32_t BaCL_RingBuf_Push_WM(BaCL_RingBuffer* ring, const void* data, int32_t count, int32_t takeMutex)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable) && data != nullptr && count > 0, EINVAL);
    HOLD(ring, takeMutex != 0, held.code());
    return push(*ring, data, static_cast<u32>(count), QSC_PTHREAD_LOG);
}

uint32_t BaCL_RingBuf_PushAvailable(BaCL_RingBuffer* ring, const void* data, uint32_t count)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable) && data != nullptr && count != 0, 0);
    HOLD(ring, true, 0);
    const u32 free = ring->BufferSize - ring->DataSize;
    if (free == 0) {
        return 0;
    }
    if (const u32 code = push(*ring, data, free, QSC_PTHREAD_LOG)) {
        QSC_LOG(kLogError, "BaCL_RingBuf_Push_WM, error %d\n", static_cast<i32>(code));
        return 0;
    }
    return free;
}

uint32_t BaCL_RingBuf_Pop(BaCL_RingBuffer* ring, void* data, uint32_t count)
{
    return BaCL_RingBuf_Pop_WM(ring, data, count, 1);
}

uint32_t BaCL_RingBuf_Pop_WM(BaCL_RingBuffer* ring, void* data, uint32_t count, int32_t takeMutex)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable) && data != nullptr && count != 0, EINVAL);
    HOLD(ring, takeMutex != 0, held.code());
    return pop(*ring, data, count);
}

uint32_t BaCL_RingBuf_PopAvailable(BaCL_RingBuffer* ring, void* data, uint32_t count)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable) && data != nullptr && count != 0, 0);
    HOLD(ring, true, 0);
    const u32 taken = std::min(count, ring->DataSize);
    if (taken == 0) {
        return 0;
    }
    if (const u32 code = pop(*ring, data, taken)) {
        QSC_LOG(kLogError, "BaCL_RingBuf_Pop_WM, error %d\n", static_cast<i32>(code));
        return 0;
    }
    return taken;
}

uint32_t BaCL_RingBuf_SetThreshold(BaCL_RingBuffer* ring, uint32_t threshold)
{
    return change(ring, __func__, [&](BaCL_RingBuffer& it) {
        it.Threshold = std::min(threshold, it.BufferSize);
        if (has_reached_threshold(it)) {
            (void)signal(it, PthreadLog{kModule, "BaCL_RingBuf_SetThreshold", __LINE__});
        }
    });
}

uint32_t BaCL_RingBuf_GetThreshold(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) { return it.Threshold; });
}

uint32_t BaCL_RingBuf_SetState(BaCL_RingBuffer* ring, uint32_t bits)
{
    return change(ring, __func__, [&](BaCL_RingBuffer& it) { change_bits(it.State, bits & 7, 0); });
}

uint32_t BaCL_RingBuf_ClearState(BaCL_RingBuffer* ring, uint32_t bits)
{
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised), EINVAL);
    const PthreadLog log = QSC_PTHREAD_LOG;
    // Without the lock as well: whoever ends a ring must be able to.
    const Held held{ring->Mutex, log, true, kLogWarning};
    change_bits(ring->State, 0, bits & 7);
    if (has_reached_threshold(*ring) && signal(*ring, log) == 0) {
        ring->StateFlag &= ~BACL_RING_NO_OVERWRITE;
    }
    return 0;
}

uint32_t BaCL_RingBuf_GetState(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](BaCL_RingBuffer& it) { return load(it.State); });
}

uint32_t BaCL_RingBuf_SetStateFlag(BaCL_RingBuffer* ring, uint32_t bits)
{
    return change(ring, __func__, [&](BaCL_RingBuffer& it) { it.StateFlag |= bits & 1; });
}

uint32_t BaCL_RingBuf_ClearStateFlag(BaCL_RingBuffer* ring, uint32_t bits)
{
    return change(ring, __func__, [&](BaCL_RingBuffer& it) { it.StateFlag &= ~(bits & 1); });
}

uint32_t BaCL_RingBuf_GetStateFlag(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) { return it.StateFlag; });
}

uint32_t BaCL_RingBuf_GetDataSize(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) { return it.DataSize; });
}

uint32_t BaCL_RingBuf_GetBufferSize(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) { return it.BufferSize; });
}

uint32_t BaCL_RingBuf_IsAvailable(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](BaCL_RingBuffer& it) { return has_state(&it, kAvailable) ? 1u : 0u; });
}

uint32_t BaCL_RingBuf_IsBufferEmpty(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) { return it.DataSize == 0 ? 1u : 0u; });
}

uint32_t BaCL_RingBuf_IsBufferFull(BaCL_RingBuffer* ring)
{
    return get(ring, __func__, [](const BaCL_RingBuffer& it) {
        return it.BufferSize != 0 && it.BufferSize == it.DataSize ? 1u : 0u;
    });
}

uint32_t BaCL_RingBuf_ThreadCondWait(BaCL_RingBuffer* ring)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable), EINVAL);
    return QSC_PTHREAD_LOG.told(pthread_cond_wait(&ring->Condition, &ring->Mutex), "pthread_cond_wait");
}

uint32_t BaCL_RingBuf_ThreadCondWait_CF(BaCL_RingBuffer* ring)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable), EINVAL);
    const PthreadLog log = QSC_PTHREAD_LOG;
    Held held{ring->Mutex, log};
    if (held.code() != 0) {
        return held.code();
    }
    const u32 waited = log.told(pthread_cond_wait(&ring->Condition, &ring->Mutex), "pthread_cond_wait");
    return waited | held.release();
}

uint32_t BaCL_RingBuf_ThreadCondSignal(BaCL_RingBuffer* ring)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable), EINVAL);
    return signal(*ring, QSC_PTHREAD_LOG);
}

uint32_t BaCL_RingBuf_ThreadCondSignal_CF(BaCL_RingBuffer* ring)
{
    QSC_REFUSE_UNLESS(has_state(ring, kAvailable), EINVAL);
    const PthreadLog log = QSC_PTHREAD_LOG;
    Held held{ring->Mutex, log};
    if (held.code() != 0) {
        return held.code();
    }
    const u32 signalled = signal(*ring, log);
    return signalled | held.release();
}

uint32_t BaCL_RingBuf_ThreadMuxLock(BaCL_RingBuffer* ring, int32_t lock)
{
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised), EINVAL);
    const PthreadLog log = QSC_PTHREAD_LOG;
    if (lock == 0) {
        return log.told(pthread_mutex_unlock(&ring->Mutex), "pthread_mutex_unlock", kLogWarning);
    }
    if (!has_state(ring, kAvailable)) {
        QSC_LOG(kLogError, "not enabled\n");
        return EFAULT;
    }
    return log.told_lock(pthread_mutex_lock(&ring->Mutex));
}

uint32_t BaCL_RingBuf_Print(BaCL_RingBuffer* ring, const char* title)
{
    if (ring == nullptr) {
        QSC_LOG(kLogWarning, "pointer is NULL\n");
        return EINVAL;
    }
    QSC_REFUSE_UNLESS(has_state(ring, kInitialised), EINVAL);
    HOLD(ring, true, held.code());
    if (title != nullptr && *title != '\0') {
        QSC_LOG(kLogDebug, "%s (BaCL_RingBuffer):\n", title);
    } else {
        QSC_LOG(kLogDebug, "BaCL_RingBuffer:\n");
    }
    QSC_LOG(kLogDebug, "State 0x%X\n", load(ring->State));
    QSC_LOG(kLogDebug, "PtrBuffer %p\n", static_cast<void*>(ring->PtrBuffer));
    QSC_LOG(kLogDebug, "BufferSize %u\n", ring->BufferSize);
    QSC_LOG(kLogDebug, "DataSize %u\n", ring->DataSize);
    QSC_LOG(kLogDebug, "StartLoc %u\n", ring->StartLoc);
    QSC_LOG(kLogDebug, "Threshold %u\n", ring->Threshold);
    // A copy, because the bytes may cross the storage's end.
    auto* const bytes = static_cast<u8*>(std::malloc(u64{ring->DataSize} + 1));
    if (bytes == nullptr) {
        return ENOMEM;
    }
    if (ring->DataSize != 0) {
        in_pieces(*ring, ring->StartLoc, ring->DataSize,
                  [&](const u8* place, u32 offset, u32 size) { std::memcpy(bytes + offset, place, size); });
    }
    (void)Qslog_HexDump(kLogDebug, kModule, __LINE__, __func__, "Buffer", bytes, ring->DataSize, 0);
    std::free(bytes);
    return 0;
}
