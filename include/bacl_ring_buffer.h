/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's ring buffer: bytes from a producer's thread to a consumer's, who is woken when a
 * threshold is reached. qsc_types.h states the conventions.
 *
 * The record is the caller's, its storage is its own. A life: Init, AllocateBuffer, SetState(2), pushes and
 * pops, Close. Every function refuses a null record and one that is not initialised with 22, or 0 where it
 * answers a value, and logs "parameter"; pushes, pops and the condition functions also one that is not
 * enabled.
 *
 * Every function may be called from any thread between Init and Close; whoever closes gives the others the
 * time to leave. "_WM" functions take the mutex only if they are told to; the caller holds it otherwise,
 * through ThreadMuxLock. A mutex that cannot be locked is logged and its error is the result, but ClearState
 * and Close do their work without it. An unlock that fails is logged, and changes only the result of the
 * "_CF" functions: it is their own result OR the error.
 */
#ifndef BACL_RING_BUFFER_H
#define BACL_RING_BUFFER_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_RING_INITIALISED 0x1u  /**< `State`: the mutex and the condition exist */
#define BACL_RING_ENABLED 0x2u      /**< `State`: set and cleared by the caller */
#define BACL_RING_USER 0x4u         /**< `State`: free for the caller's use */
#define BACL_RING_NO_OVERWRITE 0x1u /**< `StateFlag`: refuse what does not fit */

/** One ring buffer. Its fields are for reading by debuggers; threads use the functions. */
typedef struct {
    pthread_mutex_t Mutex;    /**< guards all that follows */
    pthread_cond_t Condition; /**< signalled when the fill reaches the threshold */
    uint8_t *PtrBuffer;       /**< the storage */
    uint32_t State;           /**< BACL_RING_INITIALISED, _ENABLED, _USER */
    uint32_t StateFlag;       /**< BACL_RING_NO_OVERWRITE */
    uint32_t BufferSize;      /**< capacity in bytes */
    uint32_t DataSize;        /**< bytes held */
    uint32_t StartLoc;        /**< place of the oldest byte */
    uint32_t Threshold;       /**< fill at which the condition is signalled; 0: never */
} BaCL_RingBuffer;

/** Clears a record and makes its mutex and condition. @return 0, 22 or the pthread error */
QSC_API uint32_t BaCL_RingBuf_Init(BaCL_RingBuffer *ring);

/**
 * Gives a ring its storage and empties it; storage of the same size is kept. A threshold above the new
 * capacity is lowered to it.
 *
 * @param[in] size  in bytes, not 0
 * @retval 12 no memory; the ring has no storage then
 */
QSC_API uint32_t BaCL_RingBuf_AllocateBuffer(BaCL_RingBuffer *ring, uint32_t size);

/** Frees the storage. The threshold, never above the capacity, becomes 0. */
QSC_API uint32_t BaCL_RingBuf_FreeBuffer(BaCL_RingBuffer *ring);
QSC_API uint32_t BaCL_RingBuf_FreeBuffer_WM(BaCL_RingBuffer *ring, int32_t takeMutex); /**< the same */
QSC_API uint32_t BaCL_RingBuf_ClearBuffer(BaCL_RingBuffer *ring); /**< empties the ring */

/**
 * Ends a ring: disables it, wakes everybody who waits, sleeps, then frees everything.
 *
 * @param[in] waitMs  milliseconds for other threads to leave; signals do not shorten them
 */
QSC_API uint32_t BaCL_RingBuf_Close(BaCL_RingBuffer *ring, uint32_t waitMs);

/**
 * Appends bytes. What does not fit overwrites the oldest ones, unless BACL_RING_NO_OVERWRITE is set; of more
 * than the ring holds the last ones stay.
 *
 * @param[in] data   not null
 * @param[in] count  at least 1
 * @retval 0  appended; the condition is signalled if the threshold is reached
 * @retval 14 refused: too many, or no storage
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_RingBuf_Push(BaCL_RingBuffer *ring, const void *data, int32_t count);
QSC_API uint32_t BaCL_RingBuf_Push_WM(BaCL_RingBuffer *ring, const void *data, int32_t count,
                                      int32_t takeMutex); /**< the same */

/**
 * Fills the whole free space.
 *
 * @param[in] data   at least as many bytes as are free, whatever `count` says
 * @param[in] count  not 0
 * @return how many bytes were appended; 0 also for a failure
 */
QSC_API uint32_t BaCL_RingBuf_PushAvailable(BaCL_RingBuffer *ring, const void *data, uint32_t count);

/**
 * Takes the oldest bytes, all of them or none.
 *
 * @param[out] data   room for `count` bytes
 * @param[in]  count  at least 1
 * @retval 0  taken
 * @retval 14 the ring holds fewer
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_RingBuf_Pop(BaCL_RingBuffer *ring, void *data, uint32_t count);
QSC_API uint32_t BaCL_RingBuf_Pop_WM(BaCL_RingBuffer *ring, void *data, uint32_t count,
                                     int32_t takeMutex); /**< the same */

/** Takes at most `count` of the oldest bytes. @return how many */
QSC_API uint32_t BaCL_RingBuf_PopAvailable(BaCL_RingBuffer *ring, void *data, uint32_t count);

/** Sets the fill at which the condition is signalled; at most the capacity, 0 for never. */
QSC_API uint32_t BaCL_RingBuf_SetThreshold(BaCL_RingBuffer *ring, uint32_t threshold);
QSC_API uint32_t BaCL_RingBuf_GetThreshold(BaCL_RingBuffer *ring); /**< @return the threshold */

QSC_API uint32_t BaCL_RingBuf_SetState(BaCL_RingBuffer *ring, uint32_t bits); /**< sets bits of 0x7 */
/** Clears bits of 0x7. If the threshold is reached, the condition is signalled and overwriting allowed. */
QSC_API uint32_t BaCL_RingBuf_ClearState(BaCL_RingBuffer *ring, uint32_t bits);
QSC_API uint32_t BaCL_RingBuf_GetState(BaCL_RingBuffer *ring);                      /**< @return the bits */
QSC_API uint32_t BaCL_RingBuf_SetStateFlag(BaCL_RingBuffer *ring, uint32_t bits);   /**< sets bits of 0x1 */
QSC_API uint32_t BaCL_RingBuf_ClearStateFlag(BaCL_RingBuffer *ring, uint32_t bits); /**< clears bits of 0x1 */
QSC_API uint32_t BaCL_RingBuf_GetStateFlag(BaCL_RingBuffer *ring);                  /**< @return the bits */

QSC_API uint32_t BaCL_RingBuf_GetDataSize(BaCL_RingBuffer *ring);   /**< @return bytes held */
QSC_API uint32_t BaCL_RingBuf_GetBufferSize(BaCL_RingBuffer *ring); /**< @return the capacity */
QSC_API uint32_t BaCL_RingBuf_IsAvailable(BaCL_RingBuffer *ring);   /**< @return 1: initialised and enabled */
QSC_API uint32_t BaCL_RingBuf_IsBufferEmpty(BaCL_RingBuffer *ring); /**< @return 1: it holds nothing */
QSC_API uint32_t BaCL_RingBuf_IsBufferFull(BaCL_RingBuffer *ring);  /**< @return 1: nothing more fits */

/** Waits for the condition; the caller holds the mutex. Wake-ups without a signal happen. */
QSC_API uint32_t BaCL_RingBuf_ThreadCondWait(BaCL_RingBuffer *ring);
QSC_API uint32_t BaCL_RingBuf_ThreadCondWait_CF(BaCL_RingBuffer *ring);   /**< takes the mutex for it */
QSC_API uint32_t BaCL_RingBuf_ThreadCondSignal(BaCL_RingBuffer *ring);    /**< signals the condition */
QSC_API uint32_t BaCL_RingBuf_ThreadCondSignal_CF(BaCL_RingBuffer *ring); /**< takes the mutex for it */

/**
 * Locks or unlocks the mutex for a series of calls.
 *
 * @param[in] lock  0 unlocks
 * @retval 14 locking a ring that is not enabled
 */
QSC_API uint32_t BaCL_RingBuf_ThreadMuxLock(BaCL_RingBuffer *ring, int32_t lock);

/** Writes the record and its bytes to the library log, at level 7. @param[in] title  may be null */
QSC_API uint32_t BaCL_RingBuf_Print(BaCL_RingBuffer *ring, const char *title);

#ifdef __cplusplus
}
#endif

#endif
