// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Applies.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include <json-c/json.h>
#include <unistd.h>

#include "include/qsc_apply.h"
#include "include/qsc_journal.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr u32 kRights = access::kSet | access::kCommit | access::kService;
constexpr u32 kChanges = QSC_OPER_SET | QSC_OPER_COMMIT | QSC_OPER_SERVICE;

/// Seconds, as the library takes them.
constexpr u32 kMostSeconds = 604'800;

thread_local Call* t_call = nullptr;

struct Announcement {
    void (*announce)(void* owner, Call& call);
    void* owner;
};

constinit Announcement g_announcement{};

/// The answer has time to leave the device before its network is restarted.
constexpr useconds_t kHeadStart = 200'000;

void take_stage(const char* stage, const char* id, void*)
{
    if (t_call != nullptr && t_call->wants_word && std::strcmp(stage, "accepted") == 0) {
        t_call->accepted.append(id);
        g_announcement.announce(g_announcement.owner, *t_call);
        (void)usleep(kHeadStart);
    }
}

/// Makes a call the one that stages are told of.
class Announced
{
  public:
    explicit Announced(Call& call) { t_call = &call; }
    Announced(const Announced&) = delete;
    Announced& operator=(const Announced&) = delete;
    ~Announced() { t_call = nullptr; }
};

json_object* text(std::string_view text)
{
    return json_object_new_string_len(text.data(), static_cast<int>(text.size()));
}

/// What log lines name a call by that has no path.
bool name_call(Call& call, std::string_view subject)
{
    if (!make_items(call, 1)) {
        return false;
    }
    std::construct_at(call.items.get())->place.object.append(subject);
    return true;
}

void add_event(Call& call, const char* type, std::string_view id, u32 commander, const char* why = "",
               i64 seconds = 0)
{
    if (call.events == nullptr) {
        call.events.reset(json_object_new_array());
    }
    json_object* const event = json_object_new_object();
    json_object_object_add(event, "type", json_object_new_string(type));
    json_object_object_add(event, "id", text(id));
    if (seconds != 0) {
        json_object_object_add(event, "seconds", json_object_new_int64(seconds));
    }
    if (*why != '\0') {
        json_object_object_add(event, "why", json_object_new_string(why));
    }
    json_object_object_add(event, "by",
                           json_object_new_string(QSysCmdHal_GetCommanderName(static_cast<i32>(commander))));
    json_object_array_add(call.events.get(), event);
}

/// What waits; null: nothing. What has waited before is in `all`.
JsonRef window(JsonRef* all = nullptr)
{
    json_object* found = nullptr;
    const u32 code = QSysCmdHal_GetWindow(&found);
    JsonRef owner{found};
    if (all != nullptr) {
        all->reset(json_object_get(found));
    }
    return code == 0 ? std::move(owner) : nullptr;
}

i64 number_in(json_object* object, const char* name)
{
    return json_object_get_int64(member(object, name));
}

std::string_view text_in(json_object* object, const char* name)
{
    json_object* const value = member(object, name);
    return json_object_is_type(value, json_type_string) != 0 ? text_of(value) : std::string_view{};
}

void tell_result(Call& call, const char* name, json_object* value, const char* more = nullptr,
                 json_object* other = nullptr)
{
    call.answer.start_result();
    call.answer.text().append("{\"").append(name).append("\":");
    call.answer.append_value(value);
    if (more != nullptr && other != nullptr) {
        call.answer.text().append(",\"").append(more).append("\":");
        call.answer.append_value(other);
    }
    call.answer.text().append("}");
    call.answer.end();
}

/// Answers with all that a plan or report refuses, or with the library's sentence.
void tell_refused(Call& call, json_object* report)
{
    Failures failures;
    json_object* const refused = member(report, "refused");
    const std::size_t count =
        json_object_is_type(refused, json_type_array) != 0 ? json_object_array_length(refused) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const each = json_object_array_get_idx(refused, i);
        Text<510> path;
        path.append(text_in(each, "path"));
        const std::string_view parameter = text_in(each, "parameter");
        path.append(parameter.empty() ? "" : ".").append(parameter);
        failures.add(path.view(), fault_of(static_cast<u32>(number_in(each, "code")), true),
                     text_in(each, "error"));
    }
    if (count == 0) {
        const std::string_view id = text_in(call.params, "id");
        failures.add(call.operation != 0 || id.empty() ? std::string_view{"apply"} : id,
                     fault_of(call.code, true), last_sentence());
    }
    failures.tell(call.answer);
}

/// The members of a request's parameters that are options of an apply.
JsonRef options_of(const Call& call)
{
    JsonRef options{json_object_new_object()};
    Text<62> peer;
    peer.append("user ").append_number(call.user);
    json_object_object_add(options.get(), "commander", json_object_new_int64(call.commander));
    json_object_object_add(options.get(), "user", json_object_new_int64(call.user));
    json_object_object_add(options.get(), "peer", text(peer.view()));
    for (const char* name : {"id", "hash", "confirm", "checks", "retries", "sets_only"}) {
        if (json_object* const given = member(call.params, name)) {
            json_object_object_add(options.get(), name, json_object_get(given));
        }
    }
    return options;
}

/// The changes as the library takes them: as they were sent, or made of the values.
JsonRef changes_of(const Call& call)
{
    if (json_object* const given = member(call.params, "changes")) {
        json_object* copy = nullptr;
        (void)json_object_deep_copy(given, &copy, nullptr);
        return JsonRef{copy};
    }
    JsonRef changes{json_object_new_array()};
    std::string_view last;
    json_object* request = nullptr;
    for (u32 i = 0; i < call.item_count; ++i) {
        const Item& item = call.items[i];
        if (request == nullptr || item.place.object.view() != last) {
            json_object* const change = json_object_new_object();
            request = json_object_new_object();
            last = item.place.object.view();
            json_object_object_add(change, "path", text(last));
            json_object_object_add(change, "set", request);
            json_object_array_add(changes.get(), change);
        }
        json_object* const parameter = json_object_new_object();
        json_object_object_add(parameter, "ParamValue", json_object_get(item.value));
        json_object_object_add(request, item.place.name.c_str(), parameter);
    }
    return changes;
}

/// Checks one of the changes that were sent in the library's form.
bool take_change(Call& call, const Caller& caller, json_object* change, Failures& failures)
{
    const std::string_view path = text_in(change, "path");
    u32 steps = 0;
    for (const char* step : {"set", "commit", "service"}) {
        steps += json_object_is_type(member(change, step), json_type_object) != 0 ? 1 : 0;
    }
    if (path.empty() || std::strlen(path.data()) != path.size() || steps != 1 ||
        json_object_object_length(change) != 2) {
        return refuse(
            call, kBadParams,
            R"(changes: a list of {"path": text, and one of "set", "commit" and "service": object})");
    }
    if (!check_rights(call, caller, without_dot(path), kRights)) {
        return false;
    }
    Item& item = *std::construct_at(&call.items[call.item_count]);
    item.value = nullptr;
    item.place.entry = entry_for(path);
    if (item.place.entry == nullptr || !item.place.object.assign(path)) {
        failures.add(path, kNoSuchParameter, "there is no such path");
    } else {
        ++call.item_count;
    }
    return true;
}

bool prepare_changes(Call& call, const Caller& caller, json_object* changes)
{
    const std::size_t count =
        json_object_is_type(changes, json_type_array) != 0 ? json_object_array_length(changes) : 0;
    if (count == 0) {
        return refuse(call, kBadParams, R"(values: an object, or changes: a list)");
    }
    Failures failures;
    if (!make_items(call, count)) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (!take_change(call, caller, json_object_array_get_idx(changes, i), failures)) {
            return false;
        }
    }
    return finish_items(call, failures);
}

/// Programs are run as root: whoever may only set something may not name one.
bool may_check(Call& call, const Caller& caller)
{
    json_object* const checks = member(call.params, "checks");
    const std::size_t count =
        json_object_is_type(checks, json_type_array) != 0 ? json_object_array_length(checks) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        json_object* const each = json_object_array_get_idx(checks, i);
        const std::string_view check =
            json_object_is_type(each, json_type_string) != 0 ? text_of(each) : std::string_view{};
        if (check != "gateway" && check != "dns" && !check.starts_with("url:") &&
            !caller.table.is_master(caller.peer)) {
            return refuse(call, kDenied, "only root may name a program as a check; others may use gateway, ",
                          "dns and url:ADDRESS");
        }
    }
    return true;
}

bool prepare_apply(Call& call, const Caller& caller)
{
    call.wants_word = member(call.params, "confirm") != nullptr || member(call.params, "checks") != nullptr;
    json_object* const changes = member(call.params, "changes");
    const bool is_prepared = changes != nullptr && member(call.params, "values") == nullptr
                                 ? prepare_changes(call, caller, changes)
                                 : prepare_set(call, caller);
    return is_prepared && may_check(call, caller);
}

bool prepare_id(Call& call, const Caller& caller)
{
    u32 seconds = 1;
    const std::string_view id = text_in(call.params, "id");
    call.is_master = caller.table.is_master(caller.peer);
    if (id.empty()) {
        return refuse(call, kBadParams, "id: that of the change, as pending shows it");
    }
    if (std::strcmp(call.method->name, "extend") == 0 &&
        (!take_number(call, "seconds", kMostSeconds, seconds) || member(call.params, "seconds") == nullptr)) {
        return call.answer.has_failed() || refuse(call, kBadParams, "seconds: counted from now") ? false
                                                                                                 : false;
    }
    call.wants_word = std::strcmp(call.method->name, "cancel") == 0;
    return name_call(call, id);
}

/// What it will touch is known only when it is done, so it needs the rights to all.
bool prepare_rollback(Call& call, const Caller& caller)
{
    const std::string_view id = text_in(call.params, "undo");
    call.wants_word = member(call.params, "confirm") != nullptr || member(call.params, "checks") != nullptr;
    if (id.empty()) {
        return refuse(call, kBadParams, "undo: the id of an apply, as history shows it");
    }
    return name_call(call, "Device") && check_rights(call, caller, "Device", kRights) &&
           may_check(call, caller);
}

/// Entries of the journal, whose secrets are masked.
bool prepare_journal(Call& call, const Caller& caller)
{
    const std::string_view path = text_in(call.params, "path");
    return name_call(call, path) &&
           check_rights(call, caller, path.empty() ? std::string_view{"Device"} : without_dot(path),
                        access::kGet);
}

bool prepare_pending(Call& call, const Caller&)
{
    return name_call(call, "");
}

void execute_plan(Call& call)
{
    json_object* made = nullptr;
    const JsonRef changes = changes_of(call);
    call.code = QSysCmdHal_Plan(changes.get(), options_of(call).get(), &made);
    const JsonRef plan{made};
    // What would be refused is what a plan is to show.
    if (plan == nullptr) {
        tell_refused(call, nullptr);
    } else {
        tell_result(call, "plan", plan.get());
    }
}

/// What was applied waits: it is told, and what waits is the answer unless the client has it.
void tell_started(Call& call, std::string_view id)
{
    const JsonRef waiting = window();
    if (waiting != nullptr && text_in(waiting.get(), "id") == id &&
        text_in(waiting.get(), "state") == "open") {
        add_event(call, "started", id, static_cast<u32>(number_in(waiting.get(), "commander")), "",
                  number_in(waiting.get(), "left"));
    }
}

void execute_apply(Call& call)
{
    const Announced announced{call};
    json_object* made = nullptr;
    const JsonRef changes = changes_of(call);
    // One that is sent again is answered again, and not started.
    const JsonRef before = window();
    const bool is_known = before != nullptr && text_in(before.get(), "id") == text_in(call.params, "id");
    json_object* const undone = member(call.params, "undo");
    call.code = undone == nullptr
                    ? QSysCmdHal_Apply(changes.get(), options_of(call).get(), &made)
                    : QSysCmdHal_Rollback(json_object_get_string(undone), options_of(call).get(), &made);
    const JsonRef report{made};
    if (call.code != 0) {
        if (call.has_word) {
            add_event(call, "failed", text_in(report.get(), "id"), call.commander, last_sentence());
        }
        tell_refused(call, report.get());
        return;
    }
    json_object* const id = member(report.get(), "id");
    if (call.wants_word) {
        tell_result(call, "accepted", id, "report", report.get());
    } else {
        tell_result(call, "applied", id, "report", report.get());
    }
    if (!is_known) {
        tell_started(call, text_in(report.get(), "id"));
    }
}

/// The one who has made the change, and root, decide on it.
bool is_owner(Call& call, json_object* waiting)
{
    if (waiting == nullptr || call.is_master || number_in(waiting, "user") == static_cast<i64>(call.user)) {
        return true;
    }
    call.code = EPERM;
    return refuse(call, kDenied, "only the user who has made the change, or root, decides on it");
}

/// Ends a decision on a change. @return whether it is made
bool is_done(Call& call)
{
    if (call.code != 0) {
        tell_refused(call, nullptr);
    }
    return call.code == 0;
}

void execute_confirm(Call& call)
{
    const JsonRef waiting = window();
    if (!is_owner(call, waiting.get())) {
        return;
    }
    json_object* const id = member(call.params, "id");
    call.code = QSysCmdHal_ConfirmWindow(json_object_get_string(id));
    if (is_done(call)) {
        add_event(call, "confirmed", text_of(id), call.commander);
        tell_result(call, "confirmed", id);
    }
}

void execute_extend(Call& call)
{
    const JsonRef waiting = window();
    if (!is_owner(call, waiting.get())) {
        return;
    }
    json_object* const id = member(call.params, "id");
    json_object* const seconds = member(call.params, "seconds");
    const i64 length = json_object_get_int64(seconds);
    call.code = QSysCmdHal_ExtendWindow(json_object_get_string(id), static_cast<u32>(length));
    if (is_done(call)) {
        add_event(call, "extended", text_of(id), call.commander, "", length);
        tell_result(call, "extended", id, "seconds", seconds);
    }
}

/// Takes what waits back, and tells how that has ended.
JsonRef take_back(Call& call, json_object* waiting, const char* why)
{
    const Announced announced{call};
    const auto commander = static_cast<u32>(number_in(waiting, "commander"));
    json_object* made = nullptr;
    call.code = QSysCmdHal_RestoreCheckpoint(why, 1, &made);
    add_event(call, call.code == 0 ? "restored" : "failed", text_in(waiting, "id"), commander,
              call.code == 0 ? why : last_sentence());
    return JsonRef{made};
}

void execute_cancel(Call& call)
{
    const JsonRef waiting = window();
    json_object* const id = member(call.params, "id");
    if (!is_owner(call, waiting.get())) {
        return;
    }
    const bool is_known = waiting != nullptr && json_object_equal(member(waiting.get(), "id"), id) != 0;
    if (!is_known || text_in(waiting.get(), "state") != "open") {
        // Nothing is confirmed by this: it only finds the sentence.
        call.code = waiting == nullptr ? u32{ENODATA} : is_known ? u32{EBUSY} : u32{EINVAL};
        Failures failures;
        failures.add(text_of(id), fault_of(call.code, true),
                     waiting == nullptr ? "no change waits to be confirmed"
                     : is_known         ? "it is being applied or taken back"
                                        : "another change waits; see pending");
        failures.tell(call.answer);
        return;
    }
    add_event(call, "cancelled", text_of(id), call.commander);
    const JsonRef report = take_back(call, waiting.get(), "cancelled");
    if (call.code != 0) {
        tell_refused(call, report.get());
    } else {
        tell_result(call, "cancelled", id, "report", report.get());
    }
}

void execute_pending(Call& call)
{
    JsonRef all;
    const JsonRef waiting = window(&all);
    JsonRef shown;
    if (waiting != nullptr) {
        shown.reset(json_object_new_object());
        for (const char* name : {"id", "peer", "state", "seconds", "left", "checks", "why"}) {
            json_object* value = member(waiting.get(), name);
            if (value != nullptr) {
                json_object_object_add(shown.get(), name, json_object_get(value));
            }
        }
        json_object_object_add(shown.get(), "by",
                               json_object_new_string(QSysCmdHal_GetCommanderName(
                                   static_cast<i32>(number_in(waiting.get(), "commander")))));
    }
    tell_result(call, "pending", shown.get(), "last", member(all.get(), "last"));
}

void execute_journal(Call& call)
{
    json_object* found = nullptr;
    const u32 code = QSysCmdHal_JournalRead(call.params, &found);
    const JsonRef entries{found};
    if (code != 0) {
        call.answer.fail(code == EINVAL ? kBadParams : kFailed, "the journal cannot be read so");
    } else {
        tell_result(call, "entries", entries.get());
    }
}

void execute_resume(Call& call)
{
    const u32 recovered = QSysCmdHal_RecoverApply();
    call.code = QSysCmdHal_ResumeWindow();
    const JsonRef waiting = window();
    if (waiting == nullptr) {
        call.code = recovered;
        return;
    }
    const bool is_of_this_boot = json_object_get_boolean(member(waiting.get(), "is_of_this_boot")) != 0;
    if (!is_of_this_boot || text_in(waiting.get(), "state") == "returning") {
        (void)take_back(call, waiting.get(), is_of_this_boot ? "interrupted" : "the device was restarted");
    }
}

/// Its time may have been extended since it seemed to be over.
void execute_time_out(Call& call)
{
    JsonRef waiting = window();
    if (waiting != nullptr && text_in(waiting.get(), "state") == "applying" &&
        QSysCmdHal_RecoverApply() == 0) {
        // Another process had joined it, and was killed.
        (void)QSysCmdHal_ResumeWindow();
        waiting = window();
    }
    if (waiting != nullptr && text_in(waiting.get(), "state") == "open" &&
        number_in(waiting.get(), "left") == 0) {
        add_event(call, "timed_out", text_in(waiting.get(), "id"),
                  static_cast<u32>(number_in(waiting.get(), "commander")));
        (void)take_back(call, waiting.get(), "timed out");
    }
}

void execute_check(Call& call)
{
    char failed[256] = "";
    call.code = QSysCmdHal_TryChecks(failed, sizeof failed);
    call.items[0].place.name.append(failed);
}

void execute_passed(Call& call)
{
    const JsonRef waiting = window();
    call.code = QSysCmdHal_ConfirmWindow(call.items[0].place.object.c_str());
    if (call.code == 0) {
        add_event(call, "confirmed", call.items[0].place.object.view(),
                  static_cast<u32>(number_in(waiting.get(), "commander")), "its checks are passed");
    }
}

void execute_rejected(Call& call)
{
    const JsonRef waiting = window();
    if (waiting != nullptr && text_in(waiting.get(), "state") == "open") {
        Text<510> why;
        why.append("check ").append(call.items[0].place.object.view()).append(" failed");
        add_event(call, "failed", text_in(waiting.get(), "id"),
                  static_cast<u32>(number_in(waiting.get(), "commander")), why.c_str());
        (void)take_back(call, waiting.get(), why.c_str());
    }
}

constexpr Method kMethods[] = {
    {"plan",
     Lane::kOrdered,
     kRights,
     0,
     prepare_apply,
     execute_plan,
     {"values", "changes", "id", "sets_only", "commander"},
     true},
    {"apply",
     Lane::kOrdered,
     kRights,
     kChanges,
     prepare_apply,
     execute_apply,
     {"values", "changes", "id", "hash", "confirm", "checks", "retries", "commander"},
     true},
    {"rollback",
     Lane::kOrdered,
     kRights,
     QSC_OPER_SERVICE,
     prepare_rollback,
     execute_apply,
     {"undo", "id", "hash", "confirm", "checks", "retries", "commander"},
     true},
    {"confirm", Lane::kOrdered, 0, 0, prepare_id, execute_confirm, {"id", "commander"}},
    {"extend", Lane::kOrdered, 0, 0, prepare_id, execute_extend, {"id", "seconds", "commander"}},
    {"cancel", Lane::kOrdered, 0, 0, prepare_id, execute_cancel, {"id", "commander"}, true},
    {"pending", Lane::kBeside, 0, 0, prepare_pending, execute_pending, {}},
    {"history", Lane::kBeside, access::kGet, 0, prepare_journal, execute_journal, {"limit"}},
    {"audit", Lane::kBeside, access::kGet, 0, prepare_journal, execute_journal, {"path", "limit"}},
    {"show", Lane::kBeside, access::kGet, 0, prepare_journal, execute_journal, {"id", "limit"}},
};

/// In the order of Errand.
constexpr Method kErrands[] = {
    {"resume", Lane::kOrdered, 0, 0, nullptr, execute_resume, {}, true},
    {"time-out", Lane::kOrdered, 0, 0, nullptr, execute_time_out, {}, true},
    {"check", Lane::kBeside, 0, QSC_OPER_SERVICE, nullptr, execute_check, {}},
    {"passed", Lane::kOrdered, 0, 0, nullptr, execute_passed, {}},
    {"rejected", Lane::kOrdered, 0, 0, nullptr, execute_rejected, {}, true},
};

} // namespace

std::span<const Method> apply_methods()
{
    return kMethods;
}

Call* new_errand(Errand errand, std::string_view what)
{
    Call* const call = new_call();
    if (call != nullptr) {
        call->method = &kErrands[static_cast<std::size_t>(errand)];
        call->operation = call->method->operation;
        call->commander = QSC_COMMANDER_OTHER;
        call->slot = UINT32_MAX;
        call->run.may_start = true;
        call->answer.begin();
        if (!name_call(*call, what)) {
            delete_call(call);
            return nullptr;
        }
    }
    return call;
}

bool is_errand(const Call& call)
{
    return std::ranges::any_of(kErrands, [&](const Method& each) { return &each == call.method; });
}

bool is_errand(const Call& call, Errand errand)
{
    return call.method == &kErrands[static_cast<std::size_t>(errand)];
}

std::string_view subject_of(const Call& call)
{
    return call.items[0].place.object.view();
}

std::string_view failed_check(const Call& call)
{
    return call.items[0].place.name.view();
}

bool may_move_window(const Call& call)
{
    const auto is_this = [&](const Method& each) { return &each == call.method; };
    return is_errand(call) || (std::ranges::any_of(kMethods, is_this) && call.method->lane == Lane::kOrdered);
}

void tell_accepted(const Call& call, Answer& answer)
{
    answer.start_result();
    answer.text().append(R"({"accepted":)");
    answer.append_text(call.accepted.view());
    answer.text().append("}");
    answer.end();
}

void watch_applies(void (*announce)(void* owner, Call& call), void* owner)
{
    g_announcement = {announce, owner};
    QSysCmdHal_WatchApply(take_stage, nullptr);
}

} // namespace qscd
