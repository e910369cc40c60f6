// SPDX-License-Identifier: Apache-2.0
// File and directory helpers.
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Text.h"
#include "base/Types.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

enum PathProperty : u32 { kNoPath = 0, kRegularFile = 1, kDirectory = 2, kOther = 3 };

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};

/// Copies until the end of the source. @return the number of bytes, or -1 if a read or write failed
i64 copy_content(int source, int destination)
{
    std::array<char, 512> block;
    i64 total = 0;
    for (;;) {
        const ssize_t count = read(source, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0) {
            return total;
        }
        if (count < 0 || !write_all(destination, {block.data(), static_cast<std::size_t>(count)})) {
            return -1;
        }
        total += count;
    }
}

/// Whether both paths lead to the same file, which truncating the destination would destroy. A destination
/// that could not be opened is looked up by its path.
bool is_same_file(const FileDescriptor& source, const FileDescriptor& destination, const char* path)
{
    struct stat one = {};
    struct stat other = {};
    return fstat(source.get(), &one) == 0 &&
           (destination.is_open() ? fstat(destination.get(), &other) : stat(path, &other)) == 0 &&
           one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Creates a directory unless it exists.
bool ensure_directory(const char* path)
{
    switch (BaCL_GetPathProperty(path)) {
    case kDirectory:
        return true;
    case kOther:
        // Another process may have created it meanwhile.
        return mkdir(path, 0775) == 0 || BaCL_GetPathProperty(path) == kDirectory;
    default:
        return false;
    }
}

} // namespace

int64_t BaCL_GetFileSize(const char* path)
{
    struct stat status = {};
    return !is_empty(path) && stat(path, &status) == 0 ? i64{status.st_size} : 0;
}

uint32_t BaCL_GetPathProperty(const char* path)
{
    if (path == nullptr) {
        return kNoPath;
    }
    if (*path == '\0') {
        return kDirectory;
    }
    struct stat status = {};
    if (stat(path, &status) != 0) {
        return kOther;
    }
    // Tests single bits, not the whole file type: sockets and block devices count as directories.
    return (status.st_mode & 0x4000) != 0   ? kDirectory
           : (status.st_mode & 0x8000) != 0 ? kRegularFile
                                            : kOther;
}

uint32_t BaCL_IsFileExist(const char* path)
{
    return !is_empty(path) && access(path, F_OK) == 0 ? 1 : 0;
}

uint32_t BaCL_CopyFile(const char* source, const char* destination)
{
    if (is_empty(source) || is_empty(destination) || std::strcmp(source, destination) == 0 ||
        BaCL_IsFileExist(source) == 0) {
        return EINVAL;
    }
    const FileDescriptor from = open_file(source, O_RDONLY);
    if (!from.is_open()) {
        return EFAULT;
    }
    FileDescriptor to = open_file(destination, O_WRONLY | O_CREAT, 0666);
    if (is_same_file(from, to, destination)) {
        return EINVAL;
    }
    if (!to.is_open()) {
        return EFAULT;
    }
    // Devices and pipes cannot be truncated and need not be.
    if (ftruncate(to.get(), 0) != 0 && errno != EINVAL) {
        return EFAULT;
    }
    const i64 size = BaCL_GetFileSize(source);
    const i64 copied = copy_content(from.get(), to.get());
    if (copied < 0 || static_cast<u32>(copied) != static_cast<u32>(size)) {
        return EFAULT;
    }
    sync();
    return to.close() ? 0 : EFAULT;
}

uint32_t BaCL_MakeDirectory(const char* path)
{
    if (is_empty(path)) {
        return EINVAL;
    }
    const std::unique_ptr<char, FreeMemory> built{strdup(path)};
    if (built == nullptr) {
        return ENOMEM;
    }
    // One component after the other: each separator is replaced by the terminator in turn.
    for (char* end = built.get();;) {
        end += std::strspn(end, "/");
        if (*end == '\0') {
            return 0;
        }
        end += std::strcspn(end, "/");
        const char separator = *end;
        *end = '\0';
        if (!ensure_directory(built.get())) {
            return EFAULT;
        }
        *end = separator;
    }
}
