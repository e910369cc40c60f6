// SPDX-License-Identifier: Apache-2.0
#include "apply/Checkpoint.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/FileDescriptor.h"
#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "base/UciOptional.h"
#include "log/Log.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kModule = "QscCheckpoint";
constexpr std::size_t kLargest = std::size_t{16} * 1024 * 1024;

/// Has what a folder holds, and no longer holds, survive a power failure.
u32 sync_folder()
{
    const FileDescriptor folder = open_file(kStateFolder, O_RDONLY | O_DIRECTORY);
    return folder.is_open() && fsync(folder.get()) == 0 ? 0 : static_cast<u32>(errno);
}

/// Reads a package's file. ENOENT: there is none.
u32 read_package(const char* package, FileText& text)
{
    // It may grow between the two calls.
    for (u32 tries = 0; tries < 3; ++tries) {
        u32 length = 0;
        u32 code = call_optional(QrnUci_ReadPackage, package, static_cast<char*>(nullptr), u32{0}, &length);
        if (code != EFAULT || length == 0) {
            return code;
        }
        auto* const memory = static_cast<char*>(std::malloc(length + 1));
        const std::unique_ptr<char, decltype(&std::free)> owner{memory, std::free};
        if (memory == nullptr) {
            return ENOMEM;
        }
        code = call_optional(QrnUci_ReadPackage, package, memory, length + 1, &length);
        if (code == 0) {
            return text.append({memory, length}) ? 0 : ENOMEM;
        }
    }
    return EFAULT;
}

u32 number_in(json_object* kept, const char* name)
{
    json_object* number = nullptr;
    return find_member(kept, name, number) ? static_cast<u32>(json_object_get_int64(number)) : 0;
}

/// What is to be done with one package or file.
struct Kind {
    const char* name; ///< of the checkpoint's member
    /// Whether it is as it was kept. @return 0 or an errno
    u32 (*compare)(const char* name, json_object* kept, bool& is_same);
    u32 (*put)(const char* name, json_object* kept);
};

bool is_same_text(const FileText& now, bool is_there, json_object* kept)
{
    return kept == nullptr
               ? !is_there
               : is_there && now.view() ==
                                 std::string_view{json_object_get_string(kept),
                                                  static_cast<std::size_t>(json_object_get_string_len(kept))};
}

u32 compare_package(const char* package, json_object* kept, bool& is_same)
{
    FileText now;
    const u32 code = read_package(package, now);
    is_same = is_same_text(now, code == 0, kept);
    return code == ENOENT ? 0 : code;
}

u32 put_package(const char* package, json_object* kept)
{
    const char* const before = kept != nullptr ? json_object_get_string(kept) : nullptr;
    // Others may commit meanwhile; theirs goes as well.
    constexpr u32 kMostTries = 8;
    for (u32 tries = 0; tries < kMostTries; ++tries) {
        FileText now;
        u32 code = read_package(package, now);
        if (code != 0 && code != ENOENT) {
            return code;
        }
        code = call_optional(QrnUci_ReplacePackage, package, code == 0 ? now.c_str() : nullptr, before);
        if (code != EAGAIN) {
            return code;
        }
    }
    return EAGAIN;
}

json_object* content_of(json_object* kept)
{
    json_object* text = nullptr;
    return find_member(kept, "text", text) ? text : nullptr;
}

u32 compare_file(const char* path, json_object* kept, bool& is_same)
{
    FileText now;
    const u32 code = read_safe_file(path, now, kLargest);
    is_same = is_same_text(now, code == 0, content_of(kept));
    return code == ENOENT || code == ENOTDIR ? 0 : code;
}

u32 put_file(const char* path, json_object* kept)
{
    json_object* const text = content_of(kept);
    if (text == nullptr) {
        return unlink(path) == 0 || errno == ENOENT ? 0 : static_cast<u32>(errno);
    }
    const std::string_view content{json_object_get_string(text),
                                   static_cast<std::size_t>(json_object_get_string_len(text))};
    const u32 code = replace_file(path, content, number_in(kept, "mode") & 07777);
    const bool is_owned = code == 0 && lchown(path, number_in(kept, "user"), number_in(kept, "group")) == 0;
    return code != 0 || is_owned || geteuid() != 0 ? code : static_cast<u32>(errno);
}

constexpr Kind kKinds[] = {{"packages", compare_package, put_package}, {"files", compare_file, put_file}};

/// Puts all of one kind back. @return the first failure's code
u32 put_all_back(json_object* checkpoint, const Kind& kind, json_object* report)
{
    json_object* kept = nullptr;
    json_object* const told = json_object_new_object();
    u32 first = add_member(report, kind.name, told);
    if (first != 0 || !find_member(checkpoint, kind.name, kept) || !is_object(kept)) {
        return first;
    }
    json_object_object_foreach(kept, name, value)
    {
        bool is_same = false;
        // What cannot be read may be written all the same.
        const u32 compared = kind.compare(name, value, is_same);
        const u32 code = compared == 0 && is_same ? 0 : kind.put(name, value);
        const char* const outcome = code != 0 ? std::strerror(static_cast<int>(code))
                                    : is_same ? "unchanged"
                                              : "restored";
        if (code != 0) {
            QSC_LOG(kLogError, "%s cannot be put back, error %u\n", name, code);
        }
        (void)add_member(told, name, json_object_new_string(outcome));
        first = first != 0 ? first : code;
    }
    return first;
}

} // namespace

u32 load_checkpoint(JsonRef& checkpoint)
{
    FileText text;
    const u32 code = read_safe_file(kCheckpoint, text, kLargest);
    if (code == ENOENT || code == ENOTDIR) {
        return ENOENT;
    }
    if (code == 0) {
        checkpoint.reset(json_tokener_parse(text.c_str()));
    }
    if (code != 0 || !is_object(checkpoint.get())) {
        QSC_LOG(kLogError, "%s cannot be read, error %u\n", kCheckpoint, code);
        return EFAULT;
    }
    return 0;
}

u32 save_checkpoint(json_object* checkpoint)
{
    std::size_t length = 0;
    const char* const text = json_object_to_json_string_length(checkpoint, JSON_C_TO_STRING_PLAIN, &length);
    if (text == nullptr) {
        return ENOMEM;
    }
    if (!has_own_folder(kStateFolder, true)) {
        return EPERM;
    }
    const u32 code = replace_file(kCheckpoint, {text, length}, 0600);
    return code == 0 ? sync_folder() : code;
}

u32 remove_checkpoint()
{
    return unlink(kCheckpoint) == 0 || errno == ENOENT ? sync_folder() : static_cast<u32>(errno);
}

u32 set_checkpoint_aside()
{
    return std::rename(kCheckpoint, kFailedCheckpoint) == 0 ? sync_folder() : static_cast<u32>(errno);
}

u32 put_back(json_object* checkpoint, json_object* report)
{
    u32 code = 0;
    for (const Kind& kind : kKinds) {
        code = put_all_back(checkpoint, kind, report) != 0 ? u32{EFAULT} : code;
    }
    return code;
}

bool is_as_kept(json_object* checkpoint)
{
    for (const Kind& kind : kKinds) {
        json_object* kept = nullptr;
        if (!find_member(checkpoint, kind.name, kept) || !is_object(kept)) {
            continue;
        }
        json_object_object_foreach(kept, name, value)
        {
            bool is_same = false;
            if (kind.compare(name, value, is_same) != 0 || !is_same) {
                return false;
            }
        }
    }
    return true;
}

u32 merge_checkpoint(json_object* checkpoint, const char* member, json_object* more)
{
    json_object* kept = nullptr;
    if (!find_member(checkpoint, member, kept)) {
        return add_member(checkpoint, member,
                          more != nullptr ? json_object_get(more) : json_object_new_object());
    }
    if (more != nullptr) {
        json_object_object_foreach(more, name, value)
        {
            json_object* known = nullptr;
            if (!find_member(kept, name, known) &&
                json_object_object_add(kept, name, json_object_get(value)) != 0) {
                return ENOMEM;
            }
        }
    }
    return 0;
}

} // namespace qsc::apply
