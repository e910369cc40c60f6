// SPDX-License-Identifier: Apache-2.0
// The threads that serve what starts tools, and the supervision of all of it: gets side by side; set, commit
// and service one after the other.
#pragma once

#include <array>
#include <atomic>

#include <pthread.h>

#include "tools/qscd/Call.h"

namespace qscd
{

/// A list of calls in the order in which they came.
class CallList
{
  public:
    void push(Call* call);
    [[nodiscard]] Call* first() const { return first_; }
    [[nodiscard]] bool is_empty() const { return first_ == nullptr; }
    void remove(Call* call);
    /// Takes all of them.
    [[nodiscard]] Call* take();
    [[nodiscard]] u32 count() const { return count_; }

  private:
    Call* first_ = nullptr;
    Call* last_ = nullptr;
    u32 count_ = 0;
};

/// How long requests may run, in milliseconds.
struct Deadlines {
    u32 request = 30'000;
    u32 service = 120'000;
};

/// Told of what the supervisor does.
struct Supervision {
    void* owner;
    void (*warn)(void* owner, Call& call); ///< it is overdue
    void (*late)(void* owner, Call& call); ///< its tools were killed
    void (*lost)(void* owner, Call& call); ///< it does not come back all the same: answer it
};

class Workers
{
  public:
    static constexpr std::size_t kMost = 64; ///< that get side by side

    Workers() = default;
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    ~Workers();

    /// Starts the ordered thread. Each call that is done makes wake_fd readable. @return 0, or an errno
    [[nodiscard]] u32 start(const Deadlines& deadlines, int wake_fd);

    /// Hands a call over.
    void submit(Call* call, bool is_ordered);

    /// The calls that are done, as a list; they are the caller's again.
    [[nodiscard]] Call* take_done();

    /// Has a call answered that goes on, and waits for that, but not long. For the thread that serves it.
    void announce(Call& call);

    /// The call that waits for its answer; null: none. answered() tells that it is sent.
    [[nodiscard]] Call* announced();
    void answered(Call& call);

    /// Looks after what runs. @return milliseconds until it has to look again; -1: nothing runs
    [[nodiscard]] int supervise(const Supervision& supervision);

    /// Kills all tools and waits for the threads, but not long; what has not begun is done without. False: a
    /// thread has not ended.
    [[nodiscard]] bool stop(u32 limit_ms);

    /// Whether something is being set, or waits to be.
    [[nodiscard]] bool is_changing();
    [[nodiscard]] u32 waiting();
    [[nodiscard]] u32 running();
    /// For how long the ordered thread has been lost, in milliseconds; 0: it is not.
    [[nodiscard]] u64 lost_for();

  private:
    static void* run_ordered(void* workers);
    static void* run_get(void* workers);
    void serve(bool is_ordered);
    [[nodiscard]] Call* next(bool is_ordered, std::size_t& slot);
    void wake();
    [[nodiscard]] Call* next_get();
    void finish(Call* call, std::size_t slot);
    [[nodiscard]] bool start_thread(void* (*run)(void*));
    void start_getter();
    void give_up(CallList& list, Call* call, u32 code);
    void judge(Call& call, u64 now, const Supervision& supervision, int& wait);

    Deadlines deadlines_;
    int wake_fd_ = -1;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t ordered_wakes_{};
    pthread_cond_t gets_wake_{};
    pthread_cond_t ended_ = PTHREAD_COND_INITIALIZER;
    pthread_cond_t answered_ = PTHREAD_COND_INITIALIZER;
    CallList ordered_;
    CallList gets_;
    CallList done_;
    Call* announced_ = nullptr;              ///< the ordered thread waits for its answer
    std::array<Call*, kMost + 1> running_{}; ///< the ordered one first
    std::atomic<u32> held_{0};               ///< calls that were submitted and are not taken back
    u32 threads_ = 0;                        ///< all that have not ended
    u32 getters_ = 0;
    u32 idle_ = 0; ///< of the getters
    u64 runs_ = 0;
    bool is_ending_ = false;
};

} // namespace qscd
