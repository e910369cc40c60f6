// SPDX-License-Identifier: Apache-2.0
// The socket's front door: one thread reads requests, serves at once what starts no tool, hands the rest to
// the workers, and sends the answers.
#pragma once

#include <array>

#include <json-c/json_tokener.h>

#include "tools/access/Access.h"
#include "tools/qscd/Client.h"
#include "tools/qscd/Listener.h"
#include "tools/qscd/Methods.h"
#include "tools/qscd/Options.h"
#include "tools/qscd/OutboundLog.h"
#include "tools/qscd/QueueServer.h"
#include "tools/qscd/Ubus.h"
#include "tools/qscd/Watch.h"
#include "tools/qscd/Window.h"
#include "tools/qscd/Workers.h"

namespace qscd
{

class Server
{
  public:
    static constexpr std::size_t kMostClients = 64;

    explicit Server(const Options& options) : options_(options), queue_(options, *this) {}
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// False: it could not, which has been said.
    [[nodiscard]] bool start();

    /// Serves until a signal ends it; false: something else did, which has been logged.
    [[nodiscard]] bool serve();

    /// Ends everything, within two seconds. False: a thread is still held by something.
    [[nodiscard]] bool end();

    [[nodiscard]] OutboundLog& log() { return log_; }
    [[nodiscard]] Workers& workers() { return workers_; }

    /// Serves a get at once, unless it needs a tool; false: a worker has to. Any thread, each with calls of
    /// its own.
    [[nodiscard]] static bool attempt(Call& call);

  private:
    struct Counters {
        u64 connections, refused, requests, direct, failed, late, dropped, bytes_in, bytes_out;
    };

    [[nodiscard]] bool add_to_epoll(int descriptor, u64 mark);
    void load_access();
    void free_places();
    void accept_all();
    void turn_away(int socket, ErrorCode code, std::string_view sentence);
    void read_client(std::size_t slot);
    void serve_lines(std::size_t slot);
    void take_line(std::size_t slot, std::string_view line);
    [[nodiscard]] bool admit(std::unique_ptr<Call, DeleteCall> call, const qsc::access::Peer& peer);
    [[nodiscard]] bool subscribe(Call& call);
    [[nodiscard]] Client* client_of(const Call& call);
    [[nodiscard]] bool understand(Call& call, std::string_view line);
    [[nodiscard]] bool serve_at_once(Call& call);
    void write_late(const Call& call, Answer& answer) const;
    void answer(Call& call);
    void send(std::size_t slot, std::string_view line);
    void close_client(std::size_t slot, const char* why);
    void update_events(std::size_t slot);
    void take_signals();
    void take_done();
    void tick(u64 now);
    [[nodiscard]] int next_wait(u64 now);
    void execute_here(Call& call);
    void write_stats(Call& call);
    void log_call(const Call& call);
    void report();

    static void take_ubus(void* server, const char* method, qsc::JsonRef params,
                          const qsc::access::Peer& peer, UbusRequest* request);
    static bool send_event(void* server, u32 slot, u64 client, std::string_view line);
    static qsc::access::Grant grant(void* server, u32 slot, std::string_view path);
    static void submit_sample(void* server, Call* call);
    static void submit_errand(void* server, Call* call);
    static void announce(void* server, Call& call);
    void answer_early(Call& call);
    static void warn_overdue(void* server, Call& call);
    static void end_late(void* server, Call& call);
    static void give_up(void* server, Call& call);

    const Options& options_;
    OutboundLog log_;
    Workers workers_;
    QueueServer queue_;
    Watch watch_{{this, send_event, grant, submit_sample}};
    Window window_{{this, submit_errand}};
    Ubus ubus_{this, take_ubus};
    u32 ubus_waiting_ = 0; ///< requests of it that are with the workers
    Listener listener_;
    qsc::access::Table access_{geteuid()};
    std::array<Client, kMostClients> clients_;
    u64 with_lines_ = 0;                 ///< clients whose lines are not all served, a bit for each
    u64 with_output_ = 0;                ///< clients that have not taken all of their answers
    std::array<bool, 256> wants_tool_{}; ///< what has turned out to need one, by a hash of its path
    qsc::FileDescriptor epoll_{-1};
    qsc::FileDescriptor wake_{-1};
    json_tokener* tokener_ = nullptr;
    Counters counters_{};
    u64 numbers_ = 0;    ///< of connections
    u64 started_ = 0;    ///< in milliseconds of the monotonic clock, like the others
    u64 slow_until_ = 0; ///< gets go to workers, because the configuration has made one wait
    u64 next_tick_ = 0;
    u64 next_report_ = 0;
    bool is_ending_ = false;
    bool has_failed_ = false;
};

} // namespace qscd
