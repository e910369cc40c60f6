// SPDX-License-Identifier: Apache-2.0
// The service daemon: owns a queue, dispatches the requests that arrive, and answers them.
#pragma once

#include <atomic>

#include "base/FileDescriptor.h"
#include "include/bacl_regular_job.h"
#include "tools/qscd/Answers.h"
#include "tools/qscd/OutboundLog.h"
#include "tools/queue/Payload.h"

namespace qscd
{

struct Options {
    u32 key;
    const char* folder = "/var/run"; ///< where its lock is
    u32 mode = 0600;
    u32 watchdog_seconds = 60;
    u32 patience_seconds = 30; ///< how long an answer may wait to be taken
};

class Daemon
{
  public:
    explicit Daemon(const Options& options) : options_(options), answers_(options.patience_seconds) {}
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon();

    /// Makes the queue and starts the threads; false: it could not, which has been said.
    [[nodiscard]] bool start();

    /// Serves requests until a signal ends it; false: something else did, which has been logged.
    [[nodiscard]] bool serve();

  private:
    [[nodiscard]] bool take_lock();
    [[nodiscard]] bool make_queue();
    void drop(const char* why);
    void handle(const qsc::queue::Received& message);
    void answer(json_object* root, u32 operations, u32 commander, u32 code, u32 type);
    static void* housekeep(void* record);
    void tick();
    void report();

    Options options_;
    u32 queue_ = QSCBASE_NO_QUEUE;
    qsc::FileDescriptor lock_{-1};
    OutboundLog log_;
    Answers answers_;
    BaCL_RegularInfo housekeeper_{};
    std::atomic<u32> served_{0};
    std::atomic<u32> dropped_{0};
    std::atomic<u32> expired_{0};
    u32 last_report_ = 0;
};

} // namespace qscd
