// SPDX-License-Identifier: Apache-2.0
// The exported functions of a change that waits.
#include <cerrno>

#include <json-c/json.h>

#include "apply/Apply.h"
#include "apply/Checks.h"
#include "apply/HeldCheckpoint.h"
#include "apply/Results.h"
#include "apply/Window.h"
#include "core/Refusal.h"
#include "include/qsc_apply.h"
#include "include/qsc_journal.h"
#include "include/qsyscmdhal.h"
#include "log/Log.h"

using namespace qsc;
using namespace qsc::apply;

namespace
{

constexpr const char* kModule = "QscWindow";

/// After so many beginnings that have not come to an end, going back is given up.
constexpr i64 kMostTries = 3;

/// Whether the checkpoint is that of an id, and may be judged now.
u32 judge_id(const Held& held, const char* id)
{
    if (held.code() == ENOENT) {
        return refuse(ENODATA, "nothing waits to be confirmed");
    }
    if (held.code() != 0) {
        return held.code();
    }
    const std::string_view own = text_at(held.root(), "id");
    if (!is_empty(id) && own != id) {
        return refuse(EINVAL, "the change that waits is %s", IdText{}.append(own).c_str());
    }
    const std::string_view state = text_at(held.root(), "state");
    if (state == kReturning) {
        return refuse(EBUSY, "it is being taken back");
    }
    return state == kApplying ? refuse(EBUSY, "it is still being applied") : 0;
}

/// Ends an exported function: its sentence names what it was about.
u32 end_call(const char* what, u32 code)
{
    if (code != 0) {
        name_refusal(is_empty(what) ? "change" : what, nullptr, code);
    }
    return code;
}

/// How a window has ended, for those who ask later, and for the journal.
void note_end(json_object* checkpoint, const char* outcome, const char* why, u32 code)
{
    const JsonRef entry{json_object_new_object()};
    const auto commander = static_cast<i32>(number_at(checkpoint, "commander"));
    const bool is_confirmed = std::string_view{outcome} == "confirmed";
    const std::string_view texts[][2] = {{"kind", is_confirmed ? "confirm" : "going back"},
                                         {"undoes", text_at(checkpoint, "id")},
                                         {"commander", QSysCmdHal_GetCommanderName(commander)},
                                         {"peer", text_at(checkpoint, "peer")},
                                         {"error", why}};
    for (const auto& [name, text] : texts) {
        if (!text.empty()) {
            (void)put_text(entry.get(), name.data(), text);
        }
    }
    (void)add_member(entry.get(), "result", json_object_new_int64(code));
    (void)QSysCmdHal_JournalAdd(entry.get());
    json_object* ids = nullptr;
    if (find_member(checkpoint, "ids", ids) && is_object(ids)) {
        json_object_object_foreach(ids, id, unused)
        {
            (void)unused;
            note_outcome(id, outcome);
        }
    }
}

/// Has the services follow what was put back. `report` gets "services": of each "done", or why it is not.
void follow_back(json_object* scripts, const char* id, json_object* report)
{
    json_object* const told = json_object_new_object();
    if (add_member(report, "services", told) != 0) {
        return;
    }
    tell_accepted(id);
    json_object_object_foreach(scripts, name, action)
    {
        const JsonRef one{json_object_new_object()};
        json_object_object_add(one.get(), name, json_object_get(action));
        forget_refusal();
        const u32 code = run_scripts(one.get());
        (void)add_member(told, name, json_object_new_string(code == 0 ? "done" : refusal()));
    }
    forget_refusal();
}

} // namespace

uint32_t QSysCmdHal_GetWindow(json_object** window)
{
    if (window == nullptr) {
        return EINVAL;
    }
    *window = nullptr;
    forget_refusal();
    JsonRef answer{json_object_new_object()};
    if (JsonRef last = last_outcome()) {
        (void)add_member(answer.get(), "last", last.release());
    }
    u32 code = ENODATA;
    if (has_window()) {
        const Held held;
        code = held.code() == ENOENT ? u32{ENODATA} : held.code();
        for (const char* name : {"id", "commander", "user", "peer", "state", "seconds", "deadline", "checks",
                                 "retries", "is_judged", "why"}) {
            json_object* value = nullptr;
            if (code == 0 && find_member(held.root(), name, value)) {
                (void)add_member(answer.get(), name, json_object_get(value));
            }
        }
        if (code == 0) {
            const u64 deadline = static_cast<u64>(number_at(held.root(), "deadline"));
            const bool is_open = text_at(held.root(), "state") == kOpen;
            (void)add_member(answer.get(), "left",
                             json_object_new_int64(is_open ? seconds_until(deadline) : 0));
            (void)add_member(answer.get(), "is_of_this_boot",
                             json_object_new_boolean(is_of_this_boot(held.root()) ? 1 : 0));
        }
    }
    *window = answer.release();
    return end_call(nullptr, code == ENODATA ? refuse(ENODATA, "nothing waits to be confirmed") : code);
}

uint32_t QSysCmdHal_ConfirmWindow(const char* id)
{
    forget_refusal();
    const Held held;
    u32 code = judge_id(held, id);
    code = code != 0 ? code : remove_checkpoint();
    if (code == 0) {
        remove_window_note();
        note_end(held.root(), "confirmed", "", 0);
    }
    return end_call(id, code);
}

uint32_t QSysCmdHal_ExtendWindow(const char* id, uint32_t seconds)
{
    forget_refusal();
    if (seconds == 0 || seconds > kLongestWindow) {
        return end_call(id, refuse(EINVAL, "a number of seconds from 1 to %u", kLongestWindow));
    }
    const Held held;
    u32 code = judge_id(held, id);
    if (code == 0) {
        held.put("seconds", json_object_new_int64(seconds));
        held.put("deadline", json_object_new_int64(static_cast<i64>(now_since_boot() + u64{seconds} * 1000)));
        code = held.save();
    }
    return end_call(id, code);
}

uint32_t QSysCmdHal_ResumeWindow(void)
{
    forget_refusal();
    carry_windows();
    if (!has_window()) {
        remove_window_note();
        return 0;
    }
    const Held held;
    if (held.code() != 0) {
        // What cannot be read cannot be put back either.
        const u32 code = held.code() == EFAULT ? set_checkpoint_aside() : 0;
        remove_window_note();
        return code != 0 ? code : held.code();
    }
    if (text_at(held.root(), "state") == kApplying && is_of_this_boot(held.root())) {
        // Its process was killed: before it had changed anything, or what it had begun has been finished
        // since.
        (is_as_kept(held.root()) ? drop_window : open_window)(held);
    } else {
        held.tell();
    }
    return 0;
}

uint32_t QSysCmdHal_RestoreCheckpoint(const char* why, uint32_t has_services, json_object** report)
{
    forget_refusal();
    JsonRef told{json_object_new_object()};
    JsonRef checkpoint;
    bool is_given_up = false;
    {
        const Held held;
        if (held.code() != 0) {
            return end_call(nullptr, held.code() == ENOENT ? refuse(ENODATA, "nothing waits to be confirmed")
                                                           : held.code());
        }
        const i64 tries = number_at(held.root(), "tries") + 1;
        is_given_up = tries > kMostTries;
        if (text_at(held.root(), "state") != kReturning) {
            held.put("state", make_text(kReturning));
            held.put("why", make_text(or_empty(why)));
        }
        held.put("tries", json_object_new_int64(tries));
        (void)held.save(); // what cannot be kept is done all the same
        checkpoint.reset(json_object_get(held.root()));
    }
    (void)add_member(told.get(), "id", make_text(text_at(checkpoint.get(), "id")));
    (void)add_member(told.get(), "why", make_text(text_at(checkpoint.get(), "why")));
    const u32 code = put_back(checkpoint.get(), told.get());
    json_object* scripts = nullptr;
    if (has_services != 0 && !is_given_up && find_member(checkpoint.get(), "scripts", scripts) &&
        is_object(scripts)) {
        follow_back(scripts, json_object_get_string(json_object_object_get(told.get(), "id")), told.get());
    }
    const char* const outcome = code == 0 ? "restored" : "failed";
    (void)add_member(told.get(), "outcome", make_text(outcome));
    {
        const Held held;
        const u32 ended = code == 0 ? remove_checkpoint() : set_checkpoint_aside();
        if (ended != 0) {
            QSC_LOG(kLogError, "the checkpoint stays, error %u\n", ended);
        }
    }
    remove_window_note();
    note_end(checkpoint.get(), outcome, json_object_get_string(json_object_object_get(told.get(), "why")),
             code);
    if (report != nullptr) {
        *report = told.release();
    }
    return code == 0
               ? 0
               : end_call(nullptr, refuse(code, "not everything could be put back; what is missing is in %s",
                                          kFailedCheckpoint));
}

uint32_t QSysCmdHal_TryChecks(char* failed, uint32_t size)
{
    forget_refusal();
    JsonRef checks;
    {
        const Held held;
        if (const u32 code = judge_id(held, nullptr)) {
            return end_call(nullptr, code);
        }
        checks.reset(json_object_get(checks_of(held.root())));
    }
    const std::size_t count = checks != nullptr ? json_object_array_length(checks.get()) : 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::string_view check;
        (void)text_of(json_object_array_get_idx(checks.get(), i), check);
        if (const u32 code = run_check(check)) {
            if (failed != nullptr && size != 0) {
                failed[check.copy(failed, size - 1)] = '\0';
            }
            return end_call("check", code);
        }
    }
    return 0;
}
