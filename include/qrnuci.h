/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The configuration library, libqrnuci.so: the device's UCI packages in /etc/config, with changes staged
 * in /tmp/.uci until they are committed, in the file formats of the `uci` command. A library of its own,
 * so that a platform's own one of the same name can take its place. qsc_types.h states the conventions.
 *
 * A key is "PACKAGE.SECTION.OPTION" or "PACKAGE.SECTION". SECTION is a name, or "@TYPE[INDEX]" where the
 * index counts the sections of that type from 0, from the end when negative. PACKAGE is letters, digits,
 * "_" and "-".
 *
 * Every function may be called from any thread and from many processes at the same time.
 */
#ifndef QRNUCI_H
#define QRNUCI_H

#include "qsc_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Opens the configuration library. Reading and writing work without it as well. @retval 0 always */
QSC_API uint32_t QrnUci_Init(void);

/**
 * Releases what the library holds: packages in memory, and the files they were read from, which it keeps open
 * to notice their change. Staged changes stay staged.
 *
 * @retval 0 always
 */
QSC_API uint32_t QrnUci_Close(void);

/**
 * Reads an option with staged changes applied. A list gives its items joined by blanks, a section its type.
 *
 * @param[in]  key     the option, or a section
 * @param[out] buffer  the value; untouched unless 0 is returned
 * @param[in]  size    size of `buffer`, at least 1
 * @retval 0  read
 * @retval 14 nothing of that name, a value that does not fit, or a package that cannot be read
 * @retval 22 malformed key, null argument, size 0
 */
QSC_API uint32_t QrnUci_GetString(const char *key, char *buffer, uint32_t size);

/**
 * Stages one value; on return it is safe on the staging file system and visible to every process.
 *
 * @param[in] key       the option; its section must exist
 * @param[in] value     the value; empty: deletes the option, which need not exist
 * @param[in] reserved  0
 * @param[in] mark      1
 * @retval 0  staged
 * @retval 14 no such section, or the change could not be staged
 * @retval 22 malformed key, null argument
 */
QSC_API uint32_t QrnUci_SetNewString(const char *key, const char *value, uint32_t reserved, uint32_t mark);

/**
 * Reads one item of a list option. A plain option is a list of one.
 *
 * @param[in]  key     the option
 * @param[in]  index   from 0
 * @param[out] buffer  the item; untouched unless 0 is returned
 * @param[in]  size    size of `buffer`, at least 1
 * @return as QrnUci_GetString(); 14 also for an index past the end
 */
QSC_API uint32_t QrnUci_GetListItem(const char *key, uint32_t index, char *buffer, uint32_t size);

/**
 * Stages one item of a list option. An index past the end fills the gap with empty items; empty items at
 * the end are dropped; a list without items is deleted.
 *
 * @param[in] key    the option; its section must exist
 * @param[in] index  from 0
 * @param[in] value  the item
 * @return as QrnUci_SetNewString()
 */
QSC_API uint32_t QrnUci_SetListItem(const char *key, uint32_t index, const char *value);

/**
 * Merges a package's staged changes into its file, which is replaced whole or not at all.
 *
 * @param[in] package  the package's name
 * @retval 0  committed, or nothing was staged
 * @retval 14 no such package, its file could not be written, or what was staged (by others) makes no file
 * that can be read; what was staged stays staged
 * @retval 22 null, or not a package name
 */
QSC_API uint32_t QrnUci_CommitPackage(const char *package);

#ifdef __cplusplus
}
#endif

#endif
