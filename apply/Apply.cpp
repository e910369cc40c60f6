// SPDX-License-Identifier: Apache-2.0
// The exported functions, and an apply from the plan to its end.
#include "apply/Apply.h"
#include "apply/Results.h"

#include <cerrno>

#include <json-c/json.h>
#include <pthread.h>
#include <unistd.h>

#include "base/MutexLock.h"
#include "core/Refusal.h"
#include "core/WindowNote.h"

using namespace qsc;
using namespace qsc::apply;

namespace
{

pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
/// The one that was begun and has not ended.
constinit Session* g_session = nullptr;
constinit QSysCmdHal_ApplyStage g_stage = nullptr;
constinit void* g_stage_context = nullptr;

/// Calls use(session) with the apply that is under way.
template <typename Use>
u32 with_session(Use use)
{
    const MutexLock lock{g_mutex};
    forget_refusal();
    const u32 code = g_session != nullptr ? use(*g_session) : refuse(EINVAL, "no apply is under way");
    if (code != 0) {
        name_refusal("apply", nullptr, code);
    }
    return code;
}

/// The same in its overlay.
template <typename Use>
u32 in_overlay(Session& session, Use use)
{
    InOverlay overlay{session};
    u32 code = overlay.code();
    code = code != 0 ? code : use();
    const u32 ended = overlay.end();
    return code != 0 ? code : ended != 0 ? refuse(ended, "%s cannot be written", kOverlay) : 0;
}

/// The sentence of the first refusal becomes that of the whole.
void say_refused(const Session& session, u32 code)
{
    json_object* const first = json_object_array_get_idx(session.refused.get(), 0);
    const char* const sentence = member_text(first, "error");
    forget_refusal();
    (void)refuse(code, "%s", sentence);
}

u32 check_hash(const Session& session, const Plan& plan)
{
    const char* const wanted = member_text(session.options.get(), "hash");
    return *wanted == '\0' || std::string_view{wanted} == member_text(plan.report.get(), "hash")
               ? 0
               : refuse(EAGAIN, "the plan is out of date: something that it is about has changed");
}

/// Takes back what went to the drivers, where nothing else has changed: the services follow the
/// configuration.
void take_back_live(const Session& session)
{
    put_back_outside(session);
    (void)run_scripts(session.back.get());
    finish_replacing();
}

bool is_there(json_object* object, const char* name)
{
    return json_object_object_get_ex(object, name, nullptr) != 0;
}

/// Has the drivers told what sets tell them at once. Their tools' answers may make another change of it than
/// was planned, which is not the one that a hash stands for.
u32 make_live(Session& session, Plan& plan)
{
    if (json_object_array_length(session.recorder.commands.get()) == 0) {
        return 0;
    }
    session.is_live = true;
    u32 code = note_live(session.back.get());
    if (code == 0 && wants_window(session)) {
        // Drivers that are told may cut the line as well.
        tell_accepted(session.id.c_str());
        session.is_accepted = true;
    }
    if (code == 0) {
        remove_overlay();
        code = in_overlay(session, [&] {
            const u32 failed = set_live(session);
            const JsonRef hash{json_object_get(json_object_object_get(plan.report.get(), "hash"))};
            const JsonRef seen{json_object_get(json_object_object_get(plan.report.get(), "configuration"))};
            u32 planned = failed != 0 ? failed : make_plan(session, plan);
            json_object* const made = json_object_object_get(plan.report.get(), "configuration");
            if (planned == 0 && is_there(session.options.get(), "hash") &&
                json_object_equal(seen.get(), made) == 0) {
                planned = refuse(EAGAIN, "the tools have answered something that no plan can know of");
            }
            // Of what it was planned on, before the tools have changed anything.
            return planned != 0 ? planned
                                : add_member(plan.report.get(), "hash", json_object_get(hash.get()));
        });
        if (code != 0) {
            take_back_live(session);
        }
    }
    return code;
}

/// What was done is in the report, in place of what was planned.
void report_result(const Session& session, json_object* report, u32 code)
{
    (void)(add_member(report, "result", json_object_new_int64(code)) == 0 &&
           add_member(report, "refused", json_object_get(session.refused.get())) == 0 &&
           add_member(report, "commands", show_commands(session).release()) == 0);
}

/// Everything from the first replaced file to the last service.
u32 make_changes(Session& session, Plan& plan)
{
    json_object* const report = plan.report.get();
    json_object* const texts = plan.texts.get();
    u32 code = keep_checkpoint(session, texts);
    // Whoever finishes it after a kill records it as well.
    const JsonRef record = make_record(session, report);
    code = code != 0 ? code : replace_all(texts, plan.runs.get(), record.get());
    if (code != 0) {
        (void)add_refused(session, "apply", nullptr, code);
        if (session.is_live) {
            take_back_live(session);
        }
        release_space();
        return code;
    }
    if (!session.is_accepted) {
        tell_accepted(session.id.c_str());
    }
    code = run_services(session, plan);
    if (code != 0) {
        JsonRef failed{json_object_new_array()};
        const u32 back = put_back_all(texts, session.back.get(), failed.get());
        const u32 again = run_scripts(session.back.get());
        if (back != 0 || again != 0) {
            (void)(add_member(report, "failed_back", json_object_new_boolean(1)) == 0 &&
                   add_member(report, "failed", failed.release()) == 0);
        }
    }
    finish_replacing();
    return code;
}

u32 end(Session& session, Plan& plan)
{
    if (is_of_sets_only(session)) {
        return refuse(EINVAL, "only a plan can be of the sets alone");
    }
    u32 code = in_overlay(session, [&] { return make_plan(session, plan); });
    code = code != 0 ? code : check_hash(session, plan);
    code = code != 0 ? code : reserve_space(plan.texts.get());
    if (code == 0) {
        code = make_live(session, plan);
        code = code != 0 ? code : make_changes(session, plan);
        report_result(session, plan.report.get(), code);
    } else if (plan.report != nullptr && session.code == 0) {
        (void)add_member(plan.report.get(), "result", json_object_new_int64(code));
    }
    remove_overlay();
    if (code == 0) {
        write_events(session.recorder.events.get());
    }
    end_checkpoint(session, plan.report.get());
    put_record(make_record(session, plan.report.get()).get(), plan.texts.get());
    if (code != 0 && json_object_array_length(session.refused.get()) != 0) {
        say_refused(session, code);
    }
    return code;
}

u32 give(Plan& plan, json_object** report)
{
    if (report != nullptr) {
        *report = plan.report.release();
    }
    return 0;
}

/// Begins, adds what is to be changed, and ends as use(session, plan) does.
template <typename Add, typename Use>
u32 in_one_call(json_object* options, json_object** report, Add add, Use use)
{
    forget_refusal();
    if (report != nullptr) {
        *report = nullptr;
    }
    const SessionRef session = new_session();
    u32 code = session != nullptr ? begin(*session, options) : u32{ENOMEM};
    if (code == 0) {
        Plan plan;
        code = add(*session, plan);
        code = code != 0 ? code : use(*session, plan);
        remove_overlay();
        (void)give(plan, report);
    }
    if (code != 0) {
        name_refusal("apply", nullptr, code);
    }
    return code;
}

/// The changes as the exported functions take them.
auto adding(json_object* changes)
{
    return [changes](Session& session, Plan&) {
        return in_overlay(session, [&] { return add_changes(session, changes); });
    };
}

/// Makes the session one that takes an earlier apply back; where others have gone on from it, the report
/// lists that.
u32 add_rollback(Session& session, Plan& plan, const char* id)
{
    const JsonRef undo = read_undo(id);
    u32 code = undo != nullptr && session.undoes.assign(id)
                   ? fill_rollback(session, undo.get())
                   : refuse(EFAULT,
                            "there is nothing to take back of %s: it is too old, has not been made, or has "
                            "changed nothing that is kept",
                            id);
    if (session.code != 0) {
        plan.report.reset(json_object_new_object());
        (void)put_text(plan.report.get(), "id", session.id.view());
        report_result(session, plan.report.get(), code);
        say_refused(session, code);
    }
    return code;
}

u32 plan_only(Session& session, Plan& plan)
{
    const u32 code = in_overlay(session, [&] { return make_plan(session, plan); });
    if (code != 0 && plan.report != nullptr) {
        json_object* const first =
            json_object_array_get_idx(json_object_object_get(plan.report.get(), "refused"), 0);
        if (first != nullptr) {
            forget_refusal();
            (void)refuse(code, "%s", member_text(first, "error"));
        }
    }
    return code;
}

/// Calls make(report), unless the change was made before: one that is sent again, because its answer was
/// lost, is answered as it was then.
template <typename Make>
u32 make_once(json_object* options, u64 change, json_object** report, Make make)
{
    const std::string_view id = member_text(options, "id");
    Result known;
    forget_refusal();
    u32 code = is_id(id) ? find_result(id, change, known) : u32{ENOENT};
    JsonRef made{known.report.release()};
    if (code != ENOENT) {
        code = code != 0 ? code : known.code != 0 ? refuse(known.code, "it has failed before") : 0;
        if (code != 0) {
            name_refusal("apply", nullptr, code);
        }
    } else {
        json_object* result = nullptr;
        code = make(&result);
        made.reset(result);
        // Those three have changed nothing, and may end otherwise the next time.
        if (is_id(id) && result != nullptr && code != EAGAIN && code != EBUSY && code != ENOSPC) {
            keep_result(id, change, code, result);
        }
    }
    if (report != nullptr) {
        *report = made.release();
    }
    return code;
}

} // namespace

void qsc::apply::tell_accepted(const char* id)
{
    if (g_stage != nullptr) {
        g_stage("accepted", id, g_stage_context);
    }
}

uint32_t QSysCmdHal_BeginApply(json_object* options)
{
    const MutexLock lock{g_mutex};
    forget_refusal();
    SessionRef session = new_session();
    const u32 code = g_session != nullptr ? refuse(EBUSY, "an apply of this process is under way")
                     : session != nullptr ? begin(*session, options)
                                          : u32{ENOMEM};
    if (code != 0) {
        name_refusal("apply", nullptr, code);
        return code;
    }
    g_session = session.release();
    return 0;
}

uint32_t QSysCmdHal_ApplySet(const char* path, json_object* request)
{
    return with_session([&](Session& session) {
        return path == nullptr ? EINVAL
                               : in_overlay(session, [&] { return add_set(session, path, request); });
    });
}

uint32_t QSysCmdHal_ApplyCommit(const char* path, json_object* request)
{
    return with_session([&](Session& session) {
        return path == nullptr || !is_object(request) ? EINVAL
                                                      : add_step(session, path, request, QSC_OPER_COMMIT);
    });
}

uint32_t QSysCmdHal_ApplyService(const char* path, json_object* request)
{
    return with_session([&](Session& session) {
        return path == nullptr || !is_object(request) ? EINVAL
                                                      : add_step(session, path, request, QSC_OPER_SERVICE);
    });
}

uint32_t QSysCmdHal_PlanApply(json_object** plan)
{
    return with_session([&](Session& session) -> u32 {
        if (plan == nullptr) {
            return EINVAL;
        }
        Plan made;
        const u32 code = plan_only(session, made);
        *plan = made.report.release();
        return code;
    });
}

uint32_t QSysCmdHal_EndApply(json_object** report)
{
    return with_session([&](Session& session) {
        Plan plan;
        const u32 code = end(session, plan);
        (void)give(plan, report);
        EndSession{}(std::exchange(g_session, nullptr));
        return code;
    });
}

uint32_t QSysCmdHal_AbortApply(void)
{
    return with_session([](Session&) -> u32 {
        remove_overlay();
        EndSession{}(std::exchange(g_session, nullptr));
        return 0;
    });
}

uint32_t QSysCmdHal_Plan(json_object* changes, json_object* options, json_object** plan)
{
    return plan == nullptr ? u32{EINVAL} : in_one_call(options, plan, adding(changes), plan_only);
}

uint32_t QSysCmdHal_Apply(json_object* changes, json_object* options, json_object** report)
{
    return make_once(options, number_of(changes), report,
                     [&](json_object** made) { return in_one_call(options, made, adding(changes), end); });
}

uint32_t QSysCmdHal_Rollback(const char* id, json_object* options, json_object** report)
{
    const auto add = [id](Session& session, Plan& plan) { return add_rollback(session, plan, id); };
    return id == nullptr ? u32{EINVAL} : in_one_call(options, report, add, end);
}

uint32_t QSysCmdHal_RecoverApply(void)
{
    forget_refusal();
    if (access(kFolder, F_OK) != 0) {
        return 0; // nobody has made an apply here
    }
    FileDescriptor lock{-1};
    u32 code = take_lock(lock);
    code = code != 0 ? code : recover();
    if (code != 0) {
        name_refusal("apply", nullptr, code);
    }
    return code;
}

void QSysCmdHal_WatchApply(QSysCmdHal_ApplyStage stage, void* context)
{
    g_stage = stage;
    g_stage_context = context;
}
