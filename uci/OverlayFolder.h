// SPDX-License-Identifier: Apache-2.0
// The folder of an overlay: a file for each package in which something is staged, in the format of the
// staging files, and one that lists the packages noted as committed. It is kept open, so that it stays the
// same one whatever happens to its path.
#pragma once

#include <string_view>

#include <dirent.h>
#include <fcntl.h>

#include "base/FileDescriptor.h"
#include "uci/Growing.h"
#include "uci/LockedFile.h"

namespace qrnuci
{

class OverlayFolder
{
  public:
    /// Opens the folder, and makes it if it is missing. EFAULT: that failed, or it is not for the own user
    /// alone.
    [[nodiscard]] u32 open(std::string_view path);

    /// Calls take(name) for each file, until one answers other than 0, which is returned.
    template <typename Take>
    [[nodiscard]] u32 for_each_file(Take take) const
    {
        const qsc::StdioReserve reserve;
        const int again = openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* const files = again >= 0 ? fdopendir(again) : nullptr;
        if (files == nullptr) {
            const u32 code = fail("read", ".");
            (void)(again >= 0 && close(again));
            return code;
        }
        u32 code = 0;
        while (const dirent* const file = code == 0 ? readdir(files) : nullptr) {
            code = take(file->d_name);
        }
        (void)closedir(files);
        return code;
    }

    /// Reads a file, and answers what has_same_file() takes. ENOENT: there is none.
    [[nodiscard]] u32 read(const char* name, Growing& text, struct stat& status) const;

    /// Writes a text behind the first `kept` bytes of a file, all that it has, or as a new one: 0. Answers
    /// what has_same_file() takes.
    [[nodiscard]] u32 write(const char* name, std::size_t kept, std::string_view text,
                            struct stat& written) const;

    /// To be called when all is written, before the folder is left for a while.
    void leave();

    /// Whether the path still leads to the folder, and to what was in it then.
    [[nodiscard]] bool is_as_left(std::string_view path) const;
    [[nodiscard]] bool has_same_file(const char* name, const struct stat& written) const;

  private:
    [[nodiscard]] u32 fail(const char* step, const char* name) const;

    Path path_;
    qsc::FileDescriptor folder_{-1};
    struct stat left_ = {};
};

} // namespace qrnuci
