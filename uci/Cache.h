// SPDX-License-Identifier: Apache-2.0
// Packages as they were last read, kept while nobody changes their files.
//
// The rule. A package read before may be used again when, at the time of the question,
//   1. its file is the one that was read: device, inode, size, and the times of the last change of content
//      and of status are those noted under the lock. The file is kept open, so that its inode number cannot
//      come back as that of another file however often it is replaced;
//   2. the same holds of its staging file, or there was none and there is none: the folder of staging files
//      has the marks it had before the file was last looked for in vain, or it is looked for again. Nor is
//      there a file that has come to stand before the package's own, in the folder of those;
//   3. either file that was changed in the very moment it was read still holds the same bytes. The clock that
//      marks a file moves in ticks, and some file systems keep whole seconds only; a second change in the
//      same tick, of the same size, in place, leaves all marks alone. Once the marks are older than a tick,
//      they alone are enough.
// A file is looked at by name every time, so that one that appears, goes or is swapped is noticed.
#pragma once

#include <memory>
#include <string_view>

#include <sys/stat.h>

#include "uci/LockedFile.h"
#include "uci/Package.h"

namespace qrnuci
{

/// A file that was looked for in vain.
class Absence
{
  public:
    /// Whether there is still no file to come before a package's own.
    [[nodiscard]] bool of_first_file(const char* path);

    /// Whether there is still no staging file, or none that is to be trusted.
    [[nodiscard]] bool of_staging_file(const char* path);

  private:
    [[nodiscard]] bool is_settled_since(const struct stat& now);

    bool is_settled_ = false; ///< the folder's marks alone are enough
    struct stat folder_ = {};
};

/// One file as it was when it was read.
class Snapshot
{
  public:
    /// Takes over an open file with its text; a lock goes. A closed one stands for no file.
    void take(LockedFile& file, std::string_view text);

    /// Whether the file at the path is still what was read.
    [[nodiscard]] bool is_current(const char* path);

    [[nodiscard]] bool is_there() const { return descriptor_.is_open(); }

    Snapshot() = default;
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;
    ~Snapshot();

  private:
    void close();
    [[nodiscard]] bool holds_same_bytes() const;

    qsc::FileDescriptor descriptor_{-1};
    struct stat status_ = {};
    bool is_settled_ = false; ///< the marks in status_ alone are enough
    u64 hash_ = 0;
};

/// A package with its staged changes, as of one moment.
struct CachedPackage {
    /// Whether it can be used as it is; one that was never read cannot.
    [[nodiscard]] bool is_current();

    /// Finds the file to read; whether there is a staging file to read as well.
    [[nodiscard]] bool find_files();

    qsc::Text<255> name; ///< no file has a longer one
    Path first_path;     ///< where a file would come before the package's own
    Path config_path;    ///< of the file that was read
    Path delta_path;
    Absence first_absence;
    Absence delta_absence;
    Snapshot config;
    Snapshot delta;
    Package package;
    u32 reads = 0; ///< since it was loaded, from memory
    u64 last_use = 0;
    u32 views = 0;           ///< those that answer from it; it is not changed until they end
    bool is_dropped = false; ///< the last of them frees it
    CachedPackage* next = nullptr;
};

struct FreePackage {
    void operator()(CachedPackage* package) const;
};
using OwnedPackage = std::unique_ptr<CachedPackage, FreePackage>;

/// A package that is still to be read; null: no memory.
[[nodiscard]] OwnedPackage make_package(std::string_view name);

/// Holds the cache for itself until it goes out of scope; one thread at a time, and safe across fork().
class CacheLock
{
  public:
    CacheLock();
    ~CacheLock() { unlock(); }
    CacheLock(const CacheLock&) = delete;
    CacheLock& operator=(const CacheLock&) = delete;

    /// The package as it was last read; null: the cache does not have it.
    [[nodiscard]] CachedPackage* find(std::string_view name);

    /// Frees a package that a view has ended with, if the cache has dropped it.
    void give_back(CachedPackage& package);

    /// Takes a package out.
    [[nodiscard]] OwnedPackage take_out(const CachedPackage& package);

    /// Puts a package in, in the place of one of its name. If there are too many, the one that nobody has
    /// asked for longest goes.
    CachedPackage& put_in(OwnedPackage package);

    /// Lets other threads have the cache while this one works on something else.
    template <typename Work>
    auto release_for(Work work)
    {
        unlock();
        const auto result = work();
        lock();
        return result;
    }

    void clear();

  private:
    static void lock();
    static void unlock();
};

} // namespace qrnuci
