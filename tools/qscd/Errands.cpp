// SPDX-License-Identifier: Apache-2.0
// What the daemon does by itself for a change that waits.
#include <algorithm>

#include <json-c/json.h>

#include "include/qsc_apply.h"
#include "tools/qscd/Applies.h"
#include "tools/qscd/ApplyParts.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

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

/// In the order of Errand.
constexpr Method kErrands[] = {
    {"resume", Lane::kOrdered, 0, 0, nullptr, execute_resume, {}, true},
    {"time-out", Lane::kOrdered, 0, 0, nullptr, execute_time_out, {}, true},
    {"check", Lane::kBeside, 0, QSC_OPER_SERVICE, nullptr, execute_check, {}},
    {"passed", Lane::kOrdered, 0, 0, nullptr, execute_passed, {}},
    {"rejected", Lane::kOrdered, 0, 0, nullptr, execute_rejected, {}, true},
};

} // namespace

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

} // namespace qscd
