// SPDX-License-Identifier: Apache-2.0
// The request path as ratios; docs/performance.md says what each means. Commands, the system log and the
// configuration are faked, here and for the baseline alike.
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <json-c/json.h>
#include <syslog.h>
#include <unistd.h>

#include "bench/support/Ratios.h"
#include "include/bacl.h"
#include "include/qrnuci.h"
#include "include/qsc_handlers.h"
#include "include/qslog.h"
#include "include/qsyscmdhal.h"

namespace
{

bool g_is_real = false; ///< commands really run

} // namespace

// About what the real ones cost their caller: a formatted line and a system call, a lookup, a stream.
extern "C" {

void syslog(int, const char* format, ...)
{
    std::array<char, 512> line;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    static const int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    benchmark::DoNotOptimize(write(sink, line.data(), static_cast<size_t>(length)));
}

FILE* popen(const char* command, const char* mode)
{
    if (g_is_real) {
        static auto* const real =
            reinterpret_cast<FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "popen"));
        return real(command, mode);
    }
    static char line[] = "36\n";
    return fmemopen(line, sizeof line - 1, "r");
}

int pclose(FILE* pipe)
{
    static auto* const real = reinterpret_cast<int (*)(FILE*)>(dlsym(RTLD_NEXT, "pclose"));
    return g_is_real ? real(pipe) : fclose(pipe);
}

int system(const char*)
{
    return 0;
}

void sync(void) {}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    // A package of this size is searched in about the time that a cached read takes.
    uint32_t hash = 5381;
    for (int round = 0; round < 8; ++round) {
        for (const char* c = key; *c != '\0'; ++c) {
            hash = hash * 33 + static_cast<unsigned char>(*c);
        }
    }
    benchmark::DoNotOptimize(hash);
    return std::snprintf(buffer, size, "%s",
                         std::strstr(key, "country") != nullptr ? "US"
                         : std::strstr(key, "band") != nullptr  ? "17"
                                                                : "1") > 0
               ? 0
               : 14;
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t index, char* buffer, uint32_t size)
{
    return index < 5 ? QrnUci_GetString(key, buffer, size) : 14;
}

} // extern "C"

namespace
{

void get_all(benchmark::State& state, Qsc_Handler dispatcher, const char* path)
{
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        benchmark::DoNotOptimize(dispatcher(path, request, QSC_OPER_GET, QSC_COMMANDER_CLI, 0, 0));
        json_object_put(request);
    }
}

/// What a subtree's answers are made of: reads, captured lines, and the objects that hold them.
void parts(benchmark::State& state, int reads, int commands, int objects)
{
    std::array<char, 128> value{};
    for (auto _ : state) {
        json_object* const request = json_object_new_object();
        for (int i = 0; i < reads; ++i) {
            benchmark::DoNotOptimize(
                QrnUci_GetString("mtkwireless.rax0.channel", value.data(), value.size()));
        }
        for (int i = 0; i < commands; ++i) {
            FILE* const pipe = popen("x", "r");
            benchmark::DoNotOptimize(std::fgets(value.data(), value.size(), pipe));
            pclose(pipe);
        }
        for (int i = 0; i < objects; ++i) {
            json_object* const parameter = json_object_new_object();
            json_object_object_add(parameter, "ParamValue", json_object_new_string("1"));
            json_object_object_add(parameter, "ParamId", json_object_new_int64(0));
            value[0] = static_cast<char>('a' + i);
            value[1] = '\0';
            json_object_object_add(request, value.data(), parameter);
        }
        json_object_put(request);
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

[[gnu::noinline]] void nothing(int level, const char* format, ...)
{
    benchmark::DoNotOptimize(level);
    benchmark::DoNotOptimize(format);
}

void command(benchmark::State& state)
{
    g_is_real = true;
    for (auto _ : state) {
        benchmark::DoNotOptimize(QrnExeCmdSimple("true"));
    }
    g_is_real = false;
}

void bare_command(benchmark::State& state)
{
    g_is_real = true;
    std::array<char, 256> line;
    for (auto _ : state) {
        FILE* const pipe = popen("true", "r");
        while (std::fgets(line.data(), line.size(), pipe) != nullptr) {
        }
        benchmark::DoNotOptimize(pclose(pipe));
        sync();
    }
    g_is_real = false;
}

} // namespace

int main(int count, char** arguments)
{
    benchmark::RegisterBenchmark("dispatch_level", dispatch_level);
    benchmark::RegisterBenchmark("bare_level", bare_level);
    benchmark::RegisterBenchmark("log_filtered", [](benchmark::State& state) {
        Qslog_SetProperty(QSLOG_RESERVED);
        for (auto _ : state) {
            Qslog_Log(7, "bench", 1, "bench", "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("empty_call", [](benchmark::State& state) {
        for (auto _ : state) {
            nothing(7, "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("log_written", [](benchmark::State& state) {
        Qslog_SetProperty(QSLOG_RESERVED);
        for (auto _ : state) {
            Qslog_Log(3, "bench", 1, "bench", "%s %d\n", "text", 1);
        }
    });
    benchmark::RegisterBenchmark("bare_syslog", [](benchmark::State& state) {
        for (auto _ : state) {
            syslog(LOG_ERR, "[%c] %s %d\n", 'E', "text", 1);
        }
    });
    benchmark::RegisterBenchmark("radio", get_all, QSysCmdHal_Do_Device_WiFi_Radio, "Device.WiFi.Radio.2");
    benchmark::RegisterBenchmark("radio_parts", parts, 17, 3, 17);
    benchmark::RegisterBenchmark("ssid", get_all, QSysCmdHal_Do_Device_WiFi_SSID, "Device.WiFi.SSID.1.Stats");
    benchmark::RegisterBenchmark("ssid_parts", parts, 0, 2, 2);
    benchmark::RegisterBenchmark("command", command)->UseRealTime();
    benchmark::RegisterBenchmark("bare_command", bare_command)->UseRealTime();
    const bench::Ratio ratios[] = {
        {"dispatch", "dispatch_level", "bare_level", 1.3},  {"log_filtered", "log_filtered", "empty_call", 0},
        {"log_written", "log_written", "bare_syslog", 1.2}, {"time_all_get", "time", "time_parts", 1.3},
        {"radio_all_get", "radio", "radio_parts", 1.3},     {"ssid_stats_get", "ssid", "ssid_parts", 1.3},
        {"command", "command", "bare_command", 1.05},
    };
    return bench::run(count, arguments, "the parts they are made of", ratios);
}
