// SPDX-License-Identifier: Apache-2.0
// A file that is open and locked, in the way that every program that works on the configuration locks it.
#pragma once

#include <string_view>

#include <sys/stat.h>

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "base/Types.h"
#include "platform/Arena.h"

namespace qrnuci
{

using qsc::u32;

using Path = qsc::Text<510>;

enum class Access {
    kRead,   ///< shared lock
    kChange, ///< exclusive lock on a file that exists
    kCreate, ///< exclusive lock on a file that is made if it is missing
};

/// The file stays locked until this goes out of scope.
class LockedFile
{
  public:
    LockedFile() = default;
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() { close(); }

    /// Opens and locks; ENOENT: it is not there. A lock that cannot be had within five seconds is EFAULT, as
    /// is every other failure; those are logged.
    [[nodiscard]] u32 open(const char* path, Access access);

    [[nodiscard]] bool is_open() const { return descriptor_.is_open(); }
    [[nodiscard]] int get() const { return descriptor_.get(); }
    [[nodiscard]] const struct stat& status() const { return status_; }

    /// Hands the open file out; the lock is given back.
    [[nodiscard]] qsc::FileDescriptor release();

    /// Reads all of it into the arena.
    [[nodiscard]] u32 read(const char* path, Arena& arena, char*& text, std::size_t& size) const;

  private:
    void close();

    qsc::FileDescriptor descriptor_{-1};
    struct stat status_ = {};
};

/// Logs a failed step with the file's name and the reason in errno. @return EFAULT
u32 log_failure(const char* step, const char* path);

} // namespace qrnuci
