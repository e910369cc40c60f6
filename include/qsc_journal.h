/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The journal: who changed what, from which value to which, and with which result. It lies on the flash below
 * /etc/qsyscmdhal, in two files of at most 128 KiB ("journal" and the older "journal.1"), as one JSON object
 * a line, for the own user alone. What does not fit in any more goes, the oldest first. qsc_types.h states
 * the conventions.
 *
 * An entry is an object with these members:
 *
 * - "id", a text: names the entry; that of an apply is the apply's
 * - "time", a number: seconds since 1970; wrong where the clock was
 * - "uptime", a number: seconds since the device was started, of a clock that nobody sets
 * - "commander", a text: the front end, as QSysCmdHal_GetCommanderName() has it
 * - "peer", a text: who spoke through it; missing where that is not known
 * - "kind", a text: what was done, such as "set", "apply" or "rollback"
 * - "result", a number: the code; "error" says why, if it is not 0
 * - "changes", an array of {"path", "parameter", "old", "new"}: "old" is missing where it cannot be read.
 *   Secrets are "***". Long values are cut and end in "..."
 * - "configuration", an array of {"package", "section", "option", ...}: of an apply, see qsc_apply.h
 * - "undoes", a text: the apply that this one has taken back
 * - "cut", true: the lists were too long and lack what was at their ends
 *
 * Plain sets are in the journal where the host has asked for it with QSC_INIT_JOURNAL. Each then begins with
 * a get of the parameters that it names, where they can be read. That the journal cannot be written is
 * logged, and changes the result of no set.
 *
 * All functions may be called from any thread; several processes may use the journal at a time.
 */
#ifndef QSC_JOURNAL_H
#define QSC_JOURNAL_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Appends an entry. One with "configuration" is on the flash when the call returns; the others follow with
 * what the kernel writes anyway.
 *
 * @param[in,out] entry  gets "id", "time" and "uptime" where it has none; its lists may be shortened
 * @retval 0  appended
 * @retval 12 no memory
 * @retval 14 it cannot be written, which is logged
 * @retval 22 null, or not an object
 */
QSC_API uint32_t QSysCmdHal_JournalAdd(struct json_object *entry);

/**
 * Reads entries, the oldest first. Lines that are no entries are passed over, such as one that a power
 * failure has cut short.
 *
 * @param[in]  filter   null, or an object with any of "id" (text: that entry alone), "path" (text: changes of
 *                      that path, of what is below it, or of the parameter that it names; of other changes
 *                      the entries are rid) and "limit" (number: the newest so many; 0: all)
 * @param[out] entries  a new array, which the caller puts with json_object_put(); untouched unless 0 is
 *                      returned
 * @retval 0  read; without a journal the array is empty
 * @retval 12 no memory
 * @retval 14 it cannot be read, which is logged
 * @retval 22 null `entries`, or a malformed filter
 */
QSC_API uint32_t QSysCmdHal_JournalRead(struct json_object *filter, struct json_object **entries);

/**
 * Says for whom the calling thread's requests are from now on, for their entries in the journal.
 *
 * @param[in] peer  such as "user 1000"; up to 63 bytes of it are kept; null or empty: not known
 */
QSC_API void QSysCmdHal_SetPeer(const char *peer);

#ifdef __cplusplus
}
#endif

#endif
