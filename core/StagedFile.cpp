// SPDX-License-Identifier: Apache-2.0
#include "core/StagedFile.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "base/Recording.h"
#include "base/ReplaceFile.h"

namespace qsc
{

bool read_staged(const StagedFile& file, FileText& text)
{
    // What others have staged is not part of changes that are made as one.
    u32 code = 0;
    return (t_recording != nullptr ? t_recording->reads(*t_recording, file.staged, text, code) && code == 0
                                   : read_safe_file(file.staged, text) == 0) ||
           read_safe_file(file.path, text) == 0;
}

u32 stage_file(const StagedFile& file, std::string_view content)
{
    make_folder(file.folder, 0700);
    return replace_file(file.staged, content, 0600);
}

u32 use_staged(const StagedFile& file)
{
    if (t_recording != nullptr) {
        FileText text;
        u32 code = 0;
        const bool is_staged = t_recording->reads(*t_recording, file.staged, text, code) && code == 0;
        const std::string_view content = text.view();
        return is_staged && t_recording->writes(*t_recording, file.path, &content, 0600, code) && code == 0 &&
                       t_recording->writes(*t_recording, file.staged, nullptr, 0, code)
                   ? code
                   : 0;
    }
    struct stat status {
    };
    if (lstat(file.staged, &status) != 0) {
        return 0;
    }
    (void)chmod(file.folder, 0700);
    return std::rename(file.staged, file.path) == 0 ? 0 : static_cast<u32>(errno);
}

} // namespace qsc
