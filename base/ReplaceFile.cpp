// SPDX-License-Identifier: Apache-2.0
#include "base/ReplaceFile.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "base/Text.h"

namespace qsc
{

u32 replace_file(const char* path, std::string_view content, mode_t mode)
{
    if (u32 code = 0;
        t_recording != nullptr && t_recording->writes(*t_recording, path, &content, mode, code)) {
        return code;
    }
    Text<254> beside;
    beside.append(path).append(".qrn-new");
    if (!beside.fits()) {
        return ENAMETOOLONG;
    }
    (void)unlink(beside.c_str()); // left by a process that was killed
    FileDescriptor file = open_file(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (file.is_open() && write_all(file.get(), content) && fchmod(file.get(), mode) == 0 &&
        fsync(file.get()) == 0 && file.close() && std::rename(beside.c_str(), path) == 0) {
        return 0;
    }
    const auto error = static_cast<u32>(errno);
    (void)unlink(beside.c_str());
    return error;
}

void make_folder(const char* path, mode_t mode)
{
    if (!is_planning()) {
        (void)mkdir(path, mode);
    }
}

} // namespace qsc
