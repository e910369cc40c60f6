/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's ring buffer: passes bytes from a producer thread to a consumer thread, which is
 * woken when a threshold is reached. qsc_types.h states the conventions.
 *
 * The caller owns the record; the ring owns its storage. Life cycle: Init, AllocateBuffer, SetState(2),
 * pushes and pops, Close. All functions reject a null or uninitialised record with 22, or with 0 where they
 * return a value, and log "parameter"; pushes, pops and the condition functions also reject a ring that is
 * not enabled.
 *
 * Any thread may call any function between Init and Close; Close must leave the other threads the time to
 * finish.
 * "_WM" functions lock the mutex only if asked to; otherwise the caller holds it, through ThreadMuxLock. A
 * failed lock is logged and its error is returned, but ClearState and Close go on without the lock. A failed
 * unlock is logged; it changes the result only of the "_CF" functions, which return their own result OR the
 * error.
 */
#ifndef BACL_RING_BUFFER_H
#define BACL_RING_BUFFER_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_RING_INITIALISED 0x1u  /**< `State`: the mutex and the condition exist */
#define BACL_RING_ENABLED 0x2u      /**< `State`: pushes and pops work; set and cleared by the caller */
#define BACL_RING_USER 0x4u         /**< `State`: free for the caller's use */
#define BACL_RING_NO_OVERWRITE 0x1u /**< `StateFlag`: reject pushes that do not fit */

/** A ring buffer. The fields are for debugging; use the functions. */
typedef struct {
    pthread_mutex_t Mutex;    /**< guards all fields below */
    pthread_cond_t Condition; /**< signalled when the fill reaches the threshold */
    uint8_t *PtrBuffer;       /**< the storage */
    uint32_t State;           /**< BACL_RING_INITIALISED, _ENABLED, _USER */
    uint32_t StateFlag;       /**< BACL_RING_NO_OVERWRITE */
    uint32_t BufferSize;      /**< capacity in bytes */
    uint32_t DataSize;        /**< bytes held */
    uint32_t StartLoc;        /**< index of the oldest byte */
    uint32_t Threshold;       /**< fill level at which the condition is signalled; 0: never */
} BaCL_RingBuffer;

/** Clears a record and creates its mutex and condition. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_RingBuf_Init(BaCL_RingBuffer *ring);

/**
 * Allocates the storage and empties the ring. Storage of the same size is reused. A threshold above the new
 * capacity is lowered to it.
 *
 * @param[in] size  in bytes, not 0
 * @retval 12 no memory; the ring is left without storage
 */
QSC_API uint32_t BaCL_RingBuf_AllocateBuffer(BaCL_RingBuffer *ring, uint32_t size);

/** Frees the storage and sets the threshold, which never exceeds the capacity, to 0. */
QSC_API uint32_t BaCL_RingBuf_FreeBuffer(BaCL_RingBuffer *ring);
QSC_API uint32_t BaCL_RingBuf_FreeBuffer_WM(BaCL_RingBuffer *ring, int32_t takeMutex); /**< the same */
QSC_API uint32_t BaCL_RingBuf_ClearBuffer(BaCL_RingBuffer *ring); /**< empties the ring */

/**
 * Closes a ring: disables it, wakes all waiting threads, sleeps, then frees everything.
 *
 * @param[in] waitMs  time for other threads to leave, in milliseconds; signals do not shorten it
 */
QSC_API uint32_t BaCL_RingBuf_Close(BaCL_RingBuffer *ring, uint32_t waitMs);

/**
 * Appends bytes. Overwrites the oldest bytes if there is not enough space, unless BACL_RING_NO_OVERWRITE is
 * set. Of more bytes than the capacity, the last ones are kept.
 *
 * @param[in] data   not null
 * @param[in] count  at least 1
 * @retval 0  appended; the condition is signalled if the threshold is reached
 * @retval 14 too many bytes, or no storage
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_RingBuf_Push(BaCL_RingBuffer *ring, const void *data, int32_t count);
QSC_API uint32_t BaCL_RingBuf_Push_WM(BaCL_RingBuffer *ring, const void *data, int32_t count,
                                      int32_t takeMutex); /**< the same */

/**
 * Fills the free space completely.
 *
 * @param[in] data   at least as many bytes as are free, regardless of `count`
 * @param[in] count  not 0
 * @return number of bytes appended; also 0 on failure
 */
QSC_API uint32_t BaCL_RingBuf_PushAvailable(BaCL_RingBuffer *ring, const void *data, uint32_t count);

/**
 * Removes the oldest bytes: `count` of them, or none.
 *
 * @param[out] data   the bytes; room for `count` of them
 * @param[in]  count  at least 1
 * @retval 0  removed
 * @retval 14 the ring holds fewer
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_RingBuf_Pop(BaCL_RingBuffer *ring, void *data, uint32_t count);
QSC_API uint32_t BaCL_RingBuf_Pop_WM(BaCL_RingBuffer *ring, void *data, uint32_t count,
                                     int32_t takeMutex); /**< the same */

/** Removes at most `count` of the oldest bytes. @return their number */
QSC_API uint32_t BaCL_RingBuf_PopAvailable(BaCL_RingBuffer *ring, void *data, uint32_t count);

/** Sets the fill level at which the condition is signalled; 0 for never, at most the capacity. */
QSC_API uint32_t BaCL_RingBuf_SetThreshold(BaCL_RingBuffer *ring, uint32_t threshold);
QSC_API uint32_t BaCL_RingBuf_GetThreshold(BaCL_RingBuffer *ring); /**< @return the threshold */

QSC_API uint32_t BaCL_RingBuf_SetState(BaCL_RingBuffer *ring, uint32_t bits); /**< sets bits of 0x7 */
/** Clears bits of 0x7. If the threshold is reached, signals the condition and clears BACL_RING_NO_OVERWRITE.
 */
QSC_API uint32_t BaCL_RingBuf_ClearState(BaCL_RingBuffer *ring, uint32_t bits);
QSC_API uint32_t BaCL_RingBuf_GetState(BaCL_RingBuffer *ring);                      /**< @return the bits */
QSC_API uint32_t BaCL_RingBuf_SetStateFlag(BaCL_RingBuffer *ring, uint32_t bits);   /**< sets bits of 0x1 */
QSC_API uint32_t BaCL_RingBuf_ClearStateFlag(BaCL_RingBuffer *ring, uint32_t bits); /**< clears bits of 0x1 */
QSC_API uint32_t BaCL_RingBuf_GetStateFlag(BaCL_RingBuffer *ring);                  /**< @return the bits */

QSC_API uint32_t BaCL_RingBuf_GetDataSize(BaCL_RingBuffer *ring);   /**< @return bytes held */
QSC_API uint32_t BaCL_RingBuf_GetBufferSize(BaCL_RingBuffer *ring); /**< @return the capacity */
QSC_API uint32_t BaCL_RingBuf_IsAvailable(BaCL_RingBuffer *ring); /**< @return 1 if initialised and enabled */
QSC_API uint32_t BaCL_RingBuf_IsBufferEmpty(BaCL_RingBuffer *ring); /**< @return 1 if it holds no bytes */
QSC_API uint32_t BaCL_RingBuf_IsBufferFull(BaCL_RingBuffer *ring);  /**< @return 1 if no more bytes fit */

/** Waits for the condition; the caller holds the mutex. Spurious wake-ups are possible. */
QSC_API uint32_t BaCL_RingBuf_ThreadCondWait(BaCL_RingBuffer *ring);
QSC_API uint32_t
BaCL_RingBuf_ThreadCondWait_CF(BaCL_RingBuffer *ring); /**< the same; locks the mutex itself */
QSC_API uint32_t BaCL_RingBuf_ThreadCondSignal(BaCL_RingBuffer *ring); /**< signals the condition */
QSC_API uint32_t
BaCL_RingBuf_ThreadCondSignal_CF(BaCL_RingBuffer *ring); /**< the same; locks the mutex itself */

/**
 * Locks or unlocks the mutex around several calls.
 *
 * @param[in] lock  0: unlock
 * @retval 14 cannot lock: the ring is not enabled
 */
QSC_API uint32_t BaCL_RingBuf_ThreadMuxLock(BaCL_RingBuffer *ring, int32_t lock);

/** Writes the record and its bytes to the library log, at level 7. @param[in] title  may be null */
QSC_API uint32_t BaCL_RingBuf_Print(BaCL_RingBuffer *ring, const char *title);

#ifdef __cplusplus
}
#endif

#endif
