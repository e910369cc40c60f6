// SPDX-License-Identifier: Apache-2.0
// Reading a small file from a place where others may have put anything: a link, a pipe, gigabytes.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "base/Types.h"

namespace qsc
{

/// The whole content of a file, or what a program printed, with a NUL after it that does not count.
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

inline constexpr std::size_t kSafeFileSize = 1024 * 1024;

/// Reads a regular file of at most `limit` bytes, without following a link at the end of the path and without
/// waiting for whoever may hold a pipe. Logs nothing, and leaves `text` alone unless it succeeds.
/// @return 0; ENOENT; ELOOP: it is a link; EINVAL: it is no regular file; EFBIG: it is larger; ENOMEM; or
/// what else open(), fstat() or read() failed with.
[[nodiscard]] u32 read_safe_file(const char* path, FileText& text, std::size_t limit = kSafeFileSize);

} // namespace qsc
