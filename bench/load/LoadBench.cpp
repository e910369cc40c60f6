// SPDX-License-Identifier: Apache-2.0
// Starting a process that loads and starts the library, against one that loads json-c.
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "bench/support/Ratios.h"

namespace
{

void start(benchmark::State& state, const char* program)
{
    char name[] = "host";
    char* arguments[] = {name, nullptr};
    for (auto _ : state) {
        pid_t pid = -1;
        int status = -1;
        if (posix_spawn(&pid, program, nullptr, nullptr, arguments, environ) != 0 ||
            waitpid(pid, &status, 0) != pid || status != 0) {
            state.SkipWithError("the process failed");
            break;
        }
    }
}

} // namespace

int main(int count, char** arguments)
{
    const std::string events = bench::read_file(QSC_ZLOG_CONF);
    bench::enter_private_folders("bench_load", {"/etc"});
    std::ofstream{"/etc/zlog.conf"} << events;
    benchmark::RegisterBenchmark("library", start, QSC_WITH_LIBRARY)->UseRealTime();
    benchmark::RegisterBenchmark("json", start, QSC_WITH_JSON)->UseRealTime();
    const bench::Ratio ratios[] = {{"load_and_init", "library", "json", "a process that loads json-c"}};
    return bench::run(count, arguments, ratios);
}
