// SPDX-License-Identifier: Apache-2.0
// The keys that open the device without a password: one a line, each a type, base64 and a comment.
#pragma once

#include "base/SafeFile.h"

namespace qsc::system
{

inline constexpr std::size_t kMostKeys = 8192; ///< bytes

/// Reads what is staged, else what is in use. False: there is none.
[[nodiscard]] bool read_keys(FileText& keys);

/// Whether there is a key among the lines of a text.
[[nodiscard]] bool has_key(std::string_view keys);

/// Judges what a caller sent, and takes it with one line feed after each key. EFAULT: refused.
[[nodiscard]] u32 take_keys(std::string_view text, FileText& keys);

/// Keeps keys until they are put to use. @return 0 or an errno
[[nodiscard]] u32 stage_keys(std::string_view keys);

/// Puts staged keys to use. @return 0, also when there are none, or an errno
[[nodiscard]] u32 use_staged_keys();

} // namespace qsc::system
