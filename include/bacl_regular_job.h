/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's job thread: a detached thread that runs the caller's routine, and flags that
 * acknowledge its start and its end. qsc_types.h states the conventions.
 *
 * The caller owns the record, which must outlive the thread. Life cycle: Init, `PtrParam`, SetState(2),
 * CreateThread, CloseThread, Close. The routine is passed the record; it
 *   - sets BACL_JOB_RUNNING and BACL_JOB_ACKNOWLEDGED (SetFlag(3)) when it starts,
 *   - checks BACL_JOB_STOP between its passes, and
 *   - sets BACL_JOB_ACKNOWLEDGED again before it returns.
 *
 * Any thread may use state and flags; one thread creates and closes. Functions that change something reject a
 * null or uninitialised record with 22 and log "parameter". A failed lock is logged, and functions that set
 * or clear something return its error; GetState, ClearState and CloseThread go on without the lock. A failed
 * unlock is only logged.
 */
#ifndef BACL_REGULAR_JOB_H
#define BACL_REGULAR_JOB_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_JOB_INITIALISED 0x1u  /**< `State`: the mutex exists */
#define BACL_JOB_AVAILABLE 0x2u    /**< `State`: a thread may be created */
#define BACL_JOB_RUNNING 0x1u      /**< `Flag`: the job is running */
#define BACL_JOB_ACKNOWLEDGED 0x2u /**< `Flag`: the job has started, or stopped */
#define BACL_JOB_STOP 0x4u         /**< `Flag`: the job should stop */

/** A job thread. */
typedef struct {
    pthread_mutex_t Mutex; /**< guards `State` and `Flag` */
    pthread_t ThreadId;    /**< 0 without a thread */
    void *PtrParam;        /**< the caller's argument for the routine */
    uint32_t State;
    uint32_t Flag;
} BaCL_RegularInfo;

/** The job's routine; the argument is its BaCL_RegularInfo. @return ignored */
typedef void *(*BaCL_JobRoutine)(void *regularInfo);

QSC_API uint32_t BaCL_RegInfo_Init(BaCL_RegularInfo *info); /**< @return 0, 22 or the pthread error */

/** Stops the thread, waits at most a second for it, and destroys the mutex in any case. @return 0 or 22 */
QSC_API uint32_t BaCL_RegInfo_Close(BaCL_RegularInfo *info);

QSC_API uint32_t BaCL_RegInfo_SetState(BaCL_RegularInfo *info, uint32_t bits);   /**< sets bits of 0x3 */
QSC_API uint32_t BaCL_RegInfo_ClearState(BaCL_RegularInfo *info, uint32_t bits); /**< clears bits of 0x3 */
QSC_API uint32_t BaCL_RegInfo_GetState(BaCL_RegularInfo *info); /**< @return the bits; 0 without a record */
QSC_API uint32_t BaCL_RegInfo_IsAvailable(BaCL_RegularInfo *info); /**< @return 1: a thread may be created */
QSC_API uint32_t BaCL_RegInfo_SetFlag(BaCL_RegularInfo *info, uint32_t bits);   /**< sets bits of 0x7 */
QSC_API uint32_t BaCL_RegInfo_ClearFlag(BaCL_RegularInfo *info, uint32_t bits); /**< clears bits of 0x7 */
QSC_API uint32_t BaCL_RegInfo_GetFlag(BaCL_RegularInfo *info);      /**< @return the bits; 0 on failure */
QSC_API uint32_t BaCL_RegInfo_SetExeFlag(BaCL_RegularInfo *info);   /**< sets BACL_JOB_RUNNING */
QSC_API uint32_t BaCL_RegInfo_ClearExeFlag(BaCL_RegularInfo *info); /**< clears BACL_JOB_RUNNING */
QSC_API uint32_t BaCL_RegInfo_GetExeFlag(BaCL_RegularInfo *info);   /**< @return 1: the job is running */

/**
 * Starts the thread and waits for its acknowledgement. Returns 0 at once if the job is already running.
 *
 * @param[in] routine    not null
 * @param[in] stackSize  in bytes; 0 for the system's default. Raised to 2048, with a warning, and
 *                       to the minimum of the C library.
 * @param[in] limitMs    time to wait in milliseconds, in steps of 50
 * @retval 62 not acknowledged in time; the thread keeps running
 * @return 0, 22 or the pthread error
 */
QSC_API uint32_t BaCL_RegInfo_CreateThread(BaCL_RegularInfo *info, BaCL_JobRoutine routine,
                                           uint32_t stackSize, uint32_t limitMs);

/**
 * Requests the job to stop and waits for its acknowledgement. Returns 0 at once if the job is not running.
 *
 * @param[in] limitMs       time to wait in milliseconds, in steps of 50
 * @param[in] clearExecute  not 0: also clears BACL_JOB_RUNNING at once
 * @retval 62 not acknowledged in time
 * @return 0 or 22
 */
QSC_API uint32_t BaCL_RegInfo_CloseThread(BaCL_RegularInfo *info, uint32_t limitMs, int32_t clearExecute);

/** Writes the record to the library log, at level 7. @param[in] title  may be null */
QSC_API uint32_t BaCL_RegInfo_Print(BaCL_RegularInfo *info, const char *title);

#ifdef __cplusplus
}
#endif

#endif
