// SPDX-License-Identifier: Apache-2.0
// The ring buffer: pushing and popping bytes.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "bacl/RingBuffer.h"

using namespace qsc;

namespace
{

/// Maps a place that may lie beyond the storage's end to the place that it wraps around to. It is rarely more
/// than once around, and a division is expensive.
u32 wrap(const BaCL_RingBuffer& ring, u64 place)
{
    if (place < ring.BufferSize) {
        return static_cast<u32>(place);
    }
    const u64 once = place - ring.BufferSize;
    return static_cast<u32>(once < ring.BufferSize ? once : once % ring.BufferSize);
}

/// Splits a range of the storage where it wraps around, and calls copy(place, offset, count) for each piece.
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

u32 push(BaCL_RingBuffer& ring, const void* data, u32 count, const Caller& caller)
{
    const bool fits = u64{ring.DataSize} + count <= ring.BufferSize;
    if (!fits && (ring.BufferSize == 0 || (ring.StateFlag & BACL_RING_NO_OVERWRITE) != 0)) {
        Qslog_Log(kLogError, kModule, __LINE__, "BaCL_RingBuf_Push_WM",
                  "too many data (%u), buffer is too small, %u %u\n", count, ring.BufferSize, ring.DataSize);
        return EFAULT;
    }
    // Of more bytes than fit into the storage, only the last ones are kept.
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
        (void)signal(ring, caller);
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

} // namespace

uint32_t BaCL_RingBuf_Push(BaCL_RingBuffer* ring, const void* data, int32_t count)
{
    return BaCL_RingBuf_Push_WM(ring, data, count, 1);
}

uint32_t BaCL_RingBuf_Push_WM(BaCL_RingBuffer* ring, const void* data, int32_t count, int32_t takeMutex)
{
    if (!has_state(ring, kAvailable) || data == nullptr || count <= 0) {
        return reject(QSC_CALLER);
    }
    const RingGuard guard{*ring, QSC_CALLER, takeMutex != 0};
    if (guard.error() != 0) {
        return guard.error();
    }
    return push(*ring, data, static_cast<u32>(count), QSC_CALLER);
}

uint32_t BaCL_RingBuf_PushAvailable(BaCL_RingBuffer* ring, const void* data, uint32_t count)
{
    if (!has_state(ring, kAvailable) || data == nullptr || count == 0) {
        return reject(QSC_CALLER, 0);
    }
    const RingGuard guard{*ring, QSC_CALLER};
    if (guard.error() != 0) {
        return 0;
    }
    const u32 free = ring->BufferSize - ring->DataSize;
    if (free == 0) {
        return 0;
    }
    if (const u32 code = BaCL_RingBuf_Push_WM(ring, data, static_cast<i32>(free), 0)) {
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
    if (!has_state(ring, kAvailable) || data == nullptr || count == 0) {
        return reject(QSC_CALLER);
    }
    const RingGuard guard{*ring, QSC_CALLER, takeMutex != 0};
    if (guard.error() != 0) {
        return guard.error();
    }
    return pop(*ring, data, count);
}

uint32_t BaCL_RingBuf_PopAvailable(BaCL_RingBuffer* ring, void* data, uint32_t count)
{
    if (!has_state(ring, kAvailable) || data == nullptr || count == 0) {
        return reject(QSC_CALLER, 0);
    }
    const RingGuard guard{*ring, QSC_CALLER};
    if (guard.error() != 0) {
        return 0;
    }
    const u32 taken = std::min(count, ring->DataSize);
    if (taken == 0) {
        return 0;
    }
    if (const u32 code = BaCL_RingBuf_Pop_WM(ring, data, taken, 0)) {
        QSC_LOG(kLogError, "BaCL_RingBuf_Pop_WM, error %d\n", static_cast<i32>(code));
        return 0;
    }
    return taken;
}

uint32_t BaCL_RingBuf_Print(BaCL_RingBuffer* ring, const char* title)
{
    if (ring == nullptr) {
        QSC_LOG(kLogWarning, "pointer is NULL\n");
        return EINVAL;
    }
    if (!has_state(ring, kInitialised)) {
        return reject(QSC_CALLER);
    }
    const RingGuard guard{*ring, QSC_CALLER};
    if (guard.error() != 0) {
        return guard.error();
    }
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
    // Copied, because the bytes may wrap around.
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
