// SPDX-License-Identifier: Apache-2.0
// The System V queue, for commanders that speak it: a thread receives requests and hands them on like those
// of the socket; the thread that has served one answers it.
#pragma once

#include <atomic>

#include <pthread.h>

#include "tools/qscd/Answers.h"
#include "tools/qscd/Listener.h"
#include "tools/qscd/Options.h"
#include "tools/queue/Payload.h"

namespace qscd
{

class Server;

class QueueServer
{
  public:
    QueueServer(const Options& options, Server& server)
        : options_(options), server_(server), answers_(options.patience_seconds)
    {
    }
    QueueServer(const QueueServer&) = delete;
    QueueServer& operator=(const QueueServer&) = delete;
    ~QueueServer() { stop(); }

    /// Makes the queue and starts the thread; false: it could not, which has been said.
    [[nodiscard]] bool start(int wake_fd);

    /// Removes the queue, which every client notices, and ends the thread.
    void stop();

    /// Removes the answers that no one takes.
    void expire() { expired_ += answers_.expire(queue_); }

    [[nodiscard]] bool is_open() const { return queue_ != QSCBASE_NO_QUEUE; }
    [[nodiscard]] u32 queue() const { return queue_; }
    /// Whether another process has removed the queue.
    [[nodiscard]] bool has_failed() const { return has_failed_; }

    [[nodiscard]] u32 served() const { return served_; }
    [[nodiscard]] u32 dropped() const { return dropped_; }
    [[nodiscard]] u32 expired() const { return expired_; }

    /// Answers a request of the queue. Any thread.
    void answer(Call& call, const char* error);

  private:
    [[nodiscard]] bool make_queue();
    static void* run(void* self);
    void receive_all();
    void handle(const qsc::queue::Received& message);
    void drop(const char* why);

    const Options& options_;
    Server& server_;
    LockFile lock_;
    u32 queue_ = QSCBASE_NO_QUEUE;
    int wake_fd_ = -1;
    Answers answers_;
    pthread_t thread_{};
    bool is_running_ = false;
    std::atomic<bool> is_ending_{false};
    std::atomic<bool> has_failed_{false};
    std::atomic<u32> served_{0};
    std::atomic<u32> dropped_{0};
    std::atomic<u32> expired_{0};
};

} // namespace qscd
