// SPDX-License-Identifier: Apache-2.0
// The staged changes of a package: a file of lines in /tmp/.uci, applied in order over the package's file.
//
// Line by line it is the format of every program that works on the configuration. Two notes make it safe
// against a kill at any moment. To other programs they are changes of a section that does not exist, which
// they skip; comments would stop some of them.
//   ~PACKAGE.qrnuci_group.size='N'       the N bytes behind it belong together; fewer mean that their writer
//                                        was killed, and they count as never written
//   ~PACKAGE.qrnuci_committed.inode='I'  everything before is part of the package's file if that file has the
//                                        inode I: the commit was killed after it had replaced the file and
//                                        before it could empty this one
#pragma once

#include <string_view>

#include "platform/LockedFile.h"
#include "platform/Package.h"

namespace qrnuci
{

/// Where every program that works on the configuration stages its changes.
inline constexpr const char* kStagingFolder = "/tmp/.uci";

/// The path of a package's staging file.
[[nodiscard]] Path delta_path(std::string_view package);

/// Whether a folder found at kStagingFolder, without following links, is to be trusted: what others can write
/// there would be committed in our name.
[[nodiscard]] bool is_trusted_folder(const struct stat& status);

/// EFAULT: the staging folder is not to be trusted, which is logged. A missing one is.
[[nodiscard]] u32 check_staging_folder();

/// Makes the staging folder if it is missing, and checks it.
[[nodiscard]] u32 ensure_staging_folder();

/// What a staging file was found to hold.
struct DeltaState {
    std::size_t sound = 0;     ///< bytes up to the end of the last whole change
    bool has_changes = false;  ///< there is something to commit
    bool is_committed = false; ///< what stands before is part of the package's file already
};

/// Applies a staging file's text to a package whose file has the given inode. The text is cut up in place and
/// must live as long as the package. A line that makes no sense, or changes what is not there, is skipped: as
/// much of the staged changes as possible is kept. ENOMEM.
[[nodiscard]] u32 apply_delta(char* text, std::size_t size, std::string_view name, ino_t inode,
                              Package& package, DeltaState& state);

/// Appends text to an open staging file, behind its last whole change. What does not fit is taken back.
/// Several lines that belong together need a note in front when a kill could leave only some of them.
[[nodiscard]] u32 append_delta(const LockedFile& file, const char* path, const DeltaState& state,
                               std::string_view text);

using NoteText = qsc::Text<320>;

/// The note to put before lines of that size in total; empty when they are written in one piece anyway.
[[nodiscard]] NoteText group_note(std::string_view package, const DeltaState& state, std::size_t size);

/// Notes that everything staged becomes part of the file with this inode.
[[nodiscard]] u32 mark_committed(const LockedFile& file, const char* path, std::string_view package,
                                 const DeltaState& state, ino_t inode);

/// Empties an open staging file.
[[nodiscard]] u32 clear_delta(const LockedFile& file, const char* path);

} // namespace qrnuci
