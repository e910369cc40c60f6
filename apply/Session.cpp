// SPDX-License-Identifier: Apache-2.0
// An apply as it grows: requests that are served in an overlay, while what they start is only noted.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <new>

#include <dirent.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "apply/Apply.h"
#include "base/Parse.h"
#include "base/ReplaceFile.h"
#include "base/SafeFile.h"
#include "base/UciOptional.h"
#include "core/CommandTable.h"
#include "core/Refusal.h"
#include "core/Request.h"

namespace qsc::apply
{

namespace
{

constexpr const char* kLock = "/etc/qsyscmdhal/lock";

bool is_there(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

bool is_id(std::string_view text)
{
    return !text.empty() && text.size() <= 64 && std::ranges::all_of(text, [](char c) {
        return is_lower(c) || is_lower(to_lower(c)) || is_digit(c) || c == '.' || c == '-' || c == '_';
    });
}

/// An option that is a text, or missing.
u32 take_option(json_object* options, const char* name, std::string_view& text)
{
    json_object* member = nullptr;
    if (!find_member(options, name, member)) {
        return 0;
    }
    return json_object_is_type(member, json_type_string) != 0
               ? text_of(member, text)
               : refuse(EINVAL, "the option %s is no text", name);
}

u32 take_options(Session& session, json_object* options)
{
    if (options != nullptr && !is_object(options)) {
        return refuse(EINVAL, "the options are no JSON object");
    }
    std::string_view id;
    std::string_view other;
    u32 code = take_option(options, "id", id);
    code = code != 0 ? code : take_option(options, "peer", other);
    code = code != 0 ? code : take_option(options, "hash", other);
    json_object* commander = nullptr;
    session.commander = QSC_COMMANDER_OTHER;
    if (code == 0 && find_member(options, "commander", commander)) {
        code = json_object_is_type(commander, json_type_int) != 0
                   ? 0
                   : refuse(EINVAL, "the commander is no number");
        session.commander = static_cast<u32>(json_object_get_int64(commander));
    }
    if (code == 0 && !id.empty() && (!is_id(id) || !session.id.assign(id))) {
        code = refuse(EINVAL, "the id is not 1 to 64 letters, digits, dots, dashes and underscores");
    }
    if (code == 0 && id.empty()) {
        u32 number = 0;
        if (getrandom(&number, sizeof number, 0) != sizeof number) {
            number = static_cast<u32>(std::time(nullptr));
        }
        char text[9];
        (void)std::snprintf(text, sizeof text, "%08x", number);
        (void)session.id.assign(text);
    }
    session.options.reset(options != nullptr ? json_object_get(options) : json_object_new_object());
    return code;
}

/// Says in the lock who has it.
void sign_lock(const Session& session)
{
    Text<126> text;
    text.append(QSysCmdHal_GetCommanderName(static_cast<i32>(session.commander)));
    text.append(" (").append(session.id.view()).append(")");
    (void)(ftruncate(session.lock.get(), 0) == 0 &&
           pwrite(session.lock.get(), text.c_str(), text.view().size(), 0) >= 0);
}

/// Judges what is in no other check: that the change could be undone.
u32 check_reversible(const Qsc_ObjectInfo& object, json_object* request)
{
    bool is_final = (object.flags & QSC_OBJECT_ACTIONS) != 0;
    Qsc_ParameterInfo parameter;
    for (u32 i = 0; QSysCmdHal_DescribeParameter(&object, i, &parameter) == 0; ++i) {
        const bool is_action = (parameter.flags & QSC_PARAM_FINAL) != 0 ||
                               std::string_view{parameter.name} == "DiagnosticsState";
        is_final =
            is_final || (is_action && json_object_object_get_ex(request, parameter.name, nullptr) != 0);
    }
    return is_final ? refuse(EFAULT, "it cannot be undone, so it is no part of an apply") : 0;
}

/// What the parameters are before a set, where no tool has to be asked.
JsonRef read_before(Session& session, const char* path, const Qsc_ObjectInfo& object, json_object* request)
{
    JsonRef before{json_object_new_object()};
    Recorder& recorder = session.recorder;
    recorder.is_muted = true;
    json_object_object_foreach(request, name, value)
    {
        (void)value;
        JsonRef one{json_object_new_object()};
        json_object* answer = nullptr;
        json_object* text = nullptr;
        recorder.was_muted = false;
        if (!is_secret_parameter(object, name) && put_object(one.get(), name) != nullptr &&
            send(session, path, one.get(), QSC_OPER_GET) == 0 && !recorder.was_muted &&
            find_member(one.get(), name, answer) && find_member(answer, "ParamValue", text)) {
            (void)add_member(before.get(), name, json_object_get(text));
        }
    }
    recorder.is_muted = false;
    return before;
}

/// Keeps the files that the drivers' tools of a set change, as they are before.
u32 keep_outside(const Session& session, const char* path, const Qsc_ObjectInfo& object, json_object* request)
{
    const RecordingScope as_it_is{nullptr};
    Qsc_ParameterInfo parameter;
    for (u32 i = 0; QSysCmdHal_DescribeParameter(&object, i, &parameter) == 0; ++i) {
        FileText text;
        struct stat status = {};
        if (!is_kept_path(parameter.outside) || !is_there(request, parameter.name) ||
            is_there(session.outside.get(), parameter.outside) ||
            read_safe_file(parameter.outside, text) != 0 || lstat(parameter.outside, &status) != 0) {
            continue;
        }
        JsonRef file{json_object_new_object()};
        u32 code = put_text(file.get(), "text", text.view());
        code = code != 0 ? code : put_text(file.get(), "path", path);
        code = code != 0 ? code
                         : add_named_member(file.get(), "mode",
                                            json_object_new_int(static_cast<i32>(status.st_mode & 07777)));
        code = code != 0 ? code : add_member(session.outside.get(), parameter.outside, file.release());
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

/// The code with which an earlier set of the path was refused; 0: none was.
u32 refused_before(const Session& session, const char* path)
{
    for (std::size_t i = 0; i < json_object_array_length(session.refused.get()); ++i) {
        json_object* const entry = json_object_array_get_idx(session.refused.get(), i);
        if (std::string_view{member_text(entry, "path")} == path) {
            return static_cast<u32>(json_object_get_int64(json_object_object_get(entry, "code")));
        }
    }
    return 0;
}

/// Adds what a set asks for to the plan.
u32 note_changes(Session& session, const char* path, const Qsc_ObjectInfo& object, json_object* request)
{
    const JsonRef before = read_before(session, path, object, request);
    json_object_object_foreach(request, name, value)
    {
        JsonRef change{json_object_new_object()};
        json_object* given = nullptr;
        json_object* old = nullptr;
        const bool is_secret = is_secret_parameter(object, name);
        (void)find_member(value, "ParamValue", given);
        u32 code = put_text(change.get(), "path", path);
        code = code != 0 ? code : put_text(change.get(), "parameter", name);
        if (code == 0 && given != nullptr) {
            code = is_secret ? put_text(change.get(), "value", "***")
                             : add_named_member(change.get(), "value", json_object_get(given));
        }
        if (code == 0 && find_member(before.get(), name, old) && old != nullptr) {
            code = add_named_member(change.get(), "old", json_object_get(old));
        }
        code = code != 0 ? code : append_to(session.changes.get(), change.release());
        if (code != 0) {
            return code;
        }
    }
    return 0;
}

/// Sends a set. When a value is refused, the others are judged without it, so that all refusals are known.
u32 send_set(Session& session, const char* path, json_object* request)
{
    const u32 code = send(session, path, request, QSC_OPER_SET);
    if (code == 0) {
        return 0;
    }
    JsonRef rest{json_object_new_object()};
    bool is_named = false;
    json_object_object_foreach(request, name, value)
    {
        json_object* result = nullptr;
        if (!is_named && find_member(value, "ParamId", result) && json_object_get_int64(result) != 0) {
            is_named = true;
            (void)add_refused(session, path, name, code);
        } else {
            json_object* given = nullptr;
            json_object* const clean = put_object(rest.get(), name);
            if (find_member(value, "ParamValue", given) && clean != nullptr) {
                (void)add_named_member(clean, "ParamValue", json_object_get(given));
            }
        }
    }
    if (!is_named) {
        return add_refused(session, path, nullptr, code);
    }
    // A new instance is refused as a whole.
    if (json_object_object_length(rest.get()) != 0 && !is_there(request, "X_QRN_Add")) {
        (void)send_set(session, path, rest.get());
    }
    return code;
}

} // namespace

json_object* make_text(std::string_view text)
{
    return json_object_new_string_len(text.data() != nullptr ? text.data() : "",
                                      static_cast<int>(text.size()));
}

u32 put_text(json_object* object, const char* name, std::string_view text)
{
    return add_named_member(object, name, make_text(text));
}

u32 append_to(json_object* array, json_object* value)
{
    if (value == nullptr || array == nullptr || json_object_array_add(array, value) != 0) {
        json_object_put(value);
        return ENOMEM;
    }
    return 0;
}

const char* member_text(json_object* object, const char* name)
{
    json_object* member = nullptr;
    return find_member(object, name, member) && json_object_is_type(member, json_type_string) != 0
               ? json_object_get_string(member)
               : "";
}

json_object* put_array(json_object* object, const char* name)
{
    json_object* const array = json_object_new_array();
    return add_member(object, name, array) == 0 ? array : nullptr;
}

json_object* put_object(json_object* object, const char* name)
{
    json_object* const member = json_object_new_object();
    return add_member(object, name, member) == 0 ? member : nullptr;
}

void EndSession::operator()(Session* session) const
{
    session->~Session();
    std::free(session); // NOLINT(cppcoreguidelines-no-malloc)
}

SessionRef new_session()
{
    void* const memory = std::malloc(sizeof(Session)); // NOLINT(cppcoreguidelines-no-malloc)
    return SessionRef{memory != nullptr ? new (memory) Session : nullptr};
}

InOverlay::InOverlay(Session& session)
    : scope_(&session.recorder), code_(call_optional(QrnUci_BeginOverlay, kOverlay)), is_begun_(code_ == 0)
{
    if (code_ != 0) {
        (void)refuse(code_,
                     QrnUci_BeginOverlay == nullptr ? "the configuration library has no overlays"
                                                    : "%s cannot be used",
                     kOverlay);
    }
}

u32 InOverlay::end()
{
    const bool was_begun = std::exchange(is_begun_, false);
    return was_begun ? call_optional(QrnUci_EndOverlay) : 0;
}

void remove_overlay()
{
    DIR* const folder = opendir(kOverlay);
    if (folder == nullptr) {
        return;
    }
    while (const dirent* const entry = readdir(folder)) {
        (void)unlinkat(dirfd(folder), entry->d_name, 0);
    }
    (void)closedir(folder);
    (void)rmdir(kOverlay);
}

u32 take_lock(FileDescriptor& lock)
{
    if (!has_own_folder(kFolder, true)) {
        return refuse(EFAULT, "%s cannot be used", kFolder);
    }
    lock.replace(open_file(kLock, O_RDWR | O_CREAT | O_NOFOLLOW, 0600));
    if (!lock.is_open()) {
        return refuse(EFAULT, "%s cannot be used", kLock);
    }
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        char who[127];
        const ssize_t size = pread(lock.get(), who, sizeof who, 0);
        lock.replace(FileDescriptor{-1});
        return refuse(EBUSY, "an apply of %.*s is under way", static_cast<int>(size > 0 ? size : 0), who);
    }
    return 0;
}

u32 begin(Session& session, json_object* options)
{
    u32 code = take_options(session, options);
    code = code != 0 ? code : take_lock(session.lock);
    if (code != 0) {
        return code;
    }
    sign_lock(session);
    (void)recover();
    remove_overlay();
    code = may_begin(session);
    session.secrets.reset(json_object_new_array());
    session.sets.reset(json_object_new_array());
    session.commits.reset(json_object_new_object());
    session.services.reset(json_object_new_object());
    session.chosen.reset(json_object_new_object());
    session.outside.reset(json_object_new_object());
    session.changes.reset(json_object_new_array());
    session.refused.reset(json_object_new_array());
    session.recorder.context = &session;
    return code;
}

u32 send(const Session& session, const char* path, json_object* request, u32 operation)
{
    const Qsc_CommandEntry* const entry = find_command_for(path);
    return entry != nullptr ? entry->dispatcher(path, request, operation, session.commander, 0, 0)
                            : refuse(EINVAL, "nothing serves this path");
}

u32 add_refused(Session& session, const char* path, const char* parameter, u32 code)
{
    session.code = session.code != 0 ? session.code : code;
    JsonRef entry{json_object_new_object()};
    const char* const sentence = QSysCmdHal_LastError();
    u32 failed = put_text(entry.get(), "path", path);
    failed = failed != 0 || parameter == nullptr ? failed : put_text(entry.get(), "parameter", parameter);
    failed = failed != 0 ? failed : add_named_member(entry.get(), "code", json_object_new_int64(code));
    failed = failed != 0 ? failed : put_text(entry.get(), "error", *sentence != '\0' ? sentence : refusal());
    (void)(failed == 0 && append_to(session.refused.get(), entry.release()) == 0);
    return code;
}

u32 add_step(Session& session, const char* path, json_object* request, u32 operation)
{
    Qsc_ObjectInfo object;
    if (QSysCmdHal_FindObject(path, &object) != 0) {
        return refuse(EINVAL, "nothing serves this path");
    }
    const bool is_commit = operation == QSC_OPER_COMMIT;
    json_object* copy = nullptr;
    if (json_object_deep_copy(request, &copy, nullptr) != 0) {
        return ENOMEM;
    }
    u32 code = add_member((is_commit ? session.commits : session.services).get(), path, copy);
    if (code == 0 && !is_commit) {
        code = add_member(session.chosen.get(), path, json_object_new_boolean(1));
    }
    return code;
}

/// Remembers who commits and restarts for an object that was set.
static u32 follow_set(Session& session, const Qsc_ObjectInfo& object)
{
    u32 code = 0;
    if (is_of_sets_only(session)) {
        return 0;
    }
    if (!is_empty(object.commit) &&
        json_object_object_get_ex(session.commits.get(), object.commit, nullptr) == 0) {
        code = put_object(session.commits.get(), object.commit) != nullptr ? 0 : u32{ENOMEM};
    }
    if (code == 0 && !is_empty(object.service) &&
        json_object_object_get_ex(session.services.get(), object.service, nullptr) == 0) {
        json_object* const request = put_object(session.services.get(), object.service);
        code = request != nullptr ? put_text(request, "action", "restart") : u32{ENOMEM};
    }
    return code;
}

bool is_of_sets_only(const Session& session)
{
    return json_object_get_boolean(json_object_object_get(session.options.get(), "sets_only")) != 0;
}

u32 add_set(Session& session, const char* path, json_object* request)
{
    Qsc_ObjectInfo object;
    u32 code = !is_object(request) ? refuse(EINVAL, "the request is not a JSON object")
               : QSysCmdHal_FindObject(path, &object) != 0 ? refuse(EINVAL, "nothing serves this path")
                                                           : check_reversible(object, request);
    if (code != 0) {
        name_refusal(path, nullptr, code);
        return add_refused(session, path, nullptr, code);
    }
    JsonRef set{json_object_new_array()};
    json_object* copy = nullptr;
    code = note_secrets(session, object, request);
    code = code != 0 ? code : append_to(set.get(), json_object_new_string(path));
    code = code != 0                                             ? code
           : json_object_deep_copy(request, &copy, nullptr) == 0 ? append_to(set.get(), copy)
                                                                 : u32{ENOMEM};
    code = code != 0 ? code : append_to(session.sets.get(), set.release());
    code = code != 0 ? code : keep_outside(session, path, object, request);
    code = code != 0 ? code : note_changes(session, path, object, request);
    code = code != 0 ? code : follow_set(session, object);
    if (code != 0) {
        return code;
    }
    // What builds on an instance that was refused says nothing new.
    code = (object.flags & QSC_OBJECT_GROWS) != 0 ? refused_before(session, path) : 0;
    session.recorder.begin_step("set", path);
    return code != 0 ? refuse(code, "an earlier change of it was refused") : send_set(session, path, request);
}

u32 commit_all(Session& session)
{
    json_object_object_foreach(session.commits.get(), path, request)
    {
        json_object* copy = nullptr;
        if (json_object_deep_copy(request, &copy, nullptr) != 0) {
            return ENOMEM;
        }
        const JsonRef sent{copy};
        session.recorder.begin_step("commit", path);
        if (const u32 code = send(session, path, copy, QSC_OPER_COMMIT)) {
            (void)add_refused(session, path, nullptr, code);
        }
    }
    return 0;
}

void put_back_outside(const Session& session)
{
    const RecordingScope as_it_is{nullptr};
    json_object_object_foreach(session.outside.get(), path, file)
    {
        FileText text;
        const char* const before = member_text(file, "text");
        if (read_safe_file(path, text) != 0 || text.view() != before) {
            (void)replace_file(
                path, before, static_cast<mode_t>(json_object_get_int(json_object_object_get(file, "mode"))));
        }
    }
}

u32 set_live(Session& session)
{
    session.recorder.clear();
    session.recorder.is_plan = false;
    u32 code = 0;
    for (std::size_t i = 0; i < json_object_array_length(session.sets.get()) && code == 0; ++i) {
        json_object* const set = json_object_array_get_idx(session.sets.get(), i);
        const char* const path = json_object_get_string(json_object_array_get_idx(set, 0));
        json_object* request = nullptr;
        if (json_object_deep_copy(json_object_array_get_idx(set, 1), &request, nullptr) != 0) {
            code = ENOMEM;
            break;
        }
        const JsonRef sent{request};
        session.recorder.begin_step("set", path);
        code = send_set(session, path, request);
    }
    session.recorder.is_plan = true;
    return code;
}

u32 add_changes(Session& session, json_object* changes)
{
    if (json_object_is_type(changes, json_type_array) == 0) {
        return refuse(EINVAL, "the changes are no JSON array");
    }
    constexpr struct {
        const char* name;
        u32 operation;
    } kSteps[] = {{"set", QSC_OPER_SET}, {"commit", QSC_OPER_COMMIT}, {"service", QSC_OPER_SERVICE}};
    for (std::size_t i = 0; i < json_object_array_length(changes); ++i) {
        json_object* const change = json_object_array_get_idx(changes, i);
        const char* const path = member_text(change, "path");
        json_object* request = nullptr;
        const auto* const step = std::ranges::find_if(
            kSteps, [&](const auto& each) { return find_member(change, each.name, request); });
        if (*path == '\0' || step == std::end(kSteps) || !is_object(request)) {
            return refuse(EINVAL, "the change %zu has no path, or no request", i);
        }
        const u32 code = step->operation == QSC_OPER_SET ? add_set(session, path, request)
                                                         : add_step(session, path, request, step->operation);
        if (code != 0 && session.code == 0) {
            return code; // it is nothing that was refused
        }
    }
    return 0;
}

} // namespace qsc::apply
