// SPDX-License-Identifier: Apache-2.0
// An owned file descriptor, and helpers to open and write files.
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

    /// Closes the current descriptor, if any, and takes over the other's.
    void replace(FileDescriptor&& other)
    {
        (void)close();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }

    /// Gives up ownership and leaves the descriptor open.
    void forget() { descriptor_ = -1; }

    /// Closes early, for callers that need the result. Returns true if close() succeeded.
    [[nodiscard]] bool close() { return descriptor_ < 0 || ::close(std::exchange(descriptor_, -1)) == 0; }

  private:
    int descriptor_;
};

/// Keeps descriptors 0 to 2 occupied during its lifetime, so that nothing this library or libc opens is
/// assigned one of them if the host has closed its standard streams. Otherwise whatever is printed to
/// standard error would be written to our file or socket. Use it around calls that open descriptors
/// themselves (popen(), syslog(),
/// ...); open files with open_file().
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

/// Like open() with O_CLOEXEC and O_NOCTTY, but never returns a descriptor below 3. Sets errno on failure.
[[nodiscard]] FileDescriptor open_file(const char* path, int flags, mode_t mode = 0);

/// Writes the whole text. Returns false on failure and sets errno.
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
