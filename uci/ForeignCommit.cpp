// SPDX-License-Identifier: Apache-2.0
#include "uci/ForeignCommit.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <unistd.h>

#include "base/Parse.h"
#include "uci/Folder.h"

namespace qrnuci
{

using qsc::i64;

namespace
{

/// No program takes longer for a commit. What is older was left by a program that does not live any more.
constexpr i64 kLongMilliseconds = 10'000;

/// Who has waited for a lock that is given up gets the processor within this time.
constexpr i64 kShortMilliseconds = 300;

/// How long ago something was changed; what lies ahead, as after a start without a clock, counts as long ago.
i64 age_in_milliseconds(const timespec& changed)
{
    timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return INT64_MAX;
    }
    const i64 age = (i64{now.tv_sec} - changed.tv_sec) * 1000 + (now.tv_nsec - changed.tv_nsec) / 1'000'000;
    return age >= -kLongMilliseconds ? age : INT64_MAX;
}

/// Whether a new file is beside the package's, ".PACKAGE.uci-XXXXXX".
bool has_new_file(const Path& path)
{
    const Path folder = folder_of(path);
    struct stat folder_status = {};
    if (stat(folder.c_str(), &folder_status) != 0 ||
        age_in_milliseconds(folder_status.st_mtim) > kLongMilliseconds) {
        return false; // no file has come
    }
    qsc::Text<300> begin;
    begin.append(".").append(file_name(path)).append(".uci-");
    return find_entry(folder, begin.view(), [](int descriptor, const char* entry) {
        struct stat status = {};
        return fstatat(descriptor, entry, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
               age_in_milliseconds(status.st_mtim) <= kLongMilliseconds;
    });
}

/// Whether a descriptor of a process is open for writing.
bool is_writable(std::string_view process, const char* descriptor)
{
    Path path;
    path.append("/proc/").append(process).append("/fdinfo/").append(descriptor);
    const qsc::FileDescriptor info = qsc::open_file(path.c_str(), O_RDONLY);
    char text[128];
    const ssize_t length = info.is_open() ? read(info.get(), text, sizeof text) : 0;
    std::string_view rest{text, length > 0 ? static_cast<std::size_t>(length) : 0};
    while (!rest.empty() && qsc::take_word(rest) != "flags:") {
    }
    u32 flags = 0;
    return qsc::parse_whole(qsc::take_word(rest), flags, 8) && (flags & O_ACCMODE) == O_RDWR;
}

/// The place of a file, as /proc has it: its path, and the file system, as containers have the same paths.
struct Place {
    std::string_view path;
    dev_t device;
};

/// Whether a process has a file open for writing that stood at the place before it was replaced. Those that
/// only read do no harm, and we keep such files open ourselves.
bool has_replaced_file(std::string_view process, const Place& place)
{
    Path folder;
    folder.append("/proc/").append(process).append("/fd");
    Path wanted;
    wanted.append(place.path).append(" (deleted)");
    return find_entry(folder, "", [&](int descriptors, const char* entry) {
        char target[512];
        struct stat status = {};
        const ssize_t length = readlinkat(descriptors, entry, target, sizeof target);
        return length > 0 && std::string_view{target, static_cast<std::size_t>(length)} == wanted.view() &&
               fstatat(descriptors, entry, &status, 0) == 0 && status.st_dev == place.device &&
               is_writable(process, entry);
    });
}

/// The process of a line of /proc/locks that means a lock of a whole file, held or waited for ("->");
/// empty: none.
std::string_view process_of(std::string_view line)
{
    (void)qsc::take_word(line); // its number
    std::string_view word = qsc::take_word(line);
    word = word == "->" ? qsc::take_word(line) : word;
    const bool is_whole =
        word == "FLOCK" && qsc::take_word(line) == "ADVISORY" && qsc::take_word(line) == "WRITE";
    return is_whole ? qsc::take_word(line) : std::string_view{};
}

/// Whether somebody has the lock of a file that stood at the place, or waits for it.
bool has_late_locker(const Place& place)
{
    const qsc::StdioReserve reserve;
    std::FILE* const locks = std::fopen("/proc/locks", "re");
    qsc::Text<24> own;
    own.append_number(getpid());
    bool is_found = false;
    char line[256];
    while (locks != nullptr && !is_found && std::fgets(line, sizeof line, locks) != nullptr) {
        const std::string_view process = process_of(line);
        is_found = !process.empty() && process != own.view() && has_replaced_file(process, place);
    }
    if (locks != nullptr) {
        (void)std::fclose(locks);
    }
    return is_found;
}

/// Whether somebody is about to be. Who has waited for a lock that has just been given up is in no list until
/// it gets the processor, so every process is looked at.
bool has_late_opener(const Place& place)
{
    Path processes;
    processes.append("/proc");
    qsc::Text<24> own;
    own.append_number(getpid());
    return find_entry(processes, "", [&](int, const char* entry) {
        return qsc::is_digit(*entry) && entry != own.view() && has_replaced_file(entry, place);
    });
}

/// Whether somebody will go on with a file that was replaced.
bool has_late_writer(const Path& path, const struct stat& status)
{
    const i64 age = age_in_milliseconds(status.st_ctim);
    char* const resolved = age <= kLongMilliseconds ? realpath(path.c_str(), nullptr) : nullptr;
    bool is_found = false;
    if (resolved != nullptr) {
        const Place place{resolved, status.st_dev};
        is_found = age <= kShortMilliseconds ? has_late_opener(place) : has_late_locker(place);
    }
    std::free(resolved);
    return is_found;
}

} // namespace

bool is_foreign_commit_under_way(const Path& path, const struct stat& status)
{
    // In the order in which a commit proceeds, so that it cannot slip through between the two.
    return has_late_writer(path, status) || has_new_file(path);
}

} // namespace qrnuci
