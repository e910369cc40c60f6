// SPDX-License-Identifier: Apache-2.0
// The journal's two files: appended to under a lock, rotated, and read.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/Json.h"
#include "base/ProcessLock.h"
#include "base/SafeFile.h"
#include "base/Text.h"
#include "base/Utf8.h"
#include "include/qsc_journal.h"
#include "log/Log.h"

namespace qsc
{

namespace
{

constexpr const char* kModule = "Journal";

constexpr const char* kFolder = "/etc/qsyscmdhal";
constexpr const char* kFile = "/etc/qsyscmdhal/journal";
constexpr const char* kOlder = "/etc/qsyscmdhal/journal.1";
constexpr const char* kLock = "/etc/qsyscmdhal/journal.lock";

constexpr std::size_t kFileSize = std::size_t{128} * 1024;
constexpr std::size_t kEntrySize = kFileSize / 4;

constinit pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;

u32 fail(const char* what, u32 error)
{
    QSC_LOG(kLogError, "%s %s: %s\n", kFile, what, std::strerror(static_cast<int>(error)));
    return EFAULT;
}

const char* line_of(json_object* entry)
{
    return json_object_to_json_string_ext(entry, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

/// Cuts the long values in a list of changes or differences. False: no memory.
bool cut_values(json_object* list)
{
    constexpr std::size_t kLongest = 1024;
    constexpr const char* kValues[] = {"old", "new"};
    const std::size_t count =
        json_object_is_type(list, json_type_array) != 0 ? json_object_array_length(list) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        for (const char* const name : kValues) {
            json_object* const each = json_object_array_get_idx(list, i);
            json_object* value = nullptr;
            if (!find_member(each, name, value)) {
                continue;
            }
            const bool is_text = json_object_is_type(value, json_type_string) != 0;
            const std::string_view text{is_text ? json_object_get_string(value) : or_empty(line_of(value))};
            if (text.size() > kLongest) {
                Text<kLongest + 4> cut;
                cut.append({text.data(), size_of_whole_characters({text.data(), kLongest})}).append("...");
                if (add_member(each, name, json_object_new_string(cut.c_str())) != 0) {
                    return false;
                }
            }
        }
    }
    return true;
}

bool is_too_long(const char* line)
{
    return std::strlen(line) > kEntrySize;
}

/// Takes half of an entry's longest list away until it is short enough. Null: it cannot be made so.
const char* shortened_line(json_object* entry)
{
    constexpr const char* kLists[] = {"changes", "configuration"};
    for (const char* name : kLists) {
        json_object* list = nullptr;
        if (find_member(entry, name, list) && !cut_values(list)) {
            return nullptr;
        }
    }
    const char* line = line_of(entry);
    while (line != nullptr && is_too_long(line)) {
        json_object* longest = nullptr;
        for (const char* name : kLists) {
            json_object* list = nullptr;
            if (find_member(entry, name, list) && json_object_is_type(list, json_type_array) != 0 &&
                (longest == nullptr || json_object_array_length(list) > json_object_array_length(longest))) {
                longest = list;
            }
        }
        const std::size_t count = longest != nullptr ? json_object_array_length(longest) : 0;
        if (count == 0 || json_object_array_del_idx(longest, count - (count + 1) / 2, (count + 1) / 2) != 0 ||
            add_member(entry, "cut", json_object_new_boolean(1)) != 0) {
            return nullptr;
        }
        line = line_of(entry);
    }
    return line;
}

i64 seconds_of(clockid_t clock)
{
    timespec now{};
    (void)clock_gettime(clock, &now);
    return now.tv_sec;
}

/// Gives an entry what it lacks of its id and its times. False: no memory.
bool complete(json_object* entry)
{
    const auto lacks = [&](const char* name) { return json_object_object_get_ex(entry, name, nullptr) == 0; };
    u64 number = 0;
    char id[17];
    if (lacks("id")) {
        if (getrandom(&number, sizeof number, GRND_NONBLOCK) != static_cast<ssize_t>(sizeof number)) {
            timespec now{};
            (void)clock_gettime(CLOCK_BOOTTIME, &now);
            number = static_cast<u64>(now.tv_sec) << 30 ^ static_cast<u64>(now.tv_nsec) ^
                     static_cast<u64>(getpid()) << 48;
        }
        (void)std::snprintf(id, sizeof id, "%08x", static_cast<u32>(number ^ number >> 32));
    }
    return (!lacks("id") || add_member(entry, "id", json_object_new_string(id)) == 0) &&
           (!lacks("time") ||
            add_member(entry, "time", json_object_new_int64(seconds_of(CLOCK_REALTIME))) == 0) &&
           (!lacks("uptime") ||
            add_member(entry, "uptime", json_object_new_int64(seconds_of(CLOCK_BOOTTIME))) == 0);
}

FileDescriptor open_journal(off_t& size)
{
    FileDescriptor file = open_file(kFile, O_RDWR | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK, 0600);
    struct stat status {
    };
    if (file.is_open() && (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))) {
        errno = EINVAL;
        file.replace(FileDescriptor{-1});
    }
    size = status.st_size;
    return file;
}

/// Appends a line and its end, in one write. @return 0 or an errno
u32 append(std::string_view text, bool is_durable)
{
    off_t size = 0;
    FileDescriptor file = open_journal(size);
    if (file.is_open() && size > 0 && static_cast<std::size_t>(size) + text.size() > kFileSize) {
        if (std::rename(kFile, kOlder) != 0) {
            return static_cast<u32>(errno);
        }
        file.replace(open_journal(size));
    }
    if (!file.is_open()) {
        return static_cast<u32>(errno);
    }
    // A power failure may have cut the last line short; the text begins with the end of a line for that.
    char last = '\n';
    if (size == 0 || (pread(file.get(), &last, 1, size - 1) == 1 && last == '\n')) {
        text.remove_prefix(1);
    }
    ssize_t written = -1;
    do {
        written = write(file.get(), text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written != static_cast<ssize_t>(text.size())) {
        const auto error = written < 0 ? static_cast<u32>(errno) : u32{ENOSPC};
        if (written > 0) {
            (void)!ftruncate(file.get(), size); // a reader passes over what stays
        }
        return error;
    }
    return is_durable && fdatasync(file.get()) != 0 ? static_cast<u32>(errno) : 0;
}

/// What a caller wants to see.
struct Filter {
    std::string_view id;
    std::string_view path;
    u64 limit = 0;
};

bool take_filter(json_object* object, Filter& filter)
{
    json_object* limit = nullptr;
    const auto take_text = [&](const char* name, std::string_view& text) {
        json_object* member = nullptr;
        return !find_member(object, name, member) ||
               (json_object_is_type(member, json_type_string) != 0 && text_of(member, text) == 0);
    };
    if (object == nullptr) {
        return true;
    }
    if (!is_object(object) || !take_text("id", filter.id) || !take_text("path", filter.path)) {
        return false;
    }
    if (find_member(object, "limit", limit)) {
        const i64 number = json_object_get_int64(limit);
        filter.limit = static_cast<u64>(number);
        return json_object_is_type(limit, json_type_int) != 0 && number >= 0;
    }
    return true;
}

std::string_view text_member(json_object* object, const char* name)
{
    json_object* member = nullptr;
    std::string_view text;
    const bool is_text = find_member(object, name, member) &&
                         json_object_is_type(member, json_type_string) != 0 && text_of(member, text) == 0;
    return is_text ? text : std::string_view{};
}

/// Whether a change is one of a path, of what is below it, or of the parameter that it names.
bool is_change_of(json_object* change, std::string_view wanted)
{
    wanted.remove_suffix(wanted.ends_with('.') ? 1 : 0);
    const auto takes = [&](std::string_view part) {
        const bool begins = wanted.substr(0, part.size()) == part;
        wanted.remove_prefix(std::min(part.size(), wanted.size()));
        return begins;
    };
    const std::string_view path = text_member(change, "path");
    if (wanted.size() <= path.size()) {
        return path.starts_with(wanted) && (path.size() == wanted.size() || path[wanted.size()] == '.');
    }
    return takes(path) && takes(".") && text_member(change, "parameter") == wanted;
}

/// Rids an entry of changes of other paths. False: none is left.
bool keep_changes(json_object* entry, std::string_view path)
{
    json_object* changes = nullptr;
    if (!find_member(entry, "changes", changes) || json_object_is_type(changes, json_type_array) == 0) {
        return false;
    }
    for (std::size_t i = json_object_array_length(changes); i-- > 0;) {
        if (!is_change_of(json_object_array_get_idx(changes, i), path)) {
            (void)json_object_array_del_idx(changes, i, 1);
        }
    }
    return json_object_array_length(changes) != 0;
}

/// Adds the entries of a file that a caller wants to see. ENOMEM
u32 take_entries(std::string_view text, const Filter& filter, json_object* entries)
{
    constexpr int kDepth = 16;
    json_tokener* const tokener = json_tokener_new_ex(kDepth);
    u32 code = tokener != nullptr ? 0 : ENOMEM;
    while (code == 0 && !text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        json_tokener_reset(tokener);
        JsonRef entry{json_tokener_parse_ex(tokener, line.data(), static_cast<int>(line.size()))};
        const bool is_whole = json_tokener_get_error(tokener) == json_tokener_success &&
                              json_tokener_get_parse_end(tokener) == line.size();
        if (!is_whole || !is_object(entry.get()) ||
            (!filter.id.empty() && text_member(entry.get(), "id") != filter.id) ||
            (!filter.path.empty() && !keep_changes(entry.get(), filter.path))) {
            continue;
        }
        json_object* const owned = entry.release();
        if (json_object_array_add(entries, owned) != 0) {
            json_object_put(owned);
            code = ENOMEM;
        }
    }
    if (tokener != nullptr) {
        json_tokener_free(tokener);
    }
    return code;
}

} // namespace

} // namespace qsc

using namespace qsc;

uint32_t QSysCmdHal_JournalAdd(struct json_object* entry)
{
    if (!is_object(entry)) {
        return EINVAL;
    }
    if (!complete(entry)) {
        return ENOMEM;
    }
    const char* const line = shortened_line(entry);
    FileText text;
    if (line == nullptr) {
        return fail("takes no entry of this size", ENOMEM);
    }
    if (!text.append("\n") || !text.append(line) || !text.append("\n")) {
        return ENOMEM;
    }
    if (!has_own_folder(kFolder, true)) {
        return fail("is in a folder that is not ours alone", EPERM);
    }
    const ProcessLock lock{g_mutex, kLock};
    const bool is_durable = json_object_object_get_ex(entry, "configuration", nullptr) != 0;
    const u32 error = lock.code() != 0 ? lock.code() : append(text.view(), is_durable);
    return error == 0 ? 0 : fail("cannot be written", error);
}

uint32_t QSysCmdHal_JournalRead(struct json_object* filter, struct json_object** entries)
{
    Filter wanted;
    if (entries == nullptr || !take_filter(filter, wanted)) {
        return EINVAL;
    }
    JsonRef found{json_object_new_array()};
    if (found == nullptr) {
        return ENOMEM;
    }
    FileText texts[2];
    {
        // Without the lock it is read all the same: an entry may then be missed while the files are rotated.
        std::optional<ProcessLock> lock;
        if (has_own_folder(kFolder, false)) {
            lock.emplace(g_mutex, kLock);
        }
        constexpr const char* kPaths[] = {kOlder, kFile};
        for (std::size_t i = 0; i < 2; ++i) {
            const u32 error = read_safe_file(kPaths[i], texts[i], 2 * kFileSize);
            if (error != 0 && error != ENOENT) {
                return error == ENOMEM ? u32{ENOMEM} : fail("cannot be read", error);
            }
        }
    }
    for (const FileText& text : texts) {
        if (const u32 code = take_entries(text.view(), wanted, found.get())) {
            return code;
        }
    }
    const std::size_t count = json_object_array_length(found.get());
    if (wanted.limit != 0 && count > wanted.limit) {
        (void)json_object_array_del_idx(found.get(), 0, count - wanted.limit);
    }
    *entries = found.release();
    return 0;
}
