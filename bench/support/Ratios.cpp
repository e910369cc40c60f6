// SPDX-License-Identifier: Apache-2.0
#include "bench/support/Ratios.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/mount.h>

namespace bench
{

namespace
{

/// Keeps the best of the repetitions of each benchmark.
class Best : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                const double time = run.GetAdjustedRealTime();
                auto [place, is_new] = best.try_emplace(run.run_name.function_name, time);
                place->second = std::min(place->second, time);
            }
        }
    }

    std::map<std::string, double> best;
};

} // namespace

void enter_private_folders(const char* program)
{
    const bool is_private = (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                            mount("none", "/etc", "tmpfs", 0, nullptr) == 0 &&
                            mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
    if (!is_private) {
        std::fprintf(stderr, "%s: the kernel allows no private mount namespace here; run as root\n", program);
        std::exit(1);
    }
}

int run(int count, char** arguments, const char* baseline, std::span<const Ratio> ratios)
{
    std::vector<char*> all{arguments, arguments + count};
    // Short and often, in random order, so that a slow moment of the machine meets every measure alike.
    std::string repetitions = "--benchmark_repetitions=15";
    std::string order = "--benchmark_enable_random_interleaving=true";
    std::string time = "--benchmark_min_time=0.03";
    all.insert(all.begin() + 1, {repetitions.data(), order.data(), time.data()});
    int all_count = static_cast<int>(all.size());
    benchmark::Initialize(&all_count, all.data());
    Best measured;
    benchmark::RunSpecifiedBenchmarks(&measured);

    std::printf("%-24s %9s %9s   against %s\n", "measure", "ratio", "bound", baseline);
    int broken = 0;
    for (const auto& [name, over, under, bound, note] : ratios) {
        if (!measured.best.contains(over) || !measured.best.contains(under)) {
            continue;
        }
        const double ratio = measured.best[over] / measured.best[under];
        const bool is_bound = note == nullptr && bound != 0;
        broken += is_bound && ratio > bound ? 1 : 0;
        std::printf("%-24s %9.3f ", name, ratio);
        if (bound != 0) {
            std::printf("%9.3f   ", bound);
        } else {
            std::printf("%9s   ", "");
        }
        std::puts(!is_bound        ? (note != nullptr ? note : "(for information)")
                  : ratio <= bound ? "held"
                                   : "NOT HELD");
    }
    std::printf("%d not held\n", broken);
    return 0;
}

} // namespace bench
