// SPDX-License-Identifier: Apache-2.0
#include "tools/qscd/Workers.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>

#include <unistd.h>

#include "include/bacl.h"
#include "tools/qscd/Methods.h"
#include "tools/qscd/Mutex.h"

using namespace qsc;

namespace qscd
{

namespace
{

constexpr std::size_t kStack = std::size_t{512} * 1024;
constexpr u64 kIdleMs = 10'000;

/// A call whose tools have been killed comes back at once, unless something else holds it.
constexpr u64 kGraceMs = 1000;

/// Each of its tools has a deadline of its own. One that is ended as a whole could not put anything back.
constexpr u64 kLongestApply = 3'600'000;

/// How long an answer may take to be sent before what may cut the line.
constexpr u64 kWordMs = 1000;

/// Until a thread is tried again that could not be started.
constexpr int kRetry = 1000;

timespec after_ms(u64 wait)
{
    timespec time{};
    (void)clock_gettime(CLOCK_MONOTONIC, &time);
    const u64 nanoseconds = static_cast<u64>(time.tv_nsec) + wait % 1000 * 1'000'000;
    time.tv_sec += static_cast<time_t>(wait / 1000 + nanoseconds / 1'000'000'000);
    time.tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
    return time;
}

} // namespace

void CallList::push(Call* call)
{
    call->next = nullptr;
    (last_ != nullptr ? last_->next : first_) = call;
    last_ = call;
    ++count_;
}

void CallList::remove(Call* call)
{
    Call* before = nullptr;
    for (Call* each = first_; each != nullptr; before = each, each = each->next) {
        if (each == call) {
            (before != nullptr ? before->next : first_) = call->next;
            last_ = last_ == call ? before : last_;
            --count_;
            return;
        }
    }
}

Call* CallList::take()
{
    last_ = nullptr;
    count_ = 0;
    return std::exchange(first_, nullptr);
}

Workers::~Workers()
{
    for (CallList* list : {&ordered_, &gets_, &done_}) {
        for (Call* call = list->take(); call != nullptr;) {
            delete_call(std::exchange(call, call->next));
        }
    }
}

u32 Workers::start(const Deadlines& deadlines, int wake_fd)
{
    deadlines_ = deadlines;
    wake_fd_ = wake_fd;
    pthread_condattr_t attributes;
    (void)pthread_condattr_init(&attributes);
    (void)pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    for (pthread_cond_t* condition : {&ordered_wakes_, &gets_wake_, &ended_, &answered_}) {
        (void)pthread_cond_init(condition, &attributes);
    }
    (void)pthread_condattr_destroy(&attributes);
    const Locked locked{mutex_};
    return start_thread(run_ordered) ? 0 : u32{EAGAIN};
}

bool Workers::start_thread(void* (*run)(void*))
{
    pthread_attr_t attributes;
    pthread_t thread;
    (void)pthread_attr_init(&attributes);
    (void)pthread_attr_setstacksize(&attributes,
                                    std::max(kStack, static_cast<std::size_t>(PTHREAD_STACK_MIN)));
    (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    const bool is_started = pthread_create(&thread, &attributes, run, this) == 0;
    (void)pthread_attr_destroy(&attributes);
    threads_ += is_started ? 1 : 0;
    return is_started;
}

void Workers::submit(Call* call, bool is_ordered)
{
    const Locked locked{mutex_};
    ++held_;
    if (is_ordered) {
        ordered_.push(call);
        (void)pthread_cond_signal(&ordered_wakes_);
        return;
    }
    gets_.push(call);
    (void)pthread_cond_signal(&gets_wake_);
    // A thread that has been woken still counts as idle, and takes one call only.
    if (gets_.count() > idle_) {
        start_getter();
    }
}

/// Without a new thread, what waits is served when another one is free.
void Workers::start_getter()
{
    if (getters_ < kMost && start_thread(run_get)) {
        ++getters_;
    }
}

/// The first get whose client has not more than its share of the workers. While half of them are free, that
/// is several; then each has one.
Call* Workers::next_get()
{
    const auto busy =
        static_cast<std::size_t>(std::ranges::count_if(running_, [](Call* call) { return call != nullptr; }));
    const std::ptrdiff_t share = busy < kMost / 2 ? 8 : 1;
    for (Call* call = gets_.first(); call != nullptr; call = call->next) {
        const auto own = std::ranges::count_if(running_, [&](Call* other) {
            return other != nullptr && other->slot == call->slot && other != running_[0];
        });
        if (own < share) {
            gets_.remove(call);
            return call;
        }
    }
    return nullptr;
}

void Workers::wake()
{
    const u64 one = 1;
    (void)!write(wake_fd_, &one, sizeof one);
}

void Workers::finish(Call* call, std::size_t slot)
{
    running_[slot] = nullptr;
    if (done_.is_empty()) {
        wake();
    }
    done_.push(call);
    // One that had to wait for its client's turn may run now.
    if (!gets_.is_empty() && idle_ != 0) {
        (void)pthread_cond_signal(&gets_wake_);
    }
}

/// Waits for the next call and counts it as running; null: the thread is to end.
Call* Workers::next(bool is_ordered, std::size_t& slot)
{
    const Locked locked{mutex_};
    Call* call = nullptr;
    bool is_idle_long = false;
    for (;;) {
        call = is_ending_ ? nullptr : is_ordered ? ordered_.first() : next_get();
        if (call != nullptr || is_ending_ || is_idle_long) {
            break;
        }
        if (is_ordered) {
            (void)pthread_cond_wait(&ordered_wakes_, &mutex_);
        } else {
            const timespec until = after_ms(kIdleMs);
            ++idle_;
            is_idle_long = pthread_cond_timedwait(&gets_wake_, &mutex_, &until) == ETIMEDOUT;
            --idle_;
        }
    }
    if (call == nullptr) {
        return nullptr;
    }
    if (is_ordered) {
        ordered_.remove(call);
    } else {
        slot = static_cast<std::size_t>(std::find(running_.begin() + 1, running_.end(), nullptr) -
                                        running_.begin());
    }
    running_[slot] = call;
    call->run.number = ++runs_;
    call->started = BaCL_GetTimestampMSHQ();
    call->deadline = call->started + (call->method->is_apply                      ? kLongestApply
                                      : (call->operation & QSC_OPER_SERVICE) != 0 ? deadlines_.service
                                                                                  : deadlines_.request);
    return call;
}

void Workers::serve(bool is_ordered)
{
    std::size_t slot = 0;
    while (Call* const call = next(is_ordered, slot)) {
        {
            const ToolScope scope{call->run};
            call->method->execute(*call);
        }
        const Locked locked{mutex_};
        finish(call, slot);
    }
}

void* Workers::run_ordered(void* workers)
{
    auto& self = *static_cast<Workers*>(workers);
    self.serve(true);
    const Locked locked{self.mutex_};
    --self.threads_;
    (void)pthread_cond_signal(&self.ended_);
    return nullptr;
}

void* Workers::run_get(void* workers)
{
    auto& self = *static_cast<Workers*>(workers);
    self.serve(false);
    const Locked locked{self.mutex_};
    --self.threads_;
    --self.getters_;
    (void)pthread_cond_signal(&self.ended_);
    return nullptr;
}

Call* Workers::take_done()
{
    const Locked locked{mutex_};
    held_ -= done_.count();
    return done_.take();
}

void Workers::judge(Call& call, u64 now, const Supervision& supervision, int& wait)
{
    const u64 warning = call.started + (call.deadline - call.started) / 2;
    const auto until = [&](u64 time) {
        const int left = time > now ? static_cast<int>(std::min<u64>(time - now, INT_MAX)) : 0;
        wait = wait < 0 ? left : std::min(wait, left);
    };
    if (!call.was_warned && now >= warning) {
        call.was_warned = true;
        supervision.warn(supervision.owner, call);
    }
    if (!call.is_late && now >= call.deadline) {
        call.is_late = true;
        copy_tool(call.run, call.late_tool);
        ToolRun* const run = &call.run;
        end_tools({&run, 1});
        supervision.late(supervision.owner, call);
    }
    if (call.is_late && !call.is_answered && now >= call.deadline + kGraceMs) {
        call.is_answered = true;
        ToolRun* const run = &call.run;
        end_tools({&run, 1}); // whatever has been missed
        supervision.lost(supervision.owner, call);
    }
    if (!call.is_answered) {
        until(!call.was_warned ? warning : !call.is_late ? call.deadline : call.deadline + kGraceMs);
    }
}

int Workers::supervise(const Supervision& supervision)
{
    if (held_ == 0) {
        return -1;
    }
    const u64 now = BaCL_GetTimestampMSHQ();
    int wait = -1;
    const Locked locked{mutex_};
    for (Call* call : running_) {
        if (call != nullptr) {
            judge(*call, now, supervision, wait);
        }
    }
    if (!gets_.is_empty() && getters_ == 0) {
        start_getter(); // there was no memory for one before
        wait = wait < 0 ? kRetry : std::min(wait, kRetry);
    }
    // What begins after this look is not overdue before the half of its time.
    if (!ordered_.is_empty() || !gets_.is_empty()) {
        const int half = static_cast<int>(std::min(deadlines_.request, deadlines_.service) / 2);
        wait = wait < 0 ? half : std::min(wait, half);
    }
    // What waits after one that does not come back need not wait for ever.
    if (running_[0] != nullptr && running_[0]->is_answered) {
        for (Call* call = ordered_.first(); call != nullptr;) {
            Call* const each = std::exchange(call, call->next);
            if (now >= each->came + deadlines_.request) {
                std::memcpy(each->late_tool, running_[0]->late_tool, sizeof each->late_tool);
                give_up(ordered_, each, ETIMEDOUT);
            }
        }
        wait = wait < 0 ? 1000 : std::min(wait, 1000);
    }
    return wait;
}

/// Takes a call that has not begun out of a list, and is done with it.
void Workers::give_up(CallList& list, Call* call, u32 code)
{
    list.remove(call);
    call->is_late = true;
    call->code = code;
    if (done_.is_empty()) {
        wake();
    }
    done_.push(call);
}

bool Workers::stop(u32 limit_ms)
{
    const timespec until = after_ms(limit_ms);
    const Locked locked{mutex_};
    is_ending_ = true;
    std::array<ToolRun*, kMost + 1> runs{};
    std::size_t count = 0;
    for (Call* call : running_) {
        // An apply is not ended: what it has begun is finished when the daemon comes back.
        if (call != nullptr && !call->method->is_apply) {
            call->is_late = true;
            runs[count++] = &call->run;
        }
    }
    if (count != 0) {
        end_tools({runs.data(), count});
    }
    for (CallList* list : {&ordered_, &gets_}) {
        while (!list->is_empty()) {
            give_up(*list, list->first(), ECANCELED);
        }
    }
    (void)pthread_cond_broadcast(&ordered_wakes_);
    (void)pthread_cond_broadcast(&gets_wake_);
    while (threads_ != 0 && pthread_cond_timedwait(&ended_, &mutex_, &until) != ETIMEDOUT) {
    }
    return threads_ == 0;
}

void Workers::announce(Call& call)
{
    const timespec until = after_ms(kWordMs);
    const Locked locked{mutex_};
    announced_ = &call;
    wake();
    while (announced_ != nullptr && !is_ending_ &&
           pthread_cond_timedwait(&answered_, &mutex_, &until) != ETIMEDOUT) {
    }
    announced_ = nullptr;
}

Call* Workers::announced()
{
    const Locked locked{mutex_};
    return announced_;
}

void Workers::answered(Call& call)
{
    const Locked locked{mutex_};
    call.has_word = true;
    if (announced_ == &call) {
        announced_ = nullptr;
        (void)pthread_cond_signal(&answered_);
    }
}

bool Workers::is_changing()
{
    if (held_ == 0) {
        return false;
    }
    const Locked locked{mutex_};
    return running_[0] != nullptr || !ordered_.is_empty();
}

u32 Workers::waiting()
{
    const Locked locked{mutex_};
    return ordered_.count() + gets_.count();
}

u32 Workers::running()
{
    const Locked locked{mutex_};
    return static_cast<u32>(
        std::ranges::count_if(running_, [](const Call* call) { return call != nullptr; }));
}

u64 Workers::lost_for()
{
    const Locked locked{mutex_};
    const Call* const call = running_[0];
    return call != nullptr && call->is_answered ? BaCL_GetTimestampMSHQ() - call->deadline : 0;
}

} // namespace qscd
