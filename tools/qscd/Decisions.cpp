// SPDX-License-Identifier: Apache-2.0
// What becomes of a change that waits: confirmed, extended, cancelled; and what waits at all.
#include <cerrno>

#include <json-c/json.h>

#include "include/qsc_apply.h"
#include "tools/qscd/ApplyParts.h"
#include "tools/qscd/Parameters.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

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

} // namespace

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

} // namespace qscd
