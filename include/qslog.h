/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The two loggers. The library log (Qslog_) writes diagnostic lines to the system log; the event log
 * (QEvtLog_) writes structured records through zlog. qsc_types.h states the conventions.
 *
 * Any thread may call any function except those that open and close.
 */
#ifndef QSLOG_H
#define QSLOG_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

struct zlog_category_s; /* zlog */

/** Properties of the library log; the default is QSLOG_RESERVED | QSLOG_STDERR. */
#define QSLOG_RESERVED 0x1u    /**< stored, without effect */
#define QSLOG_LONG_PREFIX 0x2u /**< prefix each line with file, line and function */
#define QSLOG_STDERR 0x4u      /**< copy each line to standard error */

/**
 * Opens the system log for the library log and applies the level. Further calls before Qslog_Close() do
 * nothing.
 *
 * @param[in] ident     the program's name in each line, of which at most 255 characters are used; null: an
 *                      empty name, and the process id in each line
 * @param[in] options   openlog() option bits
 * @param[in] facility  openlog() facility
 * @retval 0 always
 */
QSC_API uint32_t Qslog_Open(const char *ident, uint32_t options, uint32_t facility);

/** Closes the system log. Level and properties are kept. @retval 0 always */
QSC_API uint32_t Qslog_Close(void);

/**
 * Sets the level up to which lines are written, here and in the system log's mask. The default is 5.
 *
 * @param[in] level  0 (emergencies only) to 7 (everything); higher values count as 7
 * @return the previous level
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
 * @param[in] level     0 to 7; lines above the current level are dropped. Above 7 counts as 7, below 0 as 0.
 * @param[in] module    source module; null: empty
 * @param[in] line      source line
 * @param[in] function  source function; null: empty
 * @param[in] format    printf format; the message ends with a line feed. All other control characters
 *                      except tabs, DEL and U+0080 to U+009F are escaped (\\n, \\r, \\xHH), so that each
 *                      call writes one line. Truncated to 4095 bytes, before and after escaping.
 * @retval 0 always, also when the line was dropped
 */
QSC_API uint32_t Qslog_Log(int32_t level, const char *module, int32_t line, const char *function,
                           const char *format, ...) QSC_PRINTF(5, 6);

/**
 * Writes bytes as a table of hexadecimal digits and characters, 16 bytes a line.
 *
 * @param[in] level,module,line,function  see Qslog_Log()
 * @param[in] title   for the header line; null: "Data"
 * @param[in] data    the bytes; null: "No data"
 * @param[in] length  number of bytes; 0: "No data"
 * @param[in] lines   maximum number of lines; 0: all
 * @retval 0 always
 */
QSC_API uint32_t Qslog_HexDump(int32_t level, const char *module, int32_t line, const char *function,
                               const char *title, const void *data, uint32_t length, uint32_t lines);

/**
 * Writes a buffer as lines of text, with the header of Qslog_HexDump(). Breaks lines at line feeds and after
 * 76 characters, and shows bytes that are not printable ASCII as ".".
 *
 * @retval 0 always
 */
QSC_API uint32_t Qslog_StringDump(int32_t level, const char *module, int32_t line, const char *function,
                                  const char *title, const char *data, uint32_t length);

/** The zlog category of the event log; null while the log is closed. */
QSC_API extern struct zlog_category_s *g_PtrZlCategory;

/**
 * Starts zlog for the event log. Further calls before QEvtLog_Close() do nothing.
 *
 * @param[in] config    zlog's configuration file; null or empty: "/etc/zlog.conf"
 * @param[in] category  null or empty: "qrnevent"
 * @param[in] tag       the mapped diagnostic context "tag" of the records; null or empty: "QRN"
 * @retval 0  started, or already running
 * @retval 14 zlog cannot start with this file, or has no such category
 */
QSC_API uint32_t QEvtLog_Init(const char *config, const char *category, const char *tag);

/** Stops zlog if QEvtLog_Init() started it. @retval 0 always */
QSC_API uint32_t QEvtLog_Close(void);

/**
 * Writes one record, "Status":"C","Msg":"TEXT", at zlog's notice level. Status and message are escaped, and
 * bytes that are not valid UTF-8 are replaced by U+FFFD, so that the record in braces is always valid JSON.
 * Does nothing while the event log is closed.
 *
 * @param[in] file,function          source file and function; null: empty
 * @param[in] fileSize,functionSize  their sizes including the terminator, as returned by sizeof
 * @param[in] line                   source line
 * @param[in] status                 one character; 'n' is a normal event
 * @param[in] format                 printf format; the message is truncated to 4095 bytes, between characters
 * @retval 0 always
 */
QSC_API uint32_t QEvtLog_Log(const char *file, size_t fileSize, const char *function, size_t functionSize,
                             long line, char status, const char *format, ...) QSC_PRINTF(7, 8);

#ifdef __cplusplus
}
#endif

#endif
