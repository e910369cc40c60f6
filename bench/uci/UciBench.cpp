// SPDX-License-Identifier: Apache-2.0
// The configuration library's speed as ratios, each against a baseline measured in the same run:
//   cached_read        one read of a package that is unchanged, against loading the package and looking it up
//   cached_read_stat   the same read against one stat(2)
//   read_in_view       one read within a view, against the same
//   reads_after_commit eleven reads, as one view, of a package that another program has just replaced,
//   against
//                      one load
//   staged_set         one staged set, against the baseline's set and save
//   parse_400          reading a package of 400 options for the first time, against the baseline's load
//   thousand_sets      a thousand sets in an overlay and the file's replacement, against one set and its
//   commit
//                      of a package that is read for it
//   large_read         one cached read of a package of 10,000 options, against one of 40 options
// The baseline is libuci where the build found it, else the built-in parser.
#include <array>
#include <filesystem>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/support/Ratios.h"
#include "include/qrnuci.h"

#ifdef QSC_BASELINE_LIBUCI
#include <uci.h>
#else
#include "uci/Codec.h"
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
constexpr const char* kBaseline = "libuci loading the file";
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
constexpr const char* kBaseline = "the built-in parser alone";
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
    for (int i = 0; i < 200; ++i) {
        read(key); // fills the cache, and has the folders watched
    }
    for (auto _ : state) {
        read(key);
    }
}

std::string next_value()
{
    static int count = 0;
    return "changed " + std::to_string(++count);
}

uint32_t set_a_thousand()
{
    std::array<char, 4096> before{};
    std::array<char, 4096> after{};
    const std::string value = next_value();
    uint32_t code = QrnUci_BeginOverlay("/tmp/overlay");
    for (int i = 0; i < 1000; ++i) {
        const std::string key = "staged.s0.option" + std::to_string(i % 40);
        code |= QrnUci_SetNewString(key.c_str(), (value + std::to_string(i)).c_str(), 0, 1);
    }
    code |= QrnUci_ReadPackageBefore("staged", before.data(), before.size(), nullptr);
    code |= QrnUci_ReadPackage("staged", after.data(), after.size(), nullptr);
    code |= QrnUci_EndOverlay();
    return code | QrnUci_ReplacePackage("staged", before.data(), after.data());
}

void register_all()
{
    static const std::string small = package_text(1, 40);
    using State = benchmark::State;
    benchmark::RegisterBenchmark("cached", [](State& state) { cached(state, "small.s0.option20"); });
    benchmark::RegisterBenchmark("cached_large", [](State& state) { cached(state, "large.s77.option20"); });
    benchmark::RegisterBenchmark("in_view", [](State& state) {
        QrnUci_BeginView();
        cached(state, "small.s0.option20");
        QrnUci_EndView();
    });
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
            QrnUci_BeginView();
            for (int i = 0; i < 11; ++i) {
                read("changing.s0.option20");
            }
            QrnUci_EndView();
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
    benchmark::RegisterBenchmark("one_set", [](State& state) {
        for (auto _ : state) {
            const std::string value = next_value();
            QrnUci_Close();
            benchmark::DoNotOptimize(QrnUci_SetNewString("staged.s0.option3", value.c_str(), 0, 1) |
                                     QrnUci_CommitPackage("staged"));
        }
    });
    benchmark::RegisterBenchmark("thousand_sets", [](State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::filesystem::remove_all("/tmp/overlay");
            QrnUci_Close();
            state.ResumeTiming();
            if (set_a_thousand() != 0) {
                state.SkipWithError("the sets failed");
            }
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

} // namespace

int main(int count, char** arguments)
{
    bench::enter_private_folders("bench_uci", {"/etc", "/tmp"});
    std::filesystem::create_directories(kFolder);
    write_package("small", package_text(1, 40));
    write_package("staged", package_text(1, 40));
    write_package("middle", package_text(10, 40));
    write_package("large", package_text(250, 40));

    register_all();
    // Some bounds speak of libuci alone; the built-in parser is several times as fast.
    const char* const note = kHasLibuci ? nullptr : " (the bound is for libuci)";
    const bench::Ratio ratios[] = {
        {"cached_read", "cached", "load", kBaseline, 1.0 / 20, note},
        {"cached_read_stat", "cached", "stat", "one stat", 2},
        {"read_in_view", "in_view", "stat", "one stat", 1},
        {"reads_after_commit", "eleven_after_commit", "load_after_commit", kBaseline, 1.2, note},
        {"staged_set", "set", "set_baseline", "libuci's set and save", 1.5},
        {"parse_400", "first_400", "load_400", kBaseline, 1.1, note},
        {"thousand_sets", "thousand_sets", "one_set", "one set and its commit", 2},
        {"large_read", "cached_large", "cached", "a read of a package of 40 options", 1.5},
    };
    return bench::run(count, arguments, ratios);
}
