// SPDX-License-Identifier: Apache-2.0
// A get of all of "Device.Time" against the plain configuration reads that it is made of: one for each of its
// eleven parameters. CurrentLocalTime reads the clock instead, and Status opens a file as well.
#include <array>

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include "bench/support/Ratios.h"
#include "include/qrnuci.h"
#include "include/qsc_handlers.h"

namespace
{

void read(const char* key)
{
    std::array<char, 128> value{};
    benchmark::DoNotOptimize(QrnUci_GetString(key, value.data(), value.size()));
}

void eleven_reads(benchmark::State& state)
{
    for (auto _ : state) {
        read("system.ntp.enabled");
        read("system.ntp.enabled");
        for (uint32_t item = 0; item < 5; ++item) {
            std::array<char, 256> value{};
            benchmark::DoNotOptimize(
                QrnUci_GetListItem("system.ntp.server", item, value.data(), value.size()));
        }
        read("system.@system[0].timezone");
        read("system.@system[0].timezone");
        read("system.@system[0].tzlocation");
        read("system.ntp.dstdisable");
    }
}

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
    const bench::Ratio ratios[] = {{"time_plain", "all_get", "reads", "eleven configuration reads", 1.3}};
    return bench::run(count, arguments, ratios);
}
