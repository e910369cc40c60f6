// SPDX-License-Identifier: Apache-2.0
#include "uci/StagingFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "base/Parse.h"
#include "base/SafeFile.h"
#include "uci/ByteHash.h"

namespace qrnuci
{

namespace
{

/// A kill can stop a write between two pages of the file, but not within one.
constexpr std::size_t kPageSize = 4096;

/// Far more than anybody stages.
constexpr std::size_t kLongestCopy = std::size_t{64} * 1024 * 1024;

/// A copy's first line.
struct Head {
    u64 size = 0; ///< of the staging file before it was emptied
    u64 hash = 0; ///< of its bytes
    u64 inode = 0;
};

/// Takes a copy's first line.
bool take_head(std::string_view& copy, Head& head)
{
    const std::size_t end = std::min(copy.find('\n'), copy.size());
    std::string_view line{copy.data(), end};
    copy.remove_prefix(std::min(end + 1, copy.size()));
    return qsc::parse_whole(qsc::take_word(line), head.size) &&
           qsc::parse_whole(qsc::take_word(line), head.hash) &&
           qsc::parse_whole(qsc::take_word(line), head.inode);
}

/// How much of the text the file holds that was being filled with it, before what others have added.
std::size_t filled_part(std::string_view text, std::string_view file)
{
    if (file.starts_with(text)) {
        return text.size();
    }
    std::size_t length = text.size() / kPageSize * kPageSize;
    while (length > 0 && !file.starts_with(std::string_view{text.data(), length})) {
        length -= kPageSize;
    }
    return length;
}

Path path_beside(std::string_view package, std::string_view end)
{
    Path path;
    path.append(kStagingFolder).append("/.").append(package).append(end);
    return path;
}

} // namespace

Path delta_path(std::string_view package)
{
    Path path;
    path.append(kStagingFolder).append("/").append(package);
    return path;
}

bool is_trusted_folder(const struct stat& status)
{
    return S_ISDIR(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

u32 check_staging_folder(bool is_made)
{
    struct stat status = {};
    if (lstat(kStagingFolder, &status) != 0) {
        if (errno != ENOENT) {
            return log_failure("stat", kStagingFolder);
        }
        if (!is_made) {
            return ENOENT;
        }
        return mkdir(kStagingFolder, 0700) == 0 ? 0
               : errno == EEXIST                ? check_staging_folder(false)
                                                : log_failure("create", kStagingFolder);
    }
    if (is_trusted_folder(status)) {
        return 0;
    }
    log_error("%s is not a folder that we alone may write to; nothing there is used\n", kStagingFolder);
    return EFAULT;
}

u32 StagingFile::open(std::string_view package, Access access, Patience& patience)
{
    path_ = delta_path(package);
    copy_path_ = path_beside(package, ".qrnuci-copy");
    return path_.fits() ? file_.open(path_.c_str(), access, patience, O_NOFOLLOW) : EFAULT;
}

u32 StagingFile::read(ino_t config, Arena& arena, Staged& staged)
{
    if (const u32 code = file_.read(path_.c_str(), arena, staged.text, staged.size)) {
        return code;
    }
    staged.file = {staged.text, staged.size};
    size_ = staged.size;
    qsc::FileText found;
    is_whole_ = true;
    has_copy_ = copy_path_.fits() && qsc::read_safe_file(copy_path_.c_str(), found, kLongestCopy) == 0;
    std::string_view copy = found.view();
    Head head;
    if (!has_copy_ || !take_head(copy, head) || (head.inode != 0 && head.inode == config) ||
        (staged.size >= head.size &&
         hash_bytes({staged.text, static_cast<std::size_t>(head.size)}) == head.hash)) {
        return 0;
    }
    std::string_view added = staged.file;
    added.remove_prefix(filled_part(copy, added));
    is_whole_ = false;
    staged.size = copy.size() + added.size();
    staged.text = arena.make_text(staged.size);
    if (staged.text == nullptr) {
        return ENOMEM;
    }
    std::copy(added.begin(), added.end(), std::copy(copy.begin(), copy.end(), staged.text));
    return 0;
}

u32 StagingFile::restore(const Staged& staged)
{
    if (!is_whole_) {
        size_ = staged.size;
        return replace({staged.text, staged.size});
    }
    if (has_copy_) {
        remove_copy();
    }
    return 0;
}

bool StagingFile::write_at(std::size_t offset, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = pwrite(file_.get(), text.data(), text.size(), static_cast<off_t>(offset));
        if (written <= 0) {
            if (written < 0 && errno == EINTR) {
                continue;
            }
            return false;
        }
        offset += static_cast<std::size_t>(written);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return fdatasync(file_.get()) == 0;
}

u32 StagingFile::append(std::size_t end, std::string_view text)
{
    const auto offset = static_cast<off_t>(end);
    if ((end == size_ || ftruncate(file_.get(), offset) == 0) && write_at(end, text)) {
        return 0;
    }
    const int reason = errno;
    // As if it had never been tried; a part is skipped by readers anyway.
    [[maybe_unused]] const int undone = ftruncate(file_.get(), offset);
    errno = reason;
    return log_failure("write", path_.c_str());
}

void StagingFile::take_back(std::size_t end)
{
    if (ftruncate(file_.get(), static_cast<off_t>(end)) != 0) {
        (void)log_failure("write", path_.c_str());
    }
}

/// Reads the file as it is now.
u32 StagingFile::read_again(Growing& text) const
{
    char part[kPageSize];
    ssize_t count = 0;
    while ((count = pread(file_.get(), part, sizeof part, static_cast<off_t>(text.view().size()))) > 0) {
        text.append({part, static_cast<std::size_t>(count)});
    }
    return count < 0 ? log_failure("read", path_.c_str()) : text.failed() ? ENOMEM : 0;
}

u32 StagingFile::make_copy(std::string_view text, ino_t config)
{
    Growing before;
    if (const u32 code = read_again(before)) {
        return code;
    }
    char head[96];
    const int length = std::snprintf(head, sizeof head, "%zu %llu %llu\n", before.view().size(),
                                     static_cast<unsigned long long>(hash_bytes(before.view())),
                                     static_cast<unsigned long long>(config));
    std::string_view name = path_.view();
    name.remove_prefix(name.rfind('/') + 1);
    const Path new_path = path_beside(name, ".qrnuci-new");
    qsc::FileDescriptor file =
        qsc::open_file(new_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK, 0600);
    const bool is_written = new_path.fits() && file.is_open() &&
                            qsc::write_all(file.get(), {head, static_cast<std::size_t>(length)}) &&
                            qsc::write_all(file.get(), text) && fdatasync(file.get()) == 0;
    if (is_written && rename(new_path.c_str(), copy_path_.c_str()) == 0) {
        has_copy_ = true;
        return 0;
    }
    const u32 code = log_failure("write", new_path.c_str());
    (void)unlink(new_path.c_str());
    return code;
}

void StagingFile::remove_copy()
{
    if (unlink(copy_path_.c_str()) != 0 && errno != ENOENT) {
        (void)log_failure("remove", copy_path_.c_str());
    }
    has_copy_ = false;
}

u32 StagingFile::fill(std::string_view text)
{
    const bool is_filled = ftruncate(file_.get(), 0) == 0 && write_at(0, text);
    return is_filled ? 0 : log_failure("write", path_.c_str());
}

u32 StagingFile::replace(std::string_view text)
{
    if (const u32 code = make_copy(text, 0)) {
        return code;
    }
    if (const u32 code = fill(text)) {
        return code; // and the copy holds what the file does not
    }
    remove_copy();
    return 0;
}

u32 StagingFile::begin_commit(std::size_t end, ino_t config)
{
    if (const u32 code = read_again(committed_)) {
        return code;
    }
    // A commit is what may give a full device its room back. Without the copy, a kill after the rename and
    // before the file is emptied would have the changes made twice.
    if (make_copy({committed_.view().data(), end}, config) != 0) {
        return 0;
    }
    const u32 code = fill({});
    if (code != 0) {
        take_back_commit();
    }
    return code;
}

void StagingFile::finish_commit()
{
    if (!has_copy_) {
        (void)fill({});
        return;
    }
    remove_copy();
}

void StagingFile::take_back_commit()
{
    if (has_copy_ && fill(committed_.view()) == 0) {
        remove_copy();
    }
}

} // namespace qrnuci
