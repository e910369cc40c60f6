// SPDX-License-Identifier: Apache-2.0
// A file that is open and locked, in the way that every program that works on the configuration locks it.
#pragma once

#include <string_view>

#include <sys/stat.h>

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "uci/Arena.h"
#include "uci/Log.h"

namespace qrnuci
{

using Path = qsc::Text<510>;

/// How long one call may still wait for others.
class Patience
{
  public:
    explicit constexpr Patience(u32 milliseconds) : milliseconds_(milliseconds) {}

    /// Waits a little; false: it has come to an end.
    [[nodiscard]] bool wait();

  private:
    u32 milliseconds_;
};

/// A reader goes on without the lock; whoever wants to write gives up.
constexpr Patience kReaderPatience{200};
constexpr Patience kWriterPatience{5000};

enum class Access {
    kRead,   ///< shared lock
    kHold,   ///< exclusive lock on a file that is only read
    kChange, ///< exclusive lock on a file that exists
    kCreate, ///< exclusive lock on a file that is made if it is missing
};

/// The file stays locked until this goes out of scope. A child process that is forked meanwhile has neither
/// the file nor the lock.
class LockedFile
{
  public:
    LockedFile() = default;
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;
    ~LockedFile() { close(); }

    /// Opens and locks, with further flags for open(). A reader whose patience ends has the file without the
    /// lock. ENOENT: it is not there; other failures are logged, a lock that cannot be had among them.
    [[nodiscard]] u32 open(const char* path, Access access, Patience& patience, int flags = 0);

    [[nodiscard]] bool is_open() const { return descriptor_.is_open(); }
    [[nodiscard]] bool is_locked() const { return is_locked_; }
    [[nodiscard]] int get() const { return descriptor_.get(); }
    [[nodiscard]] const struct stat& status() const { return status_; }

    /// Whether the path still leads to the open file: a commit replaces it while others wait for its lock.
    [[nodiscard]] bool is_current(const char* path) const;

    /// Hands the open file out; the lock is given back.
    [[nodiscard]] qsc::FileDescriptor release();

    /// Reads all of it into the arena. Of a file that is not locked, EAGAIN: it has changed meanwhile.
    [[nodiscard]] u32 read(const char* path, Arena& arena, char*& text, std::size_t& size) const;

    void close();

  private:
    [[nodiscard]] bool lock(int kind, Patience& patience);
    [[nodiscard]] u32 read_once(const char* path, char* text, std::size_t& size) const;

    qsc::FileDescriptor descriptor_{-1};
    bool is_locked_ = false;
    struct stat status_ = {};

    // All that are open in this process, for a child to close.
    friend class OpenFiles;
    LockedFile* previous_ = nullptr;
    LockedFile* next_ = nullptr;
};

/// Whether a path still leads to a file that was found to have this status, and that has not changed since.
[[nodiscard]] bool has_same_marks(const struct stat& one, const struct stat& other);

} // namespace qrnuci
