// SPDX-License-Identifier: Apache-2.0
// The configuration library's speed as ratios, each against a baseline measured in the same run:
//   cached_read        one read of a package that is unchanged, against loading the package and looking it up
//   cached_read_stat   the same read against one stat(2)
//   reads_after_commit eleven reads of a package that another program has just replaced, against one load
//   staged_set         one staged set, against the baseline's set and save
//   parse_400          reading a package of 400 options for the first time, against the baseline's load
//   large_read         one cached read of a package of 10,000 options, against one of 40 options
// The baseline is libuci where the build found it, else the built-in parser.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/qrnuci.h"

#ifdef QSC_BASELINE_LIBUCI
#include <uci.h>
#else
#include "platform/Codec.h"
#endif

namespace
{

constexpr const char* kFolder = "/etc/config/";

std::string package_text(int sections, int options)
{
    std::string text;
    for (int section = 0; section < sections; ++section) {
        text += "config t s" + std::to_string(section) + "\n";
        for (int option = 0; option < options; ++option) {
            text += "\toption option" + std::to_string(option) + " 'value " + std::to_string(option) + "'\n";
        }
    }
    return text;
}

void write_package(const std::string& name, const std::string& text)
{
    std::ofstream{kFolder + name} << text;
}

void replace_package(const std::string& name, const std::string& text)
{
    std::ofstream{kFolder + ("." + name)} << text;
    std::filesystem::rename(kFolder + ("." + name), kFolder + name);
}

void read(const char* key)
{
    std::array<char, 128> value{};
    benchmark::DoNotOptimize(QrnUci_GetString(key, value.data(), value.size()));
}

#ifdef QSC_BASELINE_LIBUCI
constexpr const char* kBaseline = "libuci";
constexpr bool kHasLibuci = true;

/// Allocates a context, loads the package and looks one option up.
void baseline_load(const char* key)
{
    uci_context* const context = uci_alloc_context();
    std::string copy = key;
    uci_ptr found{};
    benchmark::DoNotOptimize(uci_lookup_ptr(context, &found, copy.data(), true));
    uci_free_context(context);
}

void baseline_set(const std::string& assignment)
{
    uci_context* const context = uci_alloc_context();
    std::string copy = assignment;
    uci_ptr found{};
    uci_lookup_ptr(context, &found, copy.data(), true);
    uci_set(context, &found);
    uci_save(context, found.p);
    uci_free_context(context);
}
#else
constexpr const char* kBaseline = "the built-in parser";
constexpr bool kHasLibuci = false;

void baseline_load(const char* key)
{
    const std::string package = std::string{key}.substr(0, std::string{key}.find('.'));
    std::ifstream file{kFolder + package};
    std::string text{std::istreambuf_iterator<char>{file}, {}};
    qrnuci::Package parsed;
    qrnuci::u32 line = 0;
    benchmark::DoNotOptimize(qrnuci::parse_config(package, text.data(), text.size(), parsed, line));
}
#endif

void stat_package(const char* path)
{
    struct stat status = {};
    benchmark::DoNotOptimize(stat(path, &status));
}

/// Waits until the clock that marks files has moved on, so that reads need no comparison of bytes.
void settle()
{
    usleep(100'000);
}

void cached(benchmark::State& state, const char* key)
{
    settle();
    read(key); // the first one fills the cache
    for (auto _ : state) {
        read(key);
    }
}

void register_all()
{
    static const std::string small = package_text(1, 40);
    using State = benchmark::State;
    benchmark::RegisterBenchmark("cached", [](State& state) { cached(state, "small.s0.option20"); });
    benchmark::RegisterBenchmark("cached_large", [](State& state) { cached(state, "large.s77.option20"); });
    benchmark::RegisterBenchmark("stat", [](State& state) {
        for (auto _ : state) {
            stat_package("/etc/config/small");
        }
    });
    benchmark::RegisterBenchmark("load", [](State& state) {
        for (auto _ : state) {
            baseline_load("small.s0.option20");
        }
    });
    benchmark::RegisterBenchmark("load_400", [](State& state) {
        for (auto _ : state) {
            baseline_load("middle.s3.option20");
        }
    });
    benchmark::RegisterBenchmark("first_400", [](State& state) {
        settle();
        for (auto _ : state) {
            QrnUci_Close();
            read("middle.s3.option20");
        }
    });
    benchmark::RegisterBenchmark("eleven_after_commit", [](State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            replace_package("changing", small);
            state.ResumeTiming();
            for (int i = 0; i < 11; ++i) {
                read("changing.s0.option20");
            }
        }
    });
    benchmark::RegisterBenchmark("load_after_commit", [](State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            replace_package("changing", small);
            state.ResumeTiming();
            baseline_load("changing.s0.option20");
        }
    });
    benchmark::RegisterBenchmark("set", [](State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::filesystem::remove("/tmp/.uci/staged");
            state.ResumeTiming();
            QrnUci_SetNewString("staged.s0.option3", "changed", 0, 1);
        }
    });
#ifdef QSC_BASELINE_LIBUCI
    benchmark::RegisterBenchmark("set_baseline", [](State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::filesystem::remove("/tmp/.uci/staged");
            state.ResumeTiming();
            baseline_set("staged.s0.option3=changed");
        }
    });
#endif
}

/// Keeps the best of several repetitions of each benchmark: noise only ever adds.
class Best : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) {
                auto [place, is_new] =
                    best.try_emplace(run.run_name.function_name, run.GetAdjustedRealTime());
                place->second = std::min(place->second, run.GetAdjustedRealTime());
            }
        }
    }

    std::map<std::string, double> best;
};

bool enter_private_folders()
{
    return (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", "/etc", "tmpfs", 0, nullptr) == 0 && mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
}

} // namespace

int main(int count, char** arguments)
{
    if (!enter_private_folders()) {
        std::fputs("bench_uci: the kernel allows no private mount namespace here; run as root\n", stderr);
        return 1;
    }
    std::filesystem::create_directories(kFolder);
    write_package("small", package_text(1, 40));
    write_package("staged", package_text(1, 40));
    write_package("middle", package_text(10, 40));
    write_package("large", package_text(250, 40));

    std::vector<char*> all{arguments, arguments + count};
    // Short and often, in random order, so that a slow moment of the machine meets every measure alike.
    std::string repetitions = "--benchmark_repetitions=15";
    std::string order = "--benchmark_enable_random_interleaving=true";
    std::string time = "--benchmark_min_time=0.03";
    all.insert(all.begin() + 1, {repetitions.data(), order.data(), time.data()});
    int all_count = static_cast<int>(all.size());
    benchmark::Initialize(&all_count, all.data());
    register_all();
    Best measured;
    benchmark::RunSpecifiedBenchmarks(&measured);

    const struct {
        const char* name;
        const char *over, *under;
        double bound;
    } ratios[] = {
        {"cached_read", "cached", "load", 1.0 / 20},
        {"cached_read_stat", "cached", "stat", 4},
        {"reads_after_commit", "eleven_after_commit", "load_after_commit", 1.5},
        {"staged_set", "set", "set_baseline", 1.5},
        {"parse_400", "first_400", "load_400", 1},
        {"large_read", "cached_large", "cached", 1.5},
    };
    std::printf("%-20s %8s %8s   against %s\n", "measure", "ratio", "bound", kBaseline);
    int broken = 0;
    for (const auto& [name, over, under, bound] : ratios) {
        if (!measured.best.contains(over) || !measured.best.contains(under)) {
            continue;
        }
        const double ratio = measured.best[over] / measured.best[under];
        // Some bounds speak of libuci alone; the built-in parser is several times as fast.
        const bool is_bound = kHasLibuci || std::string{over} == "cached_large" ||
                              std::string{under} == "stat" || std::string{over} == "eleven_after_commit";
        broken += is_bound && ratio > bound ? 1 : 0;
        std::printf("%-20s %8.3f %8.3f   %s\n", name, ratio, bound,
                    !is_bound        ? "(the bound is for libuci)"
                    : ratio <= bound ? "held"
                                     : "NOT HELD");
    }
    std::printf("%d not held\n", broken);
    return 0;
}
