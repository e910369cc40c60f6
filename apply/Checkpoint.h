// SPDX-License-Identifier: Apache-2.0
// The checkpoint: what a change that waits to be confirmed has replaced, in one file on flash. It is there
// whole or not at all, whatever is killed when: a new one is written beside it, made safe and renamed.
//
// It is a JSON object. Beside what Window.cpp keeps in it, "packages" has the text of each package by its
// name, and "files" by its path an object of "text", "mode", "user" and "group". Null: there was none.
#pragma once

#include "base/Json.h"
#include "base/Types.h"

namespace qsc::apply
{

inline constexpr const char* kStateFolder = "/etc/qsyscmdhal";
inline constexpr const char* kCheckpoint = "/etc/qsyscmdhal/checkpoint";
inline constexpr const char* kFailedCheckpoint = "/etc/qsyscmdhal/checkpoint.failed";

/// @return 0; ENOENT: there is none; EFAULT: it cannot be read, which is logged
[[nodiscard]] u32 load_checkpoint(JsonRef& checkpoint);

/// Keeps it durably, in the place of one that is there. @return 0, or an errno; the old one is there then
[[nodiscard]] u32 save_checkpoint(json_object* checkpoint);

/// Removes it durably. @return 0, or an errno
[[nodiscard]] u32 remove_checkpoint();

/// Gives one that cannot be put back another name, where nobody takes it for one that waits.
[[nodiscard]] u32 set_checkpoint_aside();

/// Puts the packages and files back, each whole or not at all, and as many as can be. `report` gets
/// "packages" and "files": of each "unchanged", "restored", or why it is not. @return 0, or EFAULT: not all
/// are back
[[nodiscard]] u32 put_back(json_object* checkpoint, json_object* report);

/// Whether the packages and files are what the checkpoint has.
[[nodiscard]] bool is_as_kept(json_object* checkpoint);

/// Adds what the second has to the first, which keeps what it has.
[[nodiscard]] u32 merge_checkpoint(json_object* checkpoint, const char* member, json_object* more);

} // namespace qsc::apply
