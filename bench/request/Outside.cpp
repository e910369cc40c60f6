// SPDX-License-Identifier: Apache-2.0
#include "bench/request/Outside.h"

#include <array>
#include <cstdio>

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "include/qrnuci.h"

namespace
{

bool g_is_real = false;
std::vector<bench::Step>* g_record = nullptr;

/// The definition behind this program's own.
template <typename Function>
Function* real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void record(bench::Step::Kind kind, const char* text, uint32_t item = 0, uint32_t size = 0)
{
    if (g_record != nullptr) {
        g_record->push_back({kind, text, item, size});
    }
}

} // namespace

// The dynamic linker gives the library these.
extern "C" {

/// Everything but the process: a pipe that holds its output already.
FILE* popen(const char* command, const char* mode)
{
    static auto* const next = real<FILE*(const char*, const char*)>("popen");
    if (g_is_real) {
        return next(command, mode);
    }
    record(bench::Step::kCommand, command);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return nullptr;
    }
    benchmark::DoNotOptimize(write(ends[1], "36\n", 3));
    close(ends[1]);
    return fdopen(ends[0], mode);
}

int pclose(FILE* pipe)
{
    static auto* const next = real<int(FILE*)>("pclose");
    return g_is_real ? next(pipe) : fclose(pipe);
}

int system(const char*)
{
    return 0;
}

void sync(void) {}

uint32_t QrnUci_GetString(const char* key, char* buffer, uint32_t size)
{
    static auto* const next = real<uint32_t(const char*, char*, uint32_t)>("QrnUci_GetString");
    record(bench::Step::kString, key, 0, size);
    return next(key, buffer, size);
}

uint32_t QrnUci_GetListItem(const char* key, uint32_t item, char* buffer, uint32_t size)
{
    static auto* const next = real<uint32_t(const char*, uint32_t, char*, uint32_t)>("QrnUci_GetListItem");
    record(bench::Step::kListItem, key, item, size);
    return next(key, item, buffer, size);
}

} // extern "C"

namespace bench
{

void set_real_commands(bool are_real)
{
    g_is_real = are_real;
}

void start_recording()
{
    g_record = new std::vector<Step>;
}

std::vector<Step> stop_recording()
{
    std::vector<Step> steps = std::move(*g_record);
    delete g_record;
    g_record = nullptr;
    return steps;
}

void replay(const std::vector<Step>& steps)
{
    std::array<char, 4096> text;
    for (const Step& step : steps) {
        switch (step.kind) {
        case Step::kString:
            benchmark::DoNotOptimize(QrnUci_GetString(step.text.c_str(), text.data(), step.size));
            break;
        case Step::kListItem:
            benchmark::DoNotOptimize(
                QrnUci_GetListItem(step.text.c_str(), step.item, text.data(), step.size));
            break;
        case Step::kCommand: {
            FILE* const pipe = popen(step.text.c_str(), "r");
            while (std::fgets(text.data(), text.size(), pipe) != nullptr) {
            }
            benchmark::DoNotOptimize(pclose(pipe));
            sync();
            break;
        }
        }
    }
}

} // namespace bench
