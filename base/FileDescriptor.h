// SPDX-License-Identifier: Apache-2.0
// Owns an open file descriptor; opening files and writing to them.
#pragma once

#include <cerrno>
#include <string_view>
#include <utility>

#include <sys/types.h>
#include <unistd.h>

namespace qsc
{

class FileDescriptor
{
  public:
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() { (void)close(); }

    [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }

    /// Closes the one that is open and takes the other's.
    void replace(FileDescriptor&& other)
    {
        (void)close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }

    /// Leaves it open, to nobody's care.
    void forget() { descriptor_ = -1; }

    /// Closes early, where the result counts; true: nothing was lost.
    [[nodiscard]] bool close() { return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0; }

  private:
    int descriptor_;
};

/// While it lives, nothing that this library or libc opens gets one of the descriptors 0 to 2, also where the
/// host has closed them. Otherwise a file or a socket could end up there, and whatever the host or a library
/// prints to standard error would be written into it. Needed around calls that open something on their own
/// (popen, syslog, ...); files of ours are opened with open_file().
class StdioReserve
{
  public:
    StdioReserve();
    StdioReserve(const StdioReserve&) = delete;
    StdioReserve& operator=(const StdioReserve&) = delete;
    ~StdioReserve();

  private:
    bool is_needed_;
};

/// open() with O_CLOEXEC and O_NOCTTY, and never below descriptor 3. Not open: errno says why.
[[nodiscard]] FileDescriptor open_file(const char* path, int flags, mode_t mode = 0);

/// Writes everything; false: it could not, and errno says why.
[[nodiscard]] inline bool write_all(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace qsc
