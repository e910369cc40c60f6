// SPDX-License-Identifier: Apache-2.0
// A get of all of "Device.Time" against what a program without the library would do for it: load the package
// and look its eleven options up. CurrentLocalTime reads the clock instead, and Status opens a file as well.
// The baseline is libuci where the build found it, else the library's own reads, each a view of its own.
#include <array>
#include <string>

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include "bench/support/Ratios.h"
#include "include/qrnuci.h"
#include "include/qsc_handlers.h"

#ifdef QSC_BASELINE_LIBUCI
#include <uci.h>
#endif

namespace
{

constexpr const char* kKeys[] = {"system.ntp.enabled",         "system.ntp.enabled",
                                 "system.ntp.server",          "system.ntp.server",
                                 "system.ntp.server",          "system.ntp.server",
                                 "system.ntp.server",          "system.@system[0].timezone",
                                 "system.@system[0].timezone", "system.@system[0].tzlocation",
                                 "system.ntp.dstdisable"};

#ifdef QSC_BASELINE_LIBUCI
constexpr const char* kBaseline = "libuci's load and look-ups";
constexpr double kBound = 0.6;

void eleven_reads(benchmark::State& state)
{
    for (auto _ : state) {
        uci_context* const context = uci_alloc_context();
        for (const char* key : kKeys) {
            std::string copy = key;
            uci_ptr found{};
            benchmark::DoNotOptimize(uci_lookup_ptr(context, &found, copy.data(), true));
        }
        uci_free_context(context);
    }
}
#else
constexpr const char* kBaseline = "eleven reads outside a view";
constexpr double kBound = 1.3;

void eleven_reads(benchmark::State& state)
{
    for (auto _ : state) {
        for (const char* key : kKeys) {
            std::array<char, 256> value{};
            benchmark::DoNotOptimize(QrnUci_GetString(key, value.data(), value.size()));
        }
    }
}
#endif

void get_all(benchmark::State& state)
{
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        const uint32_t code = QSysCmdHal_Do_Device_Time("Device.Time", request, QSC_OPER_GET, 8, 0, 0);
        json_object_put(request);
        if (code != 0) {
            state.SkipWithError("the request failed");
            break;
        }
    }
}

} // namespace

int main(int count, char** arguments)
{
    bench::enter_private_folders("bench_time", {"/etc", "/tmp"});
    bench::install_device();
    benchmark::RegisterBenchmark("reads", eleven_reads);
    benchmark::RegisterBenchmark("all_get", get_all);
    const bench::Ratio ratios[] = {{"time_plain", "all_get", "reads", kBaseline, kBound}};
    return bench::run(count, arguments, ratios);
}
