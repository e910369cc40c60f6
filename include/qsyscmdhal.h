/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The command framework: start and stop, the command table, the dispatchers and the helpers that
 * handlers share. qsc_types.h states the conventions.
 *
 * A request takes three steps: fetch the table with QSysCmdHal_GetFunList(), find the first entry whose
 * path is a prefix of the wanted path, call that entry's dispatcher.
 *
 * Answers refer to names inside the library, which stays loaded once it is, dlclose() or not.
 *
 * Handlers run commands, whose exit codes they need: a host leaves SIGCHLD at its default, or handles it
 * without waiting for children that are not its own. Where it is ignored, every command counts as failed
 * (14).
 */
#ifndef QSYSCMDHAL_H
#define QSYSCMDHAL_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What QSysCmdHal_Init() opens. */
#define QSC_INIT_LOG 0x1u        /**< the library log, on the system log as "QSCH" */
#define QSC_INIT_FOUNDATION 0x2u /**< the foundation library */
#define QSC_INIT_UCI 0x4u        /**< the configuration library */
#define QSC_INIT_EVENTS 0x8u     /**< the event log, as "/etc/zlog.conf" says */
/** Refused parameters get a member "Error" in their object: the sentence that says why, without a secret. It
 * stays as it is in objects that are used again. Otherwise objects hold exactly what the contract says. */
#define QSC_INIT_ERRORS 0x10u
/** Every set through a dispatcher is recorded in the journal, see qsc_journal.h. Without it sets cost nothing
 * more. */
#define QSC_INIT_JOURNAL 0x20u

/** The 61 subtrees in matching order, and the end. Read-only to hosts, but for the `reserved` of "version".
 * Its function pointers equal the addresses that a host of any kind has for the functions. */
QSC_API extern Qsc_CommandEntry g_QSysCmdHalCmd[];

/** The operations by bit, ended by the value QSC_TABLE_END. */
QSC_API extern const Qsc_OperName g_QscCmdList[];

/** The commanders by id, ended by the id 0 with the name "UNKNOWN". */
QSC_API extern const Qsc_CommanderName g_QSCCommander[];

/** The callback in force, or null. Set by QSysCmdHal_Init(), kept by QSysCmdHal_Close(). */
QSC_API extern QSysCmdHal_Callback g_QSysCmdHalCb;

/**
 * Starts the library. A second call before QSysCmdHal_Close() changes nothing.
 *
 * An event log that does not start is logged and otherwise ignored.
 *
 * @param[in] callback  called for events; null: none is. Events: 0 at the end of the first start, 1 at the
 *                      start of QSysCmdHal_Close(), 2 on QSysCmdHal_GetFunList(), 3 after
 *                      QSysCmdHal_SysLog(), 4 at the end of every handler, commit and service.
 * @param[in] options   QSC_INIT_ bits
 * @retval 0 always
 */
QSC_API uint32_t QSysCmdHal_Init(QSysCmdHal_Callback callback, uint32_t options);

/**
 * Stops the library: event 1, then closes in reverse order what QSysCmdHal_Init() opened.
 *
 * @retval 0 always, also when it was not started
 */
QSC_API uint32_t QSysCmdHal_Close(void);

/**
 * Returns the command table (event 2). Works before QSysCmdHal_Init() as well.
 *
 * @return g_QSysCmdHalCmd, never null
 */
QSC_API Qsc_CommandEntry *QSysCmdHal_GetFunList(void);

/**
 * Names a commander.
 *
 * @param[in] commander  one id; a combination of ids has no name
 * @return its name, or "UNKNOWN"; a constant text
 */
QSC_API const char *QSysCmdHal_GetCommanderName(int32_t commander);

/**
 * Reads or writes a setting of the library log; ends with event 3.
 *
 * @param[in]     which  0: the level (0 to 7), 1: the properties (QSLOG_ bits)
 * @param[in]     set    0: read into `value`; otherwise write from it
 * @param[in,out] value  the setting
 * @retval 0  done
 * @retval 22 null `value` (no event), or an unknown `which`
 */
QSC_API uint32_t QSysCmdHal_SysLog(int32_t which, int32_t set, uint32_t *value);

/**
 * Tells whether a text is a decimal integer: an optional sign, then digits only.
 *
 * @retval 1 it is
 * @retval 0 it is not, or is null
 */
QSC_API uint32_t QSysCmdHal_IsNumber(const char *text);

/**
 * Records a result code in an object, as "ParamId".
 *
 * @param[in,out] object  a parameter's object
 * @param[in]     code    the code
 * @retval 0  recorded
 * @retval 22 null, or not an object
 * @retval 12 no memory to add it
 * @retval 14 the "ParamId" that is there is not a number
 */
QSC_API uint32_t Qsc_SetParamId(struct json_object *object, uint32_t code);

/** Records a flag in an object, as "ParamFlag"; otherwise as Qsc_SetParamId(). */
QSC_API uint32_t Qsc_SetParamFlag(struct json_object *object, uint32_t flag);

/**
 * Switches debug tracing for the whole process; it starts switched off.
 *
 * @param[in] flag  0: off; otherwise on
 * @retval 0 always
 */
QSC_API uint32_t Qsc_Dbg_SetEnableFlag(uint32_t flag);

/** Returns the flag last given to Qsc_Dbg_SetEnableFlag(), at first 0. */
QSC_API uint32_t Qsc_Dbg_GetEnableFlag(void);

/**
 * Hands a message to the device's debug logger when tracing is on; does nothing when it is off.
 *
 * @param[in] message  the text; null: nothing is run
 * @param[in] mark     1: marks a start, 2: marks an end, otherwise unmarked
 * @retval 0  done, or nothing to do
 * @retval 14 the command would reach 2047 characters, or the logger failed
 */
QSC_API uint32_t Qsc_Dbg_Print(const char *message, uint32_t mark);

/**
 * Formats a byte quantity for display, such as "1.5 MB", in steps of 1000.
 *
 * @param[in]  inputUnit   unit of `value`: 0 B, 1 KB, 2 MB, 3 GB, 4 TB
 * @param[in]  outputUnit  largest unit to show, 0 to 4
 * @param[out] buffer      the text; above 999 of the largest unit it is ">999 UNIT"
 * @param[in]  size        size of `buffer`, at least 2
 * @param[in]  value       the quantity, not negative
 * @retval 0  formatted
 * @retval 22 bad argument; `buffer` is untouched
 * @retval 14 the text does not fit; `buffer` is empty
 */
QSC_API uint32_t Qsc_OutputByteString(int32_t inputUnit, int32_t outputUnit, char *buffer, uint32_t size,
                                      double value);

/**
 * Writes a JSON object to the library log, at debug level, for tracing.
 *
 * @retval 0  written
 * @retval 22 null
 * @retval 12 no memory to write it out
 */
QSC_API uint32_t Qsc_PrintJObj(struct json_object *object);

#ifdef __cplusplus
}
#endif

#endif
