/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library's job thread: one detached thread for a routine of the caller's, and the flags by
 * which its start and its end are confirmed. qsc_types.h states the conventions.
 *
 * The record is the caller's and must outlive the thread. A life: Init, `PtrParam`, SetState(2),
 * CreateThread, CloseThread, Close. The routine gets the record; it
 *   - sets BACL_JOB_RUNNING and BACL_JOB_ACKNOWLEDGED (SetFlag(3)) when it starts,
 *   - looks for BACL_JOB_STOP between its passes, and
 *   - sets BACL_JOB_ACKNOWLEDGED again before it returns.
 *
 * State and flags may be used from any thread; create and close belong to one. Functions that change
 * something refuse a null record and one that is not initialised with 22, and log "parameter". A mutex that
 * cannot be locked is logged and its error is the result of what sets or clears something; GetState,
 * ClearState and CloseThread do their work without it. An unlock that fails is only logged.
 */
#ifndef BACL_REGULAR_JOB_H
#define BACL_REGULAR_JOB_H

#include <pthread.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define BACL_JOB_INITIALISED 0x1u  /**< `State`: the mutex exists */
#define BACL_JOB_AVAILABLE 0x2u    /**< `State`: the caller allows a thread */
#define BACL_JOB_RUNNING 0x1u      /**< `Flag`: the job is running */
#define BACL_JOB_ACKNOWLEDGED 0x2u /**< `Flag`: it has started, or stopped */
#define BACL_JOB_STOP 0x4u         /**< `Flag`: it is to stop */

/** One job thread. */
typedef struct {
    pthread_mutex_t Mutex; /**< guards `State` and `Flag` */
    pthread_t ThreadId;    /**< 0 before and after */
    void *PtrParam;        /**< the caller's, for the routine */
    uint32_t State;
    uint32_t Flag;
} BaCL_RegularInfo;

/** The job: gets its BaCL_RegularInfo. @return ignored */
typedef void *(*BaCL_JobRoutine)(void *regularInfo);

QSC_API uint32_t BaCL_RegInfo_Init(BaCL_RegularInfo *info); /**< @return 0, 22 or the pthread error */

/** Stops the thread within a second and releases the record's mutex, come what may. @return 0 or 22 */
QSC_API uint32_t BaCL_RegInfo_Close(BaCL_RegularInfo *info);

QSC_API uint32_t BaCL_RegInfo_SetState(BaCL_RegularInfo *info, uint32_t bits);   /**< sets bits of 0x3 */
QSC_API uint32_t BaCL_RegInfo_ClearState(BaCL_RegularInfo *info, uint32_t bits); /**< clears bits of 0x3 */
QSC_API uint32_t BaCL_RegInfo_GetState(BaCL_RegularInfo *info);    /**< @return the bits; 0: no record */
QSC_API uint32_t BaCL_RegInfo_IsAvailable(BaCL_RegularInfo *info); /**< @return 1: a thread may be created */
QSC_API uint32_t BaCL_RegInfo_SetFlag(BaCL_RegularInfo *info, uint32_t bits);   /**< sets bits of 0x7 */
QSC_API uint32_t BaCL_RegInfo_ClearFlag(BaCL_RegularInfo *info, uint32_t bits); /**< clears bits of 0x7 */
QSC_API uint32_t BaCL_RegInfo_GetFlag(BaCL_RegularInfo *info);      /**< @return the bits; 0 on a failure */
QSC_API uint32_t BaCL_RegInfo_SetExeFlag(BaCL_RegularInfo *info);   /**< sets BACL_JOB_RUNNING */
QSC_API uint32_t BaCL_RegInfo_ClearExeFlag(BaCL_RegularInfo *info); /**< clears BACL_JOB_RUNNING */
QSC_API uint32_t BaCL_RegInfo_GetExeFlag(BaCL_RegularInfo *info);   /**< @return 1: the job is running */

/**
 * Starts the thread and waits for its acknowledgement. A job that is running already is left alone, with 0.
 *
 * @param[in] routine    not null
 * @param[in] stackSize  in bytes; 0 is the system's default. Less than 2048 becomes 2048, with a warning, and
 *                       less than the C library takes becomes that.
 * @param[in] limitMs    milliseconds to wait, in steps of 50
 * @retval 62 not acknowledged in time; the thread goes on
 * @return 0, 22 or the pthread error
 */
QSC_API uint32_t BaCL_RegInfo_CreateThread(BaCL_RegularInfo *info, BaCL_JobRoutine routine,
                                           uint32_t stackSize, uint32_t limitMs);

/**
 * Asks the job to stop and waits for its acknowledgement. A job that is not running is left alone, with 0.
 *
 * @param[in] limitMs       milliseconds to wait, in steps of 50
 * @param[in] clearExecute  not 0: BACL_JOB_RUNNING goes at once
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
