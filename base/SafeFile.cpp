// SPDX-License-Identifier: Apache-2.0
#include "base/SafeFile.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/FileDescriptor.h"
#include "base/Recording.h"
#include "base/ReplaceFile.h"

namespace qsc
{

namespace
{

u32 error_code()
{
    return static_cast<u32>(errno);
}

} // namespace

bool FileText::append(std::string_view text)
{
    auto* const memory = static_cast<char*>(std::realloc(text_.get(), size_ + text.size() + 1));
    if (memory == nullptr) {
        return false;
    }
    (void)text_.release();
    text_.reset(memory);
    std::copy(text.begin(), text.end(), memory + size_);
    size_ += text.size();
    memory[size_] = '\0';
    return true;
}

u32 read_safe_file(const char* path, FileText& text, std::size_t limit)
{
    if (u32 code = 0; t_recording != nullptr && t_recording->reads(*t_recording, path, text, code)) {
        return code;
    }
    // O_NONBLOCK, because opening a FIFO would wait for a writer.
    const FileDescriptor file = open_file(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    struct stat status = {};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        return error_code();
    }
    if (!S_ISREG(status.st_mode)) {
        return EINVAL;
    }
    if (status.st_size > static_cast<off_t>(limit)) {
        return EFBIG;
    }
    // The size is only a first guess: kernel files report 0, and other files may grow meanwhile. One byte
    // more, so that the end of the file is seen without allocating again.
    FileText read_so_far;
    std::size_t room = std::max<std::size_t>(static_cast<std::size_t>(status.st_size), 255) + 1;
    for (;; room *= 2) {
        room = std::min(room, limit + 1);
        auto* const memory = static_cast<char*>(std::realloc(read_so_far.text_.get(), room + 1));
        if (memory == nullptr) {
            return ENOMEM;
        }
        (void)read_so_far.text_.release();
        read_so_far.text_.reset(memory);
        while (read_so_far.size_ < room) {
            const ssize_t count = read(file.get(), memory + read_so_far.size_, room - read_so_far.size_);
            if (count < 0 && errno == EINTR) {
                continue;
            }
            if (count < 0) {
                return error_code();
            }
            if (count == 0) {
                memory[read_so_far.size_] = '\0';
                text = std::move(read_so_far);
                return 0;
            }
            read_so_far.size_ += static_cast<std::size_t>(count);
        }
        if (read_so_far.size_ > limit) {
            return EFBIG;
        }
    }
}

bool has_own_folder(const char* path, bool makes_it)
{
    struct stat status = {};
    if (makes_it) {
        make_folder(path, 0700);
    }
    const bool is_there = lstat(path, &status) == 0;
    if (!is_there && makes_it && is_planning()) {
        return true;
    }
    return is_there && S_ISDIR(status.st_mode) && status.st_uid == geteuid() && (status.st_mode & 0077) == 0;
}

} // namespace qsc
