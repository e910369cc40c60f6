/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * Commander messaging: what the management front ends and the dispatchers share.
 */
#ifndef QSCBASE_H
#define QSCBASE_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gives every field of an instance record its empty value: 0, and -1 for the instance numbers.
 *
 * @retval 0  done
 * @retval 22 no record
 */
QSC_API uint32_t QSCBase_ParamId_Init(QSCBase_ParamId *record);

/** Ends the use of an instance record; it holds nothing to release. @return 0 */
QSC_API uint32_t QSCBase_ParamId_Close(QSCBase_ParamId *record);

#ifdef __cplusplus
}
#endif

#endif
