// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Window.h"

#include <algorithm>
#include <ctime>

#include <json-c/json.h>

#include "include/qsc_apply.h"
#include "tools/qscd/Values.h"

using namespace qsc;

namespace qscd
{

namespace
{

/// Between two tries of the checks.
constexpr i64 kPause = 2000;

/// The timers of the loop stand still while the device is suspended, so they are never set further.
constexpr i64 kLongestWait = 1000;

i64 now_since_boot()
{
    timespec now{};
    (void)clock_gettime(CLOCK_BOOTTIME, &now);
    return i64{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

} // namespace

void Window::start()
{
    send(Errand::kResume, "what was begun");
}

void Window::send(Errand errand, std::string_view what)
{
    if (Call* const call = new_errand(errand, what)) {
        (errand == Errand::kCheck ? is_checking_ : has_errand_) = true;
        hooks_.submit(hooks_.owner, call);
    }
}

/// Reads what waits now. A change that is another one than before has its checks before it.
void Window::read()
{
    json_object* found = nullptr;
    const u32 code = QSysCmdHal_GetWindow(&found);
    const JsonRef window{found};
    json_object* const id = member(window.get(), "id");
    if (code != 0 || json_object_is_type(id, json_type_string) == 0) {
        id_.clear();
        was_taken_back_ = false;
        return;
    }
    deadline_ = json_object_get_int64(member(window.get(), "deadline"));
    if (id_.view() != text_of(id)) {
        json_object* const checks = member(window.get(), "checks");
        const bool has_checks =
            json_object_is_type(checks, json_type_array) != 0 && json_object_array_length(checks) != 0;
        (void)id_.assign(text_of(id));
        next_check_ = has_checks ? now_since_boot() : 0;
        retries_ = json_object_get_int64(member(window.get(), "retries"));
        is_judged_ = json_object_get_boolean(member(window.get(), "is_judged")) != 0;
        was_taken_back_ = false;
    }
}

void Window::judge(const Call& check)
{
    if (id_.view() != subject_of(check) || next_check_ == 0) {
        return; // it was decided meanwhile
    }
    if (check.code == 0) {
        next_check_ = 0;
        if (is_judged_) {
            send(Errand::kPassed, id_.view());
        }
    } else if (retries_ > 0) {
        --retries_;
        next_check_ = now_since_boot() + kPause;
    } else {
        next_check_ = 0;
        send(Errand::kRejected, failed_check(check));
    }
}

void Window::note(const Call& done)
{
    if (is_errand(done, Errand::kCheck)) {
        is_checking_ = false;
        judge(done);
        return;
    }
    if (!may_move_window(done)) {
        return;
    }
    has_errand_ = has_errand_ && !is_errand(done);
    read();
    if (is_errand(done, Errand::kTimeOut) || is_errand(done, Errand::kRejected)) {
        was_taken_back_ = done.events != nullptr && !id_.view().empty();
        // Another process is still applying what has joined it.
        const i64 now = now_since_boot();
        deadline_ = deadline_ <= now ? now + kLongestWait : deadline_;
    }
}

int Window::look()
{
    if (id_.view().empty() || was_taken_back_) {
        return -1;
    }
    const i64 now = now_since_boot();
    if (has_errand_) {
        return -1;
    }
    if (now >= deadline_) {
        send(Errand::kTimeOut, id_.view());
        return -1;
    }
    if (!is_checking_ && next_check_ != 0 && now >= next_check_) {
        send(Errand::kCheck, id_.view());
    }
    const i64 next = next_check_ != 0 && !is_checking_ ? std::min(next_check_, deadline_) : deadline_;
    return static_cast<int>(std::clamp<i64>(next - now, 0, kLongestWait));
}

} // namespace qscd
