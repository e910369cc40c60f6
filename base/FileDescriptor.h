// SPDX-License-Identifier: Apache-2.0
// Owns an open file descriptor; writing to one.
#pragma once

#include <cerrno>
#include <string_view>
#include <utility>

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
