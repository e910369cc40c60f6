/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The two loggers. The library log (Qslog_) writes diagnostic lines to the system log; the event log
 * (QEvtLog_) writes structured records through zlog. qsc_types.h states the conventions.
 *
 * Every function may be called from any thread, but for opening and closing.
 */
#ifndef QSLOG_H
#define QSLOG_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct zlog_category_s; /* zlog */

/** Properties of the library log; the default is QSLOG_RESERVED | QSLOG_STDERR. */
#define QSLOG_RESERVED 0x1u    /**< kept and reported, changes nothing */
#define QSLOG_LONG_PREFIX 0x2u /**< put file, line and function in front of each line */
#define QSLOG_STDERR 0x4u      /**< copy each line to standard error */

/**
 * Opens the system log for the library log and applies the level; once, until Qslog_Close().
 *
 * @param[in] ident     the program's name in each line, at most 255 characters of it are used; null: none,
 *                      and each line carries the process id
 * @param[in] options   openlog() option bits
 * @param[in] facility  openlog() facility
 * @retval 0 always
 */
QSC_API uint32_t Qslog_Open(const char *ident, uint32_t options, uint32_t facility);

/** Closes the system log. Level and properties stay. @retval 0 always */
QSC_API uint32_t Qslog_Close(void);

/**
 * Sets the level up to which lines are written, here and in the system log's mask.
 *
 * @param[in] level  0 (emergencies only) to 7 (everything); a higher one counts as 7. Starts as 5.
 * @return the level until now
 */
QSC_API uint32_t Qslog_SetLogLevel(uint32_t level);

/** Returns the level, 0 to 7. */
QSC_API uint32_t Qslog_GetLogLevel(void);

/** Returns the properties, QSLOG_ bits. */
QSC_API uint32_t Qslog_GetProperty(void);

/** Replaces the properties with `bits`. @return the new properties */
QSC_API uint32_t Qslog_SetProperty(uint32_t bits);

/** Sets `bits` in the properties. @return the new properties */
QSC_API uint32_t Qslog_AddProperty(uint32_t bits);

/** Clears `bits` in the properties. @return the new properties */
QSC_API uint32_t Qslog_SubProperty(uint32_t bits);

/**
 * Writes one line, "[LETTER] message" or with the long prefix "MODULE:LINE(FUNCTION)[LETTER] message".
 *
 * @param[in] level     0 to 7; a line above the set level is dropped. Above 7 counts as 7, below 0 as 0.
 * @param[in] module    source module; null: empty
 * @param[in] line      source line
 * @param[in] function  source function; null: empty
 * @param[in] format    printf format; the message ends with its own line feed. All other control
 *                      characters but tabs, DEL and the controls U+0080 to U+009F are shown escaped (\\n,
 *                      \\r, \\xHH), so that one call is one line of the log. Cut at 4095 bytes before and
 *                      after that.
 * @retval 0 always, also when the line was dropped
 */
QSC_API uint32_t Qslog_Log(int32_t level, const char *module, int32_t line, const char *function,
                           const char *format, ...) QSC_PRINTF(5, 6);

/**
 * Writes bytes as a table of hexadecimal digits and characters, 16 bytes a line.
 *
 * @param[in] level,module,line,function  as Qslog_Log()
 * @param[in] title   stands in the header line; null: "Data"
 * @param[in] data    the bytes; null: "No data"
 * @param[in] length  number of bytes; 0: "No data"
 * @param[in] lines   how many lines to write at most; 0: all
 * @retval 0 always
 */
QSC_API uint32_t Qslog_HexDump(int32_t level, const char *module, int32_t line, const char *function,
                               const char *title, const void *data, uint32_t length, uint32_t lines);

/**
 * Writes a buffer as lines of text, as Qslog_HexDump() does: a new line at each line feed and after 76
 * characters, bytes that are not printable ASCII as ".".
 *
 * @retval 0 always
 */
QSC_API uint32_t Qslog_StringDump(int32_t level, const char *module, int32_t line, const char *function,
                                  const char *title, const char *data, uint32_t length);

/** The zlog category of the event log; null while it is closed. */
QSC_API extern struct zlog_category_s *g_PtrZlCategory;

/**
 * Starts zlog for the event log; once, until QEvtLog_Close().
 *
 * @param[in] config    zlog's configuration file; null or empty: "/etc/zlog.conf"
 * @param[in] category  null or empty: "qrnevent"
 * @param[in] tag       the mapped diagnostic context "tag" of the records; null or empty: "QRN"
 * @retval 0  started, or was
 * @retval 14 zlog cannot start with that file, or has no such category
 */
QSC_API uint32_t QEvtLog_Init(const char *config, const char *category, const char *tag);

/** Stops zlog if QEvtLog_Init() started it. @retval 0 always */
QSC_API uint32_t QEvtLog_Close(void);

/**
 * Writes one record, "Status":"C","Msg":"TEXT", at zlog's notice level. Status and message are JSON-escaped,
 * so they cannot end their texts early, and bytes that are no UTF-8 are replaced by U+FFFD: between braces,
 * the record is valid JSON. Does nothing while the event log is closed.
 *
 * @param[in] file,function          source file and function; null: empty
 * @param[in] fileSize,functionSize  their sizes with the terminator, as sizeof gives them
 * @param[in] line                   source line
 * @param[in] status                 one character; 'n' is a normal event
 * @param[in] format                 printf format; the message is cut at 4095 bytes, between characters
 * @retval 0 always
 */
QSC_API uint32_t QEvtLog_Log(const char *file, size_t fileSize, const char *function, size_t functionSize,
                             long line, char status, const char *format, ...) QSC_PRINTF(7, 8);

#ifdef __cplusplus
}
#endif

#endif
