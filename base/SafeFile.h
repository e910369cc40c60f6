// SPDX-License-Identifier: Apache-2.0
// Reads small files from folders where anybody may have put anything: a link, a pipe, gigabytes.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// The content of a file, or the output of a program, with a terminating NUL that is not counted.
class FileText
{
  public:
    /// False: no memory.
    [[nodiscard]] bool append(std::string_view text);

    [[nodiscard]] std::string_view view() const { return {c_str(), size_}; }
    [[nodiscard]] const char* c_str() const { return text_ != nullptr ? text_.get() : ""; }

  private:
    struct FreeMemory {
        void operator()(char* memory) const { std::free(memory); }
    };
    std::unique_ptr<char, FreeMemory> text_;
    std::size_t size_ = 0;

    friend u32 read_safe_file(const char*, FileText&, std::size_t);
};

inline constexpr std::size_t kSafeFileSize = std::size_t{1024} * 1024;

/// Reads a regular file of at most `limit` bytes. Does not follow a symbolic link in the last path component,
/// and never blocks on a pipe. Logs nothing; `text` is unchanged on failure.
/// @return 0, ENOENT, ELOOP for a link, EINVAL for anything but a regular file, EFBIG for a larger file,
/// ENOMEM, or another errno of open(), fstat() or read()
[[nodiscard]] u32 read_safe_file(const char* path, FileText& text, std::size_t limit = kSafeFileSize);

/// Whether a folder is there, is the own user's, and lets in no one else. `makes_it`: it is made if it is
/// missing.
[[nodiscard]] bool has_own_folder(const char* path, bool makes_it);

} // namespace qsc
