/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Where time goes: how often each subtree and each tool was asked, how long that took, and how it failed
 * last. The figures are those of the own process, from when it began to count. qsc_types.h states the
 * conventions.
 *
 * All functions may be called from any thread, before QSysCmdHal_Init() as well.
 */
#ifndef QSC_STATS_H
#define QSC_STATS_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Begins or ends counting. Until it begins nothing is counted, which costs nothing. It takes 20 KiB of
 * memory, which stays.
 *
 * A host that has put its own popen(), system() or posix_spawnp() before those of the C library may put a
 * tool off: it fails with the error ECANCELED. Neither that tool nor the request that wanted it is counted
 * then.
 *
 * @param[in] on  0: ends, and keeps what was counted; otherwise begins, or goes on
 * @retval 0  done
 * @retval 12 no memory
 */
QSC_API uint32_t QSysCmdHal_CountStats(uint32_t on);

/**
 * Answers what was counted:
 *
 *     {"subtrees": [{"path": "Device.Time", "calls": 3, "failures": 1, "total": 412, "longest": 230,
 *                    "code": 22, "error": "Device.Time: ..."}],
 *      "tools": [{"program": "/etc/init.d/network", "calls": 1, "failures": 0, "total": 93000,
 *                 "longest": 93000}]}
 *
 * "total" and "longest" are in microseconds. "code" and "error" are those of the last failure, and missing
 * where there was none; a tool's code is its exit code, or 14. What was never asked is left out. Of tools,
 * the 64 that were run first have lines of their own; the rest share the last line, "others". A program is
 * named as it was started, without its arguments.
 *
 * @param[out] stats  a new object, which the caller puts with json_object_put(); untouched unless 0 is
 *                    returned
 * @retval 0  answered
 * @retval 12 no memory
 * @retval 14 nothing was counted so far: QSysCmdHal_CountStats() was not called
 * @retval 22 null
 */
QSC_API uint32_t QSysCmdHal_GetStats(struct json_object **stats);

#ifdef __cplusplus
}
#endif

#endif
