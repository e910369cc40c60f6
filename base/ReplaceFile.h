// SPDX-License-Identifier: Apache-2.0
// Writes small files whole: readers see the old content or the new, never a part.
#pragma once

#include <string_view>

#include <sys/types.h>

#include "base/Types.h"

namespace qsc
{

/// Writes a new file beside `path`, which others cannot write to, and renames it.
/// @return 0, or the errno of the step that failed; the old file is as it was then
[[nodiscard]] u32 replace_file(const char* path, std::string_view content, mode_t mode);

/// Makes a folder, if it is not there; whoever uses it sees whether it is.
void make_folder(const char* path, mode_t mode);

} // namespace qsc
