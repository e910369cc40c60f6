// SPDX-License-Identifier: Apache-2.0
// Packages and files replaced as one. What is to be done lies on the flash before the first of them is
// touched: who finds it there does it once more, and each step may be done twice.
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "base/UciOptional.h"
#include "core/Refusal.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "Apply";
constexpr const char* kReserve = "/etc/qsyscmdhal/reserve";
constexpr std::size_t kMostState = std::size_t{16} * 1024 * 1024;

/// A rename is safe once its folder is.
void sync_folder(const char* path)
{
    Text<254> folder;
    const std::string_view whole{path};
    folder.append(whole.substr(0, whole.rfind('/')));
    const FileDescriptor file = open_file(folder.c_str(), O_RDONLY | O_DIRECTORY);
    (void)(file.is_open() && fsync(file.get()) == 0); // not every file system can
}

const char* text_or_null(json_object* item, const char* name)
{
    json_object* const text = json_object_object_get(item, name);
    return text != nullptr ? json_object_get_string(text) : nullptr;
}

bool is_same(json_object* text, const FileText& content, bool is_there)
{
    return text == nullptr
               ? !is_there
               : is_there && content.view() ==
                                 std::string_view{json_object_get_string(text),
                                                  static_cast<std::size_t>(json_object_get_string_len(text))};
}

u32 replace_kept_file(const char* path, json_object* item)
{
    json_object* const before = json_object_object_get(item, "before");
    json_object* const after = json_object_object_get(item, "after");
    FileText content;
    const u32 found = read_safe_file(path, content);
    if (found != 0 && found != ENOENT) {
        return found;
    }
    if (is_same(after, content, found == 0)) {
        return 0;
    }
    if (!is_same(before, content, found == 0)) {
        return EAGAIN;
    }
    if (after == nullptr) {
        const u32 code = unlink(path) == 0 ? 0 : static_cast<u32>(errno);
        sync_folder(path);
        return code;
    }
    Text<254> folder;
    folder.append(std::string_view{path}.substr(0, std::string_view{path}.rfind('/')));
    make_folder(folder.c_str(), 0755);
    struct stat status = {};
    const bool is_old = lstat(path, &status) == 0;
    const auto mode = static_cast<mode_t>(json_object_get_int(json_object_object_get(item, "mode")));
    const u32 code = replace_file(
        path, {json_object_get_string(after), static_cast<std::size_t>(json_object_get_string_len(after))},
        mode != 0 ? mode
        : is_old  ? status.st_mode & 07777
                  : 0600);
    sync_folder(path);
    return code;
}

void say_kept(const char* name, u32 code)
{
    QSC_LOG(kLogError, "%s is not replaced, error %u\n", name, code);
    (void)refuse(code, code == EAGAIN ? "%s has been changed meanwhile" : "%s could not be written", name);
}

/// Replaces one after the other, up to the first that fails, or all that can be: then `failed` gets their
/// names.
u32 replace_each(json_object* state, bool goes_on, json_object* failed)
{
    u32 first = 0;
    const auto done = [&](const char* name, u32 code) {
        if (code != 0) {
            say_kept(name, code);
            if (failed != nullptr) {
                (void)append_to(failed, json_object_new_string(name));
            }
            first = first != 0 ? first : code;
        }
        return code == 0 || goes_on;
    };
    json_object_object_foreach(json_object_object_get(state, "packages"), package, item)
    {
        if (!done(package, call_optional(QrnUci_ReplacePackage, static_cast<const char*>(package),
                                         text_or_null(item, "before"), text_or_null(item, "after")))) {
            return first;
        }
    }
    json_object_object_foreach(json_object_object_get(state, "files"), path, file)
    {
        if (!done(path, replace_kept_file(path, file))) {
            return first;
        }
    }
    return first;
}

JsonRef boot_id()
{
    FileText text;
    (void)read_safe_file("/proc/sys/kernel/random/boot_id", text);
    return JsonRef{make_text(text.view())};
}

/// Lays down what is to be done.
u32 write_ahead(json_object* texts, json_object* runs, json_object* record = nullptr)
{
    JsonRef state{json_object_new_object()};
    u32 code = add_named_member(state.get(), "boot", boot_id().release());
    for (const char* const member : {"packages", "files"}) {
        json_object* const items = json_object_object_get(texts, member);
        code = code != 0 || items == nullptr ? code
                                             : add_named_member(state.get(), member, json_object_get(items));
    }
    code = code != 0 || runs == nullptr ? code : add_named_member(state.get(), "runs", json_object_get(runs));
    code = code != 0 || record == nullptr ? code
                                          : add_named_member(state.get(), "record", json_object_get(record));
    code = code != 0 ? code : write_json_file(kWriteAhead, state.get());
    return code != 0 ? refuse(code, "%s could not be written", kWriteAhead) : 0;
}

u32 length_of(json_object* item, const char* name)
{
    return static_cast<u32>(json_object_get_string_len(json_object_object_get(item, name)));
}

/// Whether the file system says that it has the space, where it cannot set it aside.
u32 ask_space(u64 size)
{
    struct statvfs status = {};
    return statvfs(kFolder, &status) == 0 && u64{status.f_bavail} * status.f_frsize < size ? ENOSPC : 0;
}

} // namespace

JsonRef reversed(json_object* texts)
{
    JsonRef back{json_object_new_object()};
    for (const char* const member : {"packages", "files"}) {
        json_object* const items = put_object(back.get(), member);
        json_object_object_foreach(json_object_object_get(texts, member), name, item)
        {
            JsonRef turned{json_object_new_object()};
            const bool is_made =
                json_object_object_add(turned.get(), "before",
                                       json_object_get(json_object_object_get(item, "after"))) == 0 &&
                json_object_object_add(turned.get(), "after",
                                       json_object_get(json_object_object_get(item, "before"))) == 0 &&
                json_object_object_add(turned.get(), "mode",
                                       json_object_get(json_object_object_get(item, "old_mode"))) == 0 &&
                json_object_object_add(turned.get(), "old_mode",
                                       json_object_get(json_object_object_get(item, "mode"))) == 0 &&
                json_object_object_add(turned.get(), "path",
                                       json_object_get(json_object_object_get(item, "path"))) == 0;
            if (items == nullptr || !is_made || add_member(items, name, turned.release()) != 0) {
                return {};
            }
        }
    }
    return back;
}

u32 reserve_space(json_object* texts)
{
    u64 size = 4096;
    for (const char* const member : {"packages", "files"}) {
        json_object_object_foreach(json_object_object_get(texts, member), name, item)
        {
            (void)name;
            // What is written beside the old one, and both in the write-ahead; the same for going back.
            size += 2 * (u64{length_of(item, "before")} + length_of(item, "after")) * 2;
        }
    }
    const FileDescriptor file = open_file(kReserve, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0600);
    const int error = file.is_open() ? posix_fallocate(file.get(), 0, static_cast<off_t>(size)) : errno;
    const u32 code =
        error == EOPNOTSUPP || error == EINVAL || error == ENOSYS ? ask_space(size) : static_cast<u32>(error);
    if (code != 0) {
        release_space();
        return refuse(code, "there is no space for the change and for going back: %llu bytes",
                      static_cast<unsigned long long>(size));
    }
    return 0;
}

void release_space()
{
    (void)unlink(kReserve);
}

JsonRef read_json_file(const char* path)
{
    FileText text;
    return JsonRef{read_safe_file(path, text, kMostState) == 0 ? json_tokener_parse(text.c_str()) : nullptr};
}

u32 write_json_file(const char* path, json_object* object)
{
    std::size_t size = 0;
    const char* const text = json_object_to_json_string_length(
        object, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE, &size);
    if (text == nullptr) {
        return ENOMEM;
    }
    const u32 code = replace_file(path, {text, size}, 0600);
    sync_folder(path);
    return code;
}

u32 replace_all(json_object* texts, json_object* runs, json_object* record)
{
    u32 code = write_ahead(texts, runs, record);
    if (code == 0) {
        release_space();
        code = replace_each(texts, false, nullptr);
        if (code != 0) {
            (void)put_back_all(texts, nullptr, nullptr);
        }
    }
    if (code != 0) {
        finish_replacing();
    }
    return code;
}

u32 note_live(json_object* runs)
{
    return write_ahead(nullptr, runs);
}

u32 put_back_all(json_object* texts, json_object* runs, json_object* failed)
{
    const JsonRef back = reversed(texts);
    u32 code = back != nullptr ? write_ahead(back.get(), runs) : u32{ENOMEM};
    // Without a write-ahead it is the same, as long as nothing ends the process.
    const u32 replaced = replace_each(back.get(), true, failed);
    return replaced != 0 ? replaced : code;
}

void finish_replacing()
{
    release_space();
    if (unlink(kWriteAhead) == 0) {
        sync_folder(kWriteAhead);
    }
}

u32 recover()
{
    release_space();
    const JsonRef state = read_json_file(kWriteAhead);
    if (state == nullptr) {
        return 0;
    }
    for (const char* const member : {"packages", "files"}) {
        // What only went to drivers has none of them.
        if (!is_object(json_object_object_get(state.get(), member)) &&
            put_object(state.get(), member) == nullptr) {
            return is_object(state.get()) ? u32{ENOMEM} : u32{EFAULT};
        }
    }
    QSC_LOG(kLogWarning, "an interrupted change is finished\n");
    u32 code = replace_each(state.get(), false, nullptr);
    json_object* const record = code == 0 ? json_object_object_get(state.get(), "record") : nullptr;
    if (code == EAGAIN) {
        // Somebody has gone on from there: the rest of the change is taken back, theirs stays.
        const JsonRef back = reversed(state.get());
        code = replace_each(back.get(), true, nullptr) == ENOMEM ? ENOMEM : 0;
    }
    json_object* const runs = json_object_object_get(state.get(), "runs");
    // What was interrupted by a restart of the device has begun with the new texts, or will.
    if (runs != nullptr &&
        json_object_equal(boot_id().get(), json_object_object_get(state.get(), "boot")) != 0) {
        (void)run_scripts(runs);
    }
    if (code == 0) {
        finish_replacing();
        put_record(record, state.get());
    }
    return code;
}

} // namespace qsc::apply
