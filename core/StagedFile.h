// SPDX-License-Identifier: Apache-2.0
// Files outside the configuration that a set replaces whole: the new content waits beside the old one until
// the service puts it to use.
#pragma once

#include "base/SafeFile.h"

namespace qsc
{

struct StagedFile {
    const char* folder; ///< no one else may look into it; it is made for the first content
    const char* path;
    const char* staged; ///< where the new content waits, in the same folder
};

/// Reads what is staged, else what is in use. False: there is neither.
[[nodiscard]] bool read_staged(const StagedFile& file, FileText& text);

/// Keeps new content, mode 0600. @return 0 or an errno
[[nodiscard]] u32 stage_file(const StagedFile& file, std::string_view content);

/// Puts staged content to use. @return 0, also when there is none, or an errno
[[nodiscard]] u32 use_staged(const StagedFile& file);

} // namespace qsc
