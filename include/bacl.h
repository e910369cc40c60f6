/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The foundation library: shell command pipes, and text, time, byte-order, file and IPv4 utilities.
 * qsc_types.h states the conventions. Nothing here keeps state: any thread may call any function with its own
 * arguments.
 */
#ifndef BACL_H
#define BACL_H

#include <stdio.h>

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * ---- Shell command pipes. Commands run through the shell; the caller quotes their arguments.
 * In a process that ignores SIGCHLD, or that waits for any child on another thread, exit codes are lost:
 * every command then counts as failed (14), whatever it did. ----
 */

/**
 * Runs a command, waits for it and discards its output, then flushes the file systems (sync()).
 *
 * Only the exit code counts: a command that is killed by a signal counts as successful.
 *
 * @param[in] command  shell command line
 * @retval 0  exit code 0
 * @retval 14 not started, or another exit code
 * @retval 22 null or empty command
 */
QSC_API uint32_t QrnExeCmdSimple(const char *command);

/**
 * Runs a command like QrnExeCmdSimple() and captures its output, line feeds included, up to `size` - 1 bytes.
 *
 * @param[in]  command  shell command line
 * @param[out] buffer   the output; all `size` bytes are cleared first. Unchanged on 22.
 * @param[in]  size     size of `buffer`, at least 1
 * @return as QrnExeCmdSimple(); 22 also for a null buffer or size 0
 */
QSC_API uint32_t QrnExeCmdSimpleGet(const char *command, char *buffer, uint32_t size);

/**
 * Starts a command with a pipe to its input or from its output.
 *
 * @param[in] command  shell command line
 * @param[in] mode     popen() mode
 * @return the stream, to be closed with QrnPClose(); null for a bad argument, or if it was not started
 */
QSC_API FILE *QrnPOpen(const char *command, const char *mode);

/**
 * Reads one line with its line feed, or as much of it as fits.
 *
 * @param[in]  stream  from QrnPOpen()
 * @param[out] buffer  the line; all `size` bytes are cleared first
 * @param[in]  size    size of `buffer`, at least 1
 * @retval 0  read
 * @retval 14 end of the output, or a read error
 * @retval 22 bad argument
 */
QSC_API uint32_t QrnPReadLn(FILE *stream, char *buffer, uint32_t size);

/**
 * Closes a command's stream and waits for its end, then flushes the file systems.
 *
 * @param[in] stream  from QrnPOpen(); invalid afterwards
 * @retval 0  exit code 0
 * @retval 14 another exit code
 * @retval 22 null stream
 */
QSC_API uint32_t QrnPClose(FILE *stream);

/* ---- Set-up: calls around the use of the foundation library. ---- */

/** Does nothing. @retval 0 always */
QSC_API uint32_t BaCL_Init(void);

/** Does nothing. @retval 0 always */
QSC_API uint32_t BaCL_Close(void);

/* ---- Text ---- */

/**
 * Converts bytes to upper-case hexadecimal digits.
 *
 * @param[out] text    the digits; all `size` bytes are cleared first
 * @param[in]  size    size of `text`, more than twice `length`
 * @param[in]  data    the bytes
 * @param[in]  length  number of bytes, 0 or more
 * @retval 0  converted
 * @retval 22 bad argument; `text` is unchanged
 */
QSC_API uint32_t BaCL_Binary2HexString(char *text, int32_t size, const uint8_t *data, int32_t length);

/**
 * Converts pairs of hexadecimal digits to bytes. Digits are not validated: a pair whose first character is
 * not a digit gives 0, a pair whose second character is not a digit gives the value of the first.
 *
 * @param[out]    data    the bytes; cleared over its whole capacity
 * @param[in,out] length  in: capacity of `data`, above 0. Out, on success: number of bytes.
 * @param[in]     text    the digits
 * @retval 0  converted
 * @retval 22 bad argument (`data` unchanged), or an odd or too large number of digits (`data` cleared)
 */
QSC_API uint32_t BaCL_HexString2Binary(uint8_t *data, int32_t *length, const char *text);

/**
 * Tells whether all characters of a text belong to a class.
 *
 * @param[in] text  at least one character
 * @param[in] type  0 letters and digits, 1 letters, 2 decimal digits, 3 lower-case letters, 4 printable
 *                  ASCII, 5 upper-case letters, 6 hexadecimal digits, 7 a decimal integer with an optional
 *                  sign, 8 a hexadecimal number with the prefix 0x or 0X; ASCII only, whatever the locale
 * @retval 1 they do
 * @retval 0 they do not; null or empty text; unknown type
 */
QSC_API uint32_t BaCL_IsStringType(const char *text, uint32_t type);

/**
 * Removes the line feeds at the end of a text. Carriage returns are kept.
 *
 * @param[in,out] text  the text
 * @param[in]     size  size of its buffer, above 0
 * @retval 0  done
 * @retval 22 bad argument
 */
QSC_API uint32_t BaCL_RemoveLineFeed(char *text, int32_t size);

/** Removes blanks and characters 9 to 13 from both ends of a text, in place. @retval 22 null text */
QSC_API uint32_t BaCL_TrimLTWhiteSpace(char *text);

/**
 * Compares two versions number by number, up to the end of the shorter one: "1.2" equals "1.2.3". Numbers
 * beyond the range of an int are clamped.
 *
 * @param[in,out] first,second  the versions; overwritten
 * @param[in]     separators    characters between the numbers; null or empty: "."
 * @retval 1  the first is greater
 * @retval -1 the first is smaller
 * @retval 0  equal, or not comparable (null or empty text)
 */
QSC_API int32_t BaCL_VersionCompare(char *first, char *second, const char *separators);

/* ---- Clocks: MS milliseconds, Sec seconds; RT wall clock, otherwise monotonic; HQ 64 bits. 0 on failure.
 * ---- */

QSC_API uint32_t BaCL_GetTimestampMS(void);     /**< wraps after about 49.7 days */
QSC_API uint64_t BaCL_GetTimestampMSHQ(void);   /**< monotonic milliseconds */
QSC_API uint64_t BaCL_GetTimestampRTMSHQ(void); /**< wall-clock milliseconds since 1970 */
QSC_API uint32_t BaCL_GetTimestampSec(void);    /**< monotonic seconds */
QSC_API int64_t BaCL_GetTimestampSecHQ(void);   /**< monotonic seconds */
QSC_API int64_t BaCL_GetTimestampRTSecHQ(void); /**< wall-clock seconds since 1970 */

/* ---- Bits and byte order: Be big-endian, Le little-endian. Pointers need not be aligned. ---- */

QSC_API uint32_t BaCL_GetBitNumber(uint32_t value);     /**< number of set bits among the four lowest */
QSC_API uint16_t BaCL_GetUint16Be(const uint8_t *data); /**< reads 2 bytes; null: 0 */
QSC_API uint16_t BaCL_GetUint16Le(const uint8_t *data); /**< reads 2 bytes; null: 0 */
QSC_API uint32_t BaCL_GetUint32Be(const uint8_t *data); /**< reads 4 bytes; null: 0 */
QSC_API uint32_t BaCL_GetUint32Le(const uint8_t *data); /**< reads 4 bytes; null: 0 */
QSC_API uint32_t BaCL_PutUint16Be(uint8_t *data, uint16_t value); /**< writes 2 bytes; 22: null */
QSC_API uint32_t BaCL_PutUint16Le(uint8_t *data, uint16_t value); /**< writes 2 bytes; 22: null */
QSC_API uint32_t BaCL_PutUint32Be(uint8_t *data, uint32_t value); /**< writes 4 bytes; 22: null */
QSC_API uint32_t BaCL_PutUint32Le(uint8_t *data, uint32_t value); /**< writes 4 bytes; 22: null */

/* ---- Files ---- */

/** Returns a file's size in bytes; 0 for a null or empty path, or if stat() fails. */
QSC_API int64_t BaCL_GetFileSize(const char *path);

/**
 * Tells what kind of file a path leads to.
 *
 * @retval 0 null path
 * @retval 1 a regular file
 * @retval 2 a directory; also an empty path, a socket, a block device
 * @retval 3 anything else, or nothing
 */
QSC_API uint32_t BaCL_GetPathProperty(const char *path);

/** Tells whether a path exists. @retval 1 yes @retval 0 no, or null or empty path */
QSC_API uint32_t BaCL_IsFileExist(const char *path);

/**
 * Copies a file over the destination's content, and flushes the file systems.
 *
 * @retval 0  copied
 * @retval 14 a file cannot be opened, or the source was not read and written completely
 * @retval 22 null or empty path, missing source, or both paths lead to the same file
 */
QSC_API uint32_t BaCL_CopyFile(const char *source, const char *destination);

/**
 * Creates a directory and its missing parents, with permissions 0775.
 *
 * @retval 0  created, or already there
 * @retval 12 no memory
 * @retval 14 failed; for example, a file is in the way
 * @retval 22 null or empty path
 */
QSC_API uint32_t BaCL_MakeDirectory(const char *path);

/* ---- IPv4: addresses and masks in network byte order; a prefix below 1 counts as 0, above 31 as 32. ---- */

QSC_API uint32_t QrnNU_IPv4_PrefixToNetmaskValue(int32_t prefix); /**< the mask of a prefix length */
QSC_API uint32_t QrnNU_IPv4_PrefixToNetmask(int32_t prefix);      /**< the same */

/** Returns the broadcast address of the network that `address` is in. */
QSC_API uint32_t QrnNU_IPv4_GetBroadcast(uint32_t address, int32_t prefix);

/** Returns the mask as dotted-quad text, in a buffer that the next inet_ntoa() of the thread overwrites. */
QSC_API const char *QrnNU_IPv4_PrefixToNetmaskString(int32_t prefix);

#ifdef __cplusplus
}
#endif

#endif
