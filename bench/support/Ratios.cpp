// SPDX-License-Identifier: Apache-2.0
#include "bench/support/Ratios.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

namespace bench
{

namespace
{

/// Why a run was not measured, as older and newer releases of the library say it; empty: it was.
template <typename Run>
std::string failure_of(const Run& run)
{
    if constexpr (requires { run.error_occurred; }) {
        return run.error_occurred ? run.error_message : "";
    } else {
        return static_cast<int>(run.skipped) != 0 ? run.skip_message : "";
    }
}

/// Keeps the best of the repetitions of each benchmark.
class Best : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (const std::string failure = failure_of(run); !failure.empty()) {
                std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(), failure.c_str());
                has_failed = true;
            } else if (run.run_type == Run::RT_Iteration) {
                const double time = run.GetAdjustedRealTime();
                auto [place, is_new] = best.try_emplace(run.run_name.function_name, time);
                place->second = std::min(place->second, time);
            }
        }
    }

    std::map<std::string, double> best;
    bool has_failed = false;
};

std::map<std::string, std::string> g_packages;

} // namespace

void enter_private_folders(const char* program, std::initializer_list<const char*> folders)
{
    // The sources may stand in one of these folders.
    for (const auto& file : std::filesystem::directory_iterator{QSC_SIM_CONFIG}) {
        g_packages[file.path().filename()] = read_file(file.path());
    }
    bool is_private = (unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                      mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    for (const char* folder : folders) {
        is_private = is_private && mount("none", folder, "tmpfs", 0, nullptr) == 0;
    }
    if (!is_private) {
        std::fprintf(stderr, "%s: the kernel allows no private mount namespace here; run as root\n", program);
        std::exit(1);
    }
}

std::string read_file(const std::string& path)
{
    std::ifstream file{path};
    return {std::istreambuf_iterator<char>{file}, {}};
}

void install_device()
{
    std::filesystem::create_directories("/etc/config");
    for (const auto& [name, text] : g_packages) {
        std::ofstream{"/etc/config/" + name} << text;
    }
    std::ofstream{"/etc/config/system"}
        << "config system\n\toption timezone 'GMT0'\n\toption tzlocation 'Africa/Abidjan'\n"
           "config timeserver 'ntp'\n\toption enabled '1'\n\toption dstdisable '0'\n"
           "\tlist server 'a'\n\tlist server 'b'\n\tlist server 'c'\n\tlist server 'd'\n\tlist server 'e'\n";
    std::ofstream{"/tmp/.ntpstatus"} << "Synchronized\n";
    // UTC: no transitions, one type, four characters of names.
    using namespace std::string_view_literals;
    std::ofstream{"/etc/localtime"} << "TZif"sv << std::string(16 + 16, '\0') << "\0\0\0\1\0\0\0\4"sv
                                    << "\0\0\0\0\0\0UTC\0"sv;
    usleep(100'000);
}

int run(int count, char** arguments, std::span<const Ratio> ratios)
{
    std::vector<char*> all{arguments, arguments + count};
    // Short and often, in random order, so that a slow moment of the machine meets every measure alike.
    std::string repetitions = "--benchmark_repetitions=120";
    std::string order = "--benchmark_enable_random_interleaving=true";
    std::string time = "--benchmark_min_time=0.008";
    all.insert(all.begin() + 1, {repetitions.data(), order.data(), time.data()});
    int all_count = static_cast<int>(all.size());
    benchmark::Initialize(&all_count, all.data());
    Best measured;
    benchmark::RunSpecifiedBenchmarks(&measured);

    for (const auto& [name, over, under, against, bound, note] : ratios) {
        if (!measured.best.contains(over) || !measured.best.contains(under)) {
            continue;
        }
        const double ratio = measured.best[over] / measured.best[under];
        std::array<char, 16> shown{};
        if (bound != 0) {
            std::snprintf(shown.data(), shown.size(), "%.3f", bound);
        }
        const char* const verdict = bound == 0 || note != nullptr ? "-"
                                    : ratio <= bound              ? "held"
                                                                  : "NOT HELD";
        std::printf("%-20s %8.3f %8s  %-8s  %s%s\n", name, ratio, shown.data(), verdict, against,
                    note != nullptr ? note : "");
    }
    return measured.has_failed ? 1 : 0;
}

} // namespace bench
