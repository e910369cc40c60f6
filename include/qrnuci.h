/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The configuration library, libqrnuci.so: the device's UCI packages in /etc/config, with changes staged
 * in /tmp/.uci until they are committed, in the file formats of the `uci` command. As there, a file in
 * /var/run/uci comes before one of the same name in /etc/config. A library of its own, so that a platform's
 * own one of the same name can take its place. qsc_types.h states the conventions.
 *
 * A key is "PACKAGE.SECTION.OPTION" or "PACKAGE.SECTION". SECTION is a name, or "@TYPE[INDEX]" where the
 * index counts the sections of that type from 0, from the end when negative. PACKAGE is letters, digits,
 * "_" and "-".
 *
 * Every function may be called from any thread and from many processes at the same time. Views and changes,
 * below, belong to the thread that began them. A writer waits up to 5 s for other writers (then: 14);
 * who reads, up to 200 ms a call or a view, and then reads without their locks.
 *
 * /tmp/.uci must be a folder of the own user in which no other user may write. Otherwise staged changes are
 * neither seen nor made, and writing and committing are 14. What fails is logged to the system log, once.
 *
 * Beside the codes that are named below, every function that reads or writes answers 12 when there is no
 * memory or no file descriptor left.
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
 * to notice their change; also those of the overlay that was ended last. Staged changes stay staged.
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

/*
 * One view. Reads outside a view look at the package's files every time. Within a view each package is
 * looked at once, and answered from that version until the view ends: cheaper, and all answers agree. What
 * the thread stages or commits itself it sees at once.
 */

/**
 * Begins a view for the calling thread. Views nest; the outermost counts. Each is ended with
 * QrnUci_EndView() by the same thread.
 *
 * @retval 0 always
 */
QSC_API uint32_t QrnUci_BeginView(void);

/**
 * Ends the calling thread's innermost view.
 *
 * @retval 0  ended
 * @retval 14 the thread has none
 */
QSC_API uint32_t QrnUci_EndView(void);

/**
 * Has the calling thread's view look at every package anew: for who has run a command that may have changed
 * them. Without a view it does nothing.
 *
 * @retval 0 always
 */
QSC_API uint32_t QrnUci_RenewView(void);

/*
 * One change of many parts. Between QrnUci_BeginChange() and QrnUci_EndChange() the calling thread has the
 * package to itself: no one else stages or commits there, what the thread writes is collected, seen by its
 * own reads alone, and then staged whole or not at all, whatever is killed when. A change may be of several
 * packages, each begun on its own and all ended at once: they are staged together or not at all, unless the
 * process is killed in between. Threads that change the same ones begin them in the same order, or both wait
 * until one gives up.
 */

/**
 * Begins a change of a package, beside those that the thread has begun already.
 *
 * @param[in] package  the package's name
 * @retval 0  begun
 * @retval 14 no such package, it cannot be read, someone else has held it for five seconds, or the thread is
 *            in a change of it already
 * @retval 22 null, or not a package name
 */
QSC_API uint32_t QrnUci_BeginChange(const char *package);

/**
 * Ends the calling thread's change, of all packages that it was begun for.
 *
 * @param[in] keep  0: forgets what was written; else stages it, durably and visibly to every process
 * @retval 0  ended, and staged if it was to be kept
 * @retval 14 what was written could not be staged, and nothing is; or the thread is in no change
 */
QSC_API uint32_t QrnUci_EndChange(uint32_t keep);

/*
 * Sections. Those without a name of their own have one that is made up, like "cfg0492bd". It is as good as
 * any in a key, but only until the package is committed: it says where in the file the section is.
 * So what is found by number or value and then changed is found and changed within one QrnUci_BeginChange().
 */

/**
 * Counts sections, with staged changes applied.
 *
 * @param[in]  package  the package's name
 * @param[in]  type     the type of section; empty: all
 * @param[out] count    how many there are; untouched unless 0 is returned
 * @retval 0  counted; a package without one has 0
 * @retval 14 a package that cannot be read
 * @retval 22 null argument, malformed name of a package
 */
QSC_API uint32_t QrnUci_CountSections(const char *package, const char *type, uint32_t *count);

/**
 * Lists the names of sections, in the file's order.
 *
 * @param[in]  package  the package's name
 * @param[in]  type     the type of section; empty: all
 * @param[out] buffer   the names one after the other, each with its terminator
 * @param[in]  size     size of `buffer`, at least 1
 * @param[out] count    how many there are; this and `buffer` are untouched unless 0 is returned
 * @retval 0  listed
 * @retval 14 a package that cannot be read, or names that do not fit
 * @retval 22 null argument, malformed name of a package, size 0
 */
QSC_API uint32_t QrnUci_ListSections(const char *package, const char *type, char *buffer, uint32_t size,
                                     uint32_t *count);

/**
 * Finds the first section, in the file's order, of which an option has a value. Of a list, one of the items
 * must be that value.
 *
 * @param[in]  package  the package's name
 * @param[in]  type     the type of section; empty: any
 * @param[in]  option   the option's name
 * @param[in]  value    its value, byte for byte; empty: the section has no such option
 * @param[out] buffer   the section's name; untouched unless 0 is returned
 * @param[in]  size     size of `buffer`, at least 1
 * @retval 0  found
 * @retval 14 there is none, its name does not fit, or a package that cannot be read
 * @retval 22 null argument, malformed name of a package or option, size 0
 */
QSC_API uint32_t QrnUci_FindSection(const char *package, const char *type, const char *option,
                                    const char *value, char *buffer, uint32_t size);

/**
 * Tells a section's name.
 *
 * @param[in]  key     the section, such as "firewall.@rule[-1]"
 * @param[out] buffer  its name; untouched unless 0 is returned
 * @param[in]  size    size of `buffer`, at least 1
 * @retval 0  found
 * @retval 14 no such section, a name that does not fit, or a package that cannot be read
 * @retval 22 malformed key or that of an option, null argument, size 0
 */
QSC_API uint32_t QrnUci_GetSectionName(const char *key, char *buffer, uint32_t size);

/**
 * Tells a section's place among all sections of its package, as QrnUci_MoveSection() takes it.
 *
 * @param[in]  key       the section
 * @param[out] position  from 0; untouched unless 0 is returned
 * @return as QrnUci_GetSectionName()
 */
QSC_API uint32_t QrnUci_GetSectionPosition(const char *key, uint32_t *position);

/**
 * Stages a new section after all others, without options.
 *
 * @param[in]  package  the package's name
 * @param[in]  type     the section's type: visible ASCII characters
 * @param[in]  name     its name: letters, digits and "_"; null or empty: it gets none of its own
 * @param[out] buffer   its name, made up where it has none of its own; may be null; untouched unless 0 is
 *                      returned
 * @param[in]  size     size of `buffer`
 * @retval 0  staged
 * @retval 14 there is a section of that name, no such package, a name that does not fit, or the change could
 *            not be staged
 * @retval 22 null or malformed package, type or name
 */
QSC_API uint32_t QrnUci_AddSection(const char *package, const char *type, const char *name, char *buffer,
                                   uint32_t size);

/**
 * Stages the end of a section with all its options.
 *
 * @param[in] key  the section
 * @retval 0  staged
 * @retval 14 no such section, or the change could not be staged
 * @retval 22 malformed key or that of an option, null
 */
QSC_API uint32_t QrnUci_DeleteSection(const char *key);

/**
 * Stages another place for a section among all sections of its package.
 *
 * @param[in] key       the section
 * @param[in] position  from 0; past the last: it becomes the last
 * @return as QrnUci_DeleteSection()
 */
QSC_API uint32_t QrnUci_MoveSection(const char *key, uint32_t position);

/**
 * Stages another name for a section. One without a name of its own has one from then on.
 *
 * @param[in] key   the section
 * @param[in] name  its new name: letters, digits and "_"
 * @return as QrnUci_DeleteSection(); 14 also when another section has the name, 22 also for a malformed one
 */
QSC_API uint32_t QrnUci_RenameSection(const char *key, const char *name);

/**
 * Stages the end of an option, plain or list.
 *
 * @param[in] key  the option; its section must exist, the option need not
 * @return as QrnUci_SetNewString()
 */
QSC_API uint32_t QrnUci_DeleteOption(const char *key);

/**
 * Reads all items of a list option. A plain option is a list of one.
 *
 * @param[in]  key     the option
 * @param[out] buffer  the items one after the other, each with its terminator
 * @param[in]  size    size of `buffer`, at least 1
 * @param[out] count   how many there are; this and `buffer` are untouched unless 0 is returned
 * @return as QrnUci_GetString()
 */
QSC_API uint32_t QrnUci_GetList(const char *key, char *buffer, uint32_t size, uint32_t *count);

/**
 * Stages all items of a list option, in the place of those that it had. Empty items at the end are dropped;
 * a list without items is deleted.
 *
 * @param[in] key    the option; its section must exist
 * @param[in] items  the items, none null; may be null when `count` is 0
 * @param[in] count  how many there are
 * @return as QrnUci_SetNewString()
 */
QSC_API uint32_t QrnUci_SetList(const char *key, const char *const *items, uint32_t count);

/*
 * A private overlay: changes that nobody else sees. Between QrnUci_BeginOverlay() and QrnUci_EndOverlay() the
 * calling thread reads the packages' files with what is staged in a folder of its own alone, and stages
 * there. What is staged in /tmp/.uci, by the thread before or by others, is neither seen nor touched. All
 * other threads and processes go on as ever. A package is looked at once, as in a view, until
 * QrnUci_RenewView().
 *
 * What is staged in an overlay is written to its folder when the overlay ends, and not made safe there: after
 * a kill or a power failure the folder is worth nothing. One thread at a time uses it.
 */

/**
 * Begins an overlay for the calling thread. Within it QrnUci_CommitPackage() commits nothing: it notes the
 * package in the folder, for QrnUci_ListOverlay().
 *
 * @param[in] folder  the path of a folder, from the root, of at most 220 characters. It is the own user's,
 * with access for nobody else; made when it is missing. What was staged there before is seen again
 * @retval 0  begun
 * @retval 14 no such folder, and it cannot be made, or it is another one than that; or the thread is in an
 *            overlay, a view or a change already
 * @retval 22 null, or not a path from the root
 */
QSC_API uint32_t QrnUci_BeginOverlay(const char *folder);

/**
 * Ends the calling thread's overlay. What is staged stays in the folder, which may be begun again. Who does
 * not want it any more removes the folder.
 *
 * @retval 0  ended
 * @retval 14 the thread is in no overlay, or in a change, which ends first; or the overlay has ended, but the
 *            folder could not be written and is worth nothing
 */
QSC_API uint32_t QrnUci_EndOverlay(void);

/**
 * Lists the packages of the calling thread's overlay: those in which something is staged, and those that
 * were noted as committed.
 *
 * @param[out] buffer  the names one after the other, each with its terminator, each once, in no
 *                     particular order
 * @param[in]  size    size of `buffer`, at least 1
 * @param[out] count   how many there are; this and `buffer` are untouched unless 0 is returned
 * @retval 0  listed
 * @retval 14 the thread is in no overlay, or names that do not fit
 * @retval 22 null argument, size 0
 */
QSC_API uint32_t QrnUci_ListOverlay(char *buffer, uint32_t size, uint32_t *count);

/*
 * Whole packages, as texts.
 */

/**
 * Reads the text of a package's file. Within an overlay it is the text that a commit would write: the file's
 * own, byte for byte, where nothing is staged. What is staged in /tmp/.uci is never part of it.
 *
 * @param[in]  package  the package's name
 * @param[out] buffer   the text; untouched unless 0 is returned; may be null when `size` is 0
 * @param[in]  size     size of `buffer`
 * @param[out] length   the text's length in bytes, without its terminator; also when it does not fit. May be
 *                      null
 * @retval 0  read
 * @retval 2  the package has no file
 * @retval 14 a text that does not fit, or one that cannot be read
 * @retval 22 null, or not a package name
 */
QSC_API uint32_t QrnUci_ReadPackage(const char *package, char *buffer, uint32_t size, uint32_t *length);

/**
 * Reads the text that the calling thread's overlay of a package stands on: that of its file as the overlay
 * has looked at it. With it as `before`, QrnUci_ReplacePackage() never takes away what others have
 * committed since.
 *
 * @param[in]  package  the package's name
 * @param[out] buffer   the text, as for QrnUci_ReadPackage()
 * @param[in]  size     size of `buffer`
 * @param[out] length   as for QrnUci_ReadPackage()
 * @return as QrnUci_ReadPackage(); 14 also when the thread is in no overlay
 */
QSC_API uint32_t QrnUci_ReadPackageBefore(const char *package, char *buffer, uint32_t size, uint32_t *length);

/**
 * Replaces a package's file, or makes or removes it, whole or not at all whatever is killed when, and
 * durably. It takes the locks that a commit takes. What is staged in /tmp/.uci stays staged. The text is
 * written as it is, even where it makes no package. A new file is the own user's, who alone may read it; one
 * that is replaced keeps its owner and its permissions.
 *
 * @param[in] package  the package's name
 * @param[in] before   the text that the file must still have; null: there must be no file
 * @param[in] after    the text that it gets; null: it is removed
 * @retval 0  replaced, or the file has that text already, or there is none already
 * @retval 11 the file has another text than `before`: somebody has changed it
 * @retval 14 the file could not be written and is as before; or the thread is in a change of the package
 * @retval 22 null, or not a package name
 */
QSC_API uint32_t QrnUci_ReplacePackage(const char *package, const char *before, const char *after);

/** What a difference between two texts of a package is; see Qrn_UciDifference. */
#define QRN_UCI_ADDED 1u   /**< the section or option is in the text after alone */
#define QRN_UCI_DELETED 2u /**< it is in the text before alone */
#define QRN_UCI_CHANGED 3u /**< an option with another value, or a section with another type */
#define QRN_UCI_MOVED 4u   /**< a section among all others; the values are its positions, from 0 */
#define QRN_UCI_RENAMED 5u /**< a section; the values are its names, empty for one without a name */

/** One difference. The texts are valid during the call only; none is null. */
typedef struct Qrn_UciDifference {
    const char *section;   /**< its name, or "@TYPE[INDEX]" for one without: in the text after, of a deleted
                                one in the text before */
    const char *type;      /**< the section's type */
    const char *option;    /**< the option; empty: the section itself */
    uint32_t kind;         /**< QRN_UCI_ADDED and so on */
    uint32_t is_old_list;  /**< 1: the old value is a list's, its items joined by blanks */
    uint32_t is_new_list;  /**< 1: so is the new one */
    const char *old_value; /**< empty where there is none; of a section its type */
    const char *new_value; /**< likewise */
} Qrn_UciDifference;

/**
 * Is told a difference.
 *
 * @param[in] difference  the difference
 * @param[in] context     what was given to QrnUci_ComparePackages()
 * @return 0 to go on; else the comparison ends with this code
 */
typedef uint32_t Qrn_UciDifferenceFunction(const Qrn_UciDifference *difference, void *context);

/**
 * Compares two texts of a package by what they say: comments, quotes and layout make no difference, nor does
 * the order of the options in a section. Sections with a name are the same when their names are. Those
 * without are the same when they say the same; what is left over is paired with the most alike of its type.
 * A section that comes or goes is told first, then each of its options.
 *
 * @param[in] before   the text before; null: no file, which compares as an empty one
 * @param[in] after    the text after; null: likewise
 * @param[in] call     is called for each difference
 * @param[in] context  handed to it
 * @retval 0  compared; not called: they say the same
 * @retval 14 a text that makes no package, which is logged
 * @retval 22 `call` is null
 * @return or what `call` has answered
 */
QSC_API uint32_t QrnUci_ComparePackages(const char *before, const char *after,
                                        Qrn_UciDifferenceFunction *call, void *context);

#ifdef __cplusplus
}
#endif

#endif
