// SPDX-License-Identifier: Apache-2.0
// The daemon's socket as ratios:
//   socket_one       getting one parameter, against a bare socket round trip of the same bytes and the direct
//                    call
//   socket_eleven    getting the eleven parameters of Device.Time, against the same
//   socket_idle64    one parameter while 63 other clients are connected, against one client alone
// Where libubus, ubusd and rpcd are installed:
//   one_to_rpcd      socket_one, against asking rpcd over ubus for one option of the configuration
//   eleven_to_rpcd   socket_eleven, against asking it for the whole section
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef QSC_RPCD
extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}
#endif

#include "bench/support/Ratios.h"
#include "include/qsc_handlers.h"
#include "include/qsyscmdhal.h"
#include "tools/client/qsc_client.h"

namespace
{

constexpr const char* kSocket = "/tmp/bench.sock";

struct Case {
    std::string params;
    const char* parameter; ///< null: all
    std::string answer;    ///< of the daemon
};

Case g_one{R"({"path":"Device.Time.Enable"})", "Enable", {}};
Case g_eleven{R"({"path":"Device.Time"})", nullptr, {}};

pid_t start_daemon()
{
    int out[2];
    if (pipe(out) != 0) {
        return -1;
    }
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execl(QSC_DAEMON, QSC_DAEMON, "--no-journal", "--socket", kSocket, nullptr);
        _exit(127);
    }
    close(out[1]);
    char line[64];
    const bool is_started = read(out[0], line, sizeof line) > 0;
    close(out[0]);
    return is_started ? pid : -1;
}

QscClient connect_client()
{
    QscClient client;
    if (QscClient_Open(&client, kSocket) != 0) {
        std::fprintf(stderr, "the daemon cannot be reached\n");
        std::exit(1);
    }
    return client;
}

void call(benchmark::State& state, const Case& what)
{
    QscClient client = connect_client();
    const std::string request = R"({"jsonrpc":"2.0","id":1,"method":"get","params":)" + what.params + "}\n";
    std::vector<char> answer(65536);
    for (auto _ : state) {
        (void)!write(QscClient_Fd(&client), request.data(), request.size());
        const ssize_t count = read(QscClient_Fd(&client), answer.data(), answer.size());
        if (count <= 0 || std::memchr(answer.data(), '\n', static_cast<size_t>(count)) == nullptr) {
            state.SkipWithError("no answer");
            break;
        }
    }
    QscClient_Close(&client);
}

void direct(const Case& what)
{
    json_object* const request = json_object_new_object();
    if (what.parameter != nullptr) {
        json_object_object_add(request, what.parameter, json_object_new_object());
    }
    benchmark::DoNotOptimize(QSysCmdHal_Do_Device_Time("Device.Time", request, QSC_OPER_GET, 8, 0, 0));
    json_object_put(request);
}

/// A process that answers so many bytes to so many, and the direct call beside it.
void bare(benchmark::State& state, const Case& what)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        state.SkipWithError("no socket");
        return;
    }
    const std::string request = R"({"jsonrpc":"2.0","id":1,"method":"get","params":)" + what.params + "}\n";
    const std::string answer(what.answer.size() + 1, 'x');
    std::vector<char> buffer(65536);
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        while (read(ends[1], buffer.data(), buffer.size()) > 0) {
            (void)!write(ends[1], answer.data(), answer.size());
        }
        _exit(0);
    }
    close(ends[1]);
    for (auto _ : state) {
        (void)!write(ends[0], request.data(), request.size());
        benchmark::DoNotOptimize(read(ends[0], buffer.data(), buffer.size()));
        direct(what);
    }
    close(ends[0]);
    waitpid(pid, nullptr, 0);
}

#ifdef QSC_RPCD

constexpr const char* kBus = "/tmp/bench.bus";

pid_t start_program(const char* program)
{
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
        execl(program, program, "-s", kBus, nullptr);
        _exit(127);
    }
    return pid;
}

/// A bus with rpcd on it, and a client of both.
class Bus
{
  public:
    Bus()
    {
        // The bus wants to know its clients by name.
        std::ofstream{"/etc/passwd"} << "root:x:0:0:root:/root:/bin/sh\n";
        std::ofstream{"/etc/group"} << "root:x:0:\n";
        bus_ = start_program(QSC_UBUSD);
        for (int i = 0; i < 1000 && context_ == nullptr; ++i) {
            usleep(10000);
            context_ = ubus_connect(kBus);
        }
        rpcd_ = start_program(QSC_RPCD);
        for (int i = 0; i < 1000 && context_ != nullptr && !is_ready_; ++i) {
            usleep(10000);
            is_ready_ = ubus_lookup_id(context_, "uci", &object_) == 0;
        }
    }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;
    ~Bus()
    {
        if (context_ != nullptr) {
            ubus_free(context_);
        }
        for (const pid_t pid : {rpcd_, bus_}) {
            kill(pid, SIGTERM);
            waitpid(pid, nullptr, 0);
        }
    }

    void get(benchmark::State& state, const char* option) const
    {
        blob_buf parameters{};
        blob_buf_init(&parameters, 0);
        blobmsg_add_string(&parameters, "config", "system");
        blobmsg_add_string(&parameters, "section", "ntp");
        if (option != nullptr) {
            blobmsg_add_string(&parameters, "option", option);
        }
        for (auto _ : state) {
            bool has_answered = false;
            const auto note = [](ubus_request* request, int, blob_attr* message) {
                *static_cast<bool*>(request->priv) = message != nullptr && blob_len(message) > 0;
            };
            if (!is_ready_ ||
                ubus_invoke(context_, object_, "get", parameters.head, note, &has_answered, 5000) != 0 ||
                !has_answered) {
                state.SkipWithError("rpcd does not answer");
                break;
            }
        }
        blob_buf_free(&parameters);
    }

  private:
    pid_t bus_ = -1;
    pid_t rpcd_ = -1;
    ubus_context* context_ = nullptr;
    uint32_t object_ = 0;
    bool is_ready_ = false;
};

#endif

} // namespace

int main(int count, char** arguments)
{
    bench::enter_private_folders("bench_daemon", {"/etc", "/tmp"});
    bench::install_device();
    QSysCmdHal_Init(nullptr, QSC_INIT_UCI);
    const pid_t pid = start_daemon();
    QscClient client = connect_client();
    for (Case* each : {&g_one, &g_eleven}) {
        const char* line = nullptr;
        if (QscClient_Call(&client, "get", each->params.c_str(), 5000, &line) != 0 ||
            std::strstr(line, "\"result\"") == nullptr) {
            std::fprintf(stderr, "no answer: %s\n", line);
            return 1;
        }
        each->answer = line;
    }
    std::vector<QscClient> idle;
    const auto add = [](const char* name, auto run) {
        benchmark::RegisterBenchmark(name, run)->UseRealTime();
    };
    add("socket_one", [](benchmark::State& state) { call(state, g_one); });
    add("bare_one", [](benchmark::State& state) { bare(state, g_one); });
    add("socket_eleven", [](benchmark::State& state) { call(state, g_eleven); });
    add("bare_eleven", [](benchmark::State& state) { bare(state, g_eleven); });
    add("socket_idle64", [&](benchmark::State& state) {
        for (int i = 0; i < 62; ++i) {
            idle.push_back(connect_client());
        }
        call(state, g_one);
        for (QscClient& each : idle) {
            QscClient_Close(&each);
        }
        idle.clear();
    });
#ifdef QSC_RPCD
    const Bus bus;
    add("rpcd_one", [&](benchmark::State& state) { bus.get(state, "enabled"); });
    add("rpcd_section", [&](benchmark::State& state) { bus.get(state, nullptr); });
#endif
    const bench::Ratio ratios[] = {
        {"socket_one", "socket_one", "bare_one", "a bare round trip of the same bytes and the direct call",
         1.5},
        {"socket_eleven", "socket_eleven", "bare_eleven", "the same for eleven parameters", 1.5},
        {"socket_idle64", "socket_idle64", "socket_one", "one client alone"},
#ifdef QSC_RPCD
        {"one_to_rpcd", "socket_one", "rpcd_one", "ubus_invoke of rpcd, one option", 0.5},
        {"eleven_to_rpcd", "socket_eleven", "rpcd_section", "ubus_invoke of rpcd, a whole section", 0.75},
#endif
    };
    const int result = bench::run(count, arguments, ratios);
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    return result;
}
