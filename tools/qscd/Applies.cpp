// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Applies.h"

#include <algorithm>

#include <json-c/json.h>

#include "include/qsc_apply.h"
#include "include/qsc_journal.h"
#include "tools/qscd/ApplyParts.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr u32 kChanges = QSC_OPER_SET | QSC_OPER_COMMIT | QSC_OPER_SERVICE;

/// The members of a request's parameters that are options of an apply.
JsonRef options_of(const Call& call)
{
    JsonRef options{json_object_new_object()};
    Text<62> peer;
    peer.append("user ").append_number(call.user);
    json_object_object_add(options.get(), "commander", json_object_new_int64(call.commander));
    json_object_object_add(options.get(), "user", json_object_new_int64(call.user));
    json_object_object_add(options.get(), "peer", new_text(peer.view()));
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
            json_object_object_add(change, "path", new_text(last));
            json_object_object_add(change, "set", request);
            json_object_array_add(changes.get(), change);
        }
        json_object* const parameter = json_object_new_object();
        json_object_object_add(parameter, "ParamValue", json_object_get(item.value));
        json_object_object_add(request, item.place.name.c_str(), parameter);
    }
    return changes;
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

constexpr Method kMethods[] = {
    {"plan",
     Lane::kOrdered,
     kApplyRights,
     0,
     prepare_apply,
     execute_plan,
     {"values", "changes", "id", "sets_only", "commander"},
     true},
    {"apply",
     Lane::kOrdered,
     kApplyRights,
     kChanges,
     prepare_apply,
     execute_apply,
     {"values", "changes", "id", "hash", "confirm", "checks", "retries", "commander"},
     true},
    {"rollback",
     Lane::kOrdered,
     kApplyRights,
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

} // namespace

std::span<const Method> apply_methods()
{
    return kMethods;
}

bool may_move_window(const Call& call)
{
    const auto is_this = [&](const Method& each) { return &each == call.method; };
    return is_errand(call) || (std::ranges::any_of(kMethods, is_this) && call.method->lane == Lane::kOrdered);
}

} // namespace qscd
