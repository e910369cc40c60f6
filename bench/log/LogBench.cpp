// SPDX-License-Identifier: Apache-2.0
// Log lines as ratios: one that is filtered out, and one that reaches the system log, which is real: a socket
// whose reader takes everything.
#include <array>
#include <cstdlib>
#include <cstring>
#include <thread>

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include "bench/support/Ratios.h"
#include "include/qslog.h"

namespace
{

/// Opens the system log's end of the private folder's socket.
int open_system_log()
{
    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, "/dev/log");
    if (bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        perror("bench_log: /dev/log");
        std::exit(1);
    }
    return log;
}

[[gnu::noinline]] void nothing(int level, const char* format, ...)
{
    benchmark::DoNotOptimize(level);
    benchmark::DoNotOptimize(format);
}

} // namespace

int main(int count, char** arguments)
{
    bench::enter_private_folders("bench_log", {"/dev"});
    const int log = open_system_log();
    std::thread{[log] {
        std::array<char, 1024> line;
        while (recv(log, line.data(), line.size(), 0) >= 0) {
        }
    }}.detach();
    Qslog_Open("bench", 0, LOG_DAEMON);
    Qslog_SetProperty(QSLOG_RESERVED);

    benchmark::RegisterBenchmark("filtered", [](benchmark::State& state) {
        for (auto _ : state) {
            Qslog_Log(7, "bench", 1, "bench", "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("empty_call", [](benchmark::State& state) {
        for (auto _ : state) {
            nothing(7, "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("written", [](benchmark::State& state) {
        for (auto _ : state) {
            Qslog_Log(3, "bench", 1, "bench", "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("bare_syslog", [](benchmark::State& state) {
        for (auto _ : state) {
            syslog(LOG_ERR, "[%c] %s %d\n", 'E', "text", 1);
        }
    });
    const bench::Ratio ratios[] = {
        {"log_filtered", "filtered", "empty_call", "an empty function call"},
        {"log_written", "written", "bare_syslog", "syslog of the same line", 1.2},
    };
    return bench::run(count, arguments, ratios);
}
