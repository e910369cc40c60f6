// SPDX-License-Identifier: Apache-2.0
#include "core/StagedFile.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "base/ReplaceFile.h"

namespace qsc
{

bool read_staged(const StagedFile& file, FileText& text)
{
    return read_safe_file(file.staged, text) == 0 || read_safe_file(file.path, text) == 0;
}

u32 stage_file(const StagedFile& file, std::string_view content)
{
    (void)mkdir(file.folder, 0700);
    return replace_file(file.staged, content, 0600);
}

u32 use_staged(const StagedFile& file)
{
    struct stat status {
    };
    if (lstat(file.staged, &status) != 0) {
        return 0;
    }
    (void)chmod(file.folder, 0700);
    return std::rename(file.staged, file.path) == 0 ? 0 : static_cast<u32>(errno);
}

} // namespace qsc
