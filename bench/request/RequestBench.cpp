// SPDX-License-Identifier: Apache-2.0
// The request path as ratios: what a request costs beside the json-c calls, the configuration reads and the
// commands that it cannot do without.
#include <array>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <json-c/json.h>

#include "bench/request/Replay.h"
#include "bench/support/Ratios.h"
#include "include/bacl.h"
#include "include/qsc_handlers.h"
#include "include/qsc_stats.h"
#include "include/qsyscmdhal.h"

namespace
{

uint32_t get_all(Qsc_Handler dispatcher, const char* path)
{
    json_object* const request = json_object_new_object();
    const uint32_t code = dispatcher(path, request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0);
    json_object_put(request);
    return code;
}

/// What a request needs besides the configuration and the commands.
struct Needs {
    const char* file = ""; ///< that it reads
    bool has_clock = false;
    bool has_tool = false;
};

/// Registers a get of all parameters, and the reads, commands and json-c calls that it consists of.
void add_all_get(const std::string& name, Qsc_Handler dispatcher, const char* path, const Needs& needs = {})
{
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for (auto _ : state) {
            if (get_all(dispatcher, path) != 0) {
                state.SkipWithError("the request failed");
                break;
            }
        }
    });
    json_object* const request = json_object_new_object();
    auto parts = bench::record([&] { dispatcher(path, request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0); });
    bench::add_answer(parts, request);
    parts.file = needs.file;
    parts.has_clock = needs.has_clock;
    parts.has_tool = needs.has_tool;
    json_object_put(request);
    benchmark::RegisterBenchmark((name + "_parts").c_str(), [parts](benchmark::State& state) {
        for (auto _ : state) {
            bench::replay(parts);
        }
    });
}

/// An access point has 128 stations, of which half have leases.
void install_stations()
{
    std::ofstream table{bench::kStationTable};
    std::ofstream leases{"/tmp/dhcp.leases"};
    table << "INTERFACE MAC               STANDARD AUTH DOWNLINK UPLINK  RSSI NOISE RETRIES ACTIVE SECONDS "
             "SENT       "
             "RECEIVED\n";
    for (int i = 128; i > 0; --i) {
        std::array<char, 32> address{};
        std::snprintf(address.data(), address.size(), "02:00:5e:00:53:%02x", i);
        table << "ra0       " << address.data()
              << " ax       1    1201000  960700  -48  -92   12      1      3600    9000000000 70000\n";
        if (i % 2 == 0) {
            leases << "1763790000 " << address.data() << " 192.168.1." << i << " phone-of-" << i << " *\n";
        }
    }
}

void dispatch_level(benchmark::State& state)
{
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        json_object_object_add(request, "level", json_object_new_object());
        benchmark::DoNotOptimize(
            QSysCmdHal_Do_SysLog("syslog", request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0));
        json_object_put(request);
    }
}

void bare_level(benchmark::State& state)
{
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        json_object_object_add(request, "level", json_object_new_object());
        json_object* level = nullptr;
        json_object_object_get_ex(request, "level", &level);
        json_object* other = nullptr;
        json_object_object_get_ex(request, "property", &other);
        json_object_object_get_ex(level, "ParamValue", &other);
        json_object_object_add(level, "ParamValue", json_object_new_int(5));
        json_object_object_get_ex(level, "ParamId", &other);
        json_object_object_add(level, "ParamId", json_object_new_int64(0));
        json_object_put(request);
    }
}

void command(benchmark::State& state)
{
    test::outside().has_real_commands = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QrnExeCmdSimple("true"));
    }
    test::outside().has_real_commands = false;
}

void bare_command(benchmark::State& state)
{
    test::outside().has_real_commands = true;
    const bench::Recording once{.reads = {}, .commands = {"true"}, .answer = {}};
    for (auto _ : state) {
        bench::replay(once);
    }
    test::outside().has_real_commands = false;
}

} // namespace

int main(int count, char** arguments)
{
    bench::enter_private_folders("bench_request", {"/etc", "/tmp"});
    bench::install_device();
    bench::use_device();

    benchmark::RegisterBenchmark("dispatch_level", dispatch_level);
    benchmark::RegisterBenchmark("bare_level", bare_level);
    add_all_get("time", QSysCmdHal_Do_Device_Time, "Device.Time.", {"/tmp/.ntpstatus", true});
    benchmark::RegisterBenchmark("time_counted", [](benchmark::State& state) {
        QSysCmdHal_CountStats(1);
        for (auto _ : state) {
            benchmark::DoNotOptimize(get_all(QSysCmdHal_Do_Device_Time, "Device.Time."));
        }
        QSysCmdHal_CountStats(0);
    });
    add_all_get("radio", QSysCmdHal_Do_Device_WiFi_Radio, "Device.WiFi.Radio.2.");
    add_all_get("ssid", QSysCmdHal_Do_Device_WiFi_SSID, "Device.WiFi.SSID.1.");
    add_all_get("stats", QSysCmdHal_Do_Device_WiFi_SSID, "Device.WiFi.SSID.1.Stats.");
    install_stations();
    add_all_get("access_point", QSysCmdHal_Do_Device_WiFi_AP, "Device.WiFi.AccessPoint.1.",
                {.has_tool = true});
    add_all_get("stations", QSysCmdHal_Do_Device_WiFi_AP, "Device.WiFi.AccessPoint.1.AssociatedDevice.",
                {"/tmp/dhcp.leases", true, true});
    benchmark::RegisterBenchmark("command", command)->UseRealTime();
    benchmark::RegisterBenchmark("bare_command", bare_command)->UseRealTime();
    constexpr const char* kParts = "its reads, commands and json-c calls";
    const bench::Ratio ratios[] = {
        {"dispatch", "dispatch_level", "bare_level", "the json-c calls it needs", 1.3},
        {"time_all_get", "time", "time_parts", kParts, 1.2},
        {"all_get_counted", "time_counted", "time", "the same without counting", 1.02},
        {"radio_all_get", "radio", "radio_parts", kParts, 1.2},
        {"ssid_all_get", "ssid", "ssid_parts", kParts, 1.2},
        {"ssid_stats_get", "stats", "stats_parts", kParts, 1.2},
        {"access_point_all_get", "access_point", "access_point_parts", kParts, 1.3},
        {"128_stations", "stations", "stations_parts", kParts, 1.3},
        {"command", "command", "bare_command", "popen, reading, pclose and sync", 1.05},
    };
    return bench::run(count, arguments, ratios);
}
