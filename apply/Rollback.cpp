// SPDX-License-Identifier: Apache-2.0
// Undoing an apply: an apply of its own, which puts back what the other has replaced.
#include <cerrno>
#include <cstdlib>

#include <json-c/json.h>

#include "apply/Apply.h"
#include "apply/TakeBack.h"
#include "base/SafeFile.h"
#include "core/Refusal.h"

namespace qsc::apply
{

namespace
{

/// Adds what speaks against it to the report.
u32 add_conflict(Session& session, const char* place)
{
    forget_refusal();
    return add_refused(session, place, nullptr, refuse(EAGAIN, "%s has been changed since", place));
}

u32 list_conflicts(Session& session, json_object* conflicts)
{
    for (std::size_t i = 0; i < json_object_array_length(conflicts); ++i) {
        json_object* const each = json_object_array_get_idx(conflicts, i);
        const char* const option = member_text(each, "option");
        Text<254> place;
        place.append(member_text(each, "package")).append(".").append(member_text(each, "section"));
        place.append(*option != '\0' ? "." : "").append(option);
        (void)add_conflict(session, place.c_str());
    }
    return 0;
}

const char* text_of_member(json_object* item, const char* name)
{
    return json_object_get_string(json_object_object_get(item, name));
}

/// What a package has to be again.
u32 take_back_package(Session& session, const char* name, json_object* item, json_object* packages)
{
    JsonRef now;
    JsonRef text;
    const JsonRef conflicts{json_object_new_array()};
    u32 code = conflicts != nullptr ? read_package(name, now) : u32{ENOMEM};
    code = code != 0 ? code
                     : take_back({name, text_of_member(item, "before"), text_of_member(item, "after"),
                                  json_object_get_string(now.get())},
                                 text, conflicts.get());
    if (code == EAGAIN) {
        return list_conflicts(session, conflicts.get());
    }
    JsonRef given{json_object_new_object()};
    if (code != 0 || json_object_object_add(given.get(), "before", now.release()) != 0 ||
        json_object_object_add(given.get(), "after", text.release()) != 0) {
        return code != 0 ? code : u32{ENOMEM};
    }
    return add_member(packages, name, given.release());
}

/// A file is as the other apply has left it, or it stays.
u32 take_back_file(Session& session, const char* path, json_object* item, json_object* files)
{
    FileText text;
    const u32 found = read_safe_file(path, text);
    json_object* const after = json_object_object_get(item, "after");
    const bool is_same =
        after == nullptr
            ? found == ENOENT
            : found == 0 && text.view() ==
                                std::string_view{json_object_get_string(after),
                                                 static_cast<std::size_t>(json_object_get_string_len(after))};
    if (!is_same) {
        (void)add_conflict(session, path);
        return 0;
    }
    return add_member(files, path, json_object_get(item));
}

} // namespace

u32 fill_rollback(Session& session, json_object* undo)
{
    json_object* const texts = json_object_object_get(undo, "texts");
    json_object* const services = json_object_object_get(undo, "services");
    const bool is_whole = is_object(json_object_object_get(texts, "packages")) &&
                          is_object(json_object_object_get(texts, "files"));
    JsonRef given{json_object_new_object()};
    json_object* const packages = put_object(given.get(), "packages");
    const JsonRef as_left{json_object_new_object()};
    json_object* const files = put_object(as_left.get(), "files");
    if (packages == nullptr || files == nullptr || put_object(as_left.get(), "packages") == nullptr) {
        return ENOMEM;
    }
    if (!is_whole) {
        return refuse(EFAULT, "what undoes it cannot be read");
    }
    json_object_object_foreach(json_object_object_get(texts, "packages"), name, package)
    {
        if (const u32 code = take_back_package(session, name, package, packages)) {
            return code;
        }
    }
    json_object_object_foreach(json_object_object_get(texts, "files"), path, file)
    {
        if (const u32 code = take_back_file(session, path, file, files)) {
            return code;
        }
    }
    const JsonRef back = reversed(as_left.get());
    json_object* const old_files = json_object_object_get(back.get(), "files");
    if (old_files == nullptr || add_named_member(given.get(), "files", json_object_get(old_files)) != 0) {
        return ENOMEM;
    }
    if (is_object(services)) {
        session.services.reset(json_object_get(services));
    }
    session.given = std::move(given);
    return session.code;
}

} // namespace qsc::apply
