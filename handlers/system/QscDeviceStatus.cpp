// SPDX-License-Identifier: Apache-2.0
// The status objects of "Device.DeviceInfo": processes, memory and flash.
#include <dirent.h>
#include <pthread.h>
#include <sys/statvfs.h>

#include "base/FileDescriptor.h"
#include "base/MutexLock.h"
#include "base/Parse.h"
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "include/bacl.h"
#include "include/qsc_handlers.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscDeviceStatus");

/// What the processors have spent since the start, in ticks.
struct CpuTime {
    u64 total;
    u64 idle;
};

/// What they had spent when this process last asked.
struct CpuMark {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    CpuTime time{};
    i64 read_at = 0; ///< monotonic clock, in ms; 0: not yet
};

constinit CpuMark g_mark;

CpuTime read_cpu_time(Sources& sources)
{
    // "cpu  user nice system idle iowait irq softirq steal guest ..."; guests are within user and nice.
    constexpr u32 kIdle = 3;
    constexpr u32 kWaiting = 4;
    constexpr u32 kGuests = 8;
    CpuTime time{};
    u32 column = 0;
    (void)for_each_word(find_line_value(sources.file("/proc/stat"), "cpu"),
                        [&](std::string_view word) -> u32 {
                            u64 ticks = 0;
                            (void)parse_whole(word, ticks);
                            time.total += column < kGuests ? ticks : 0;
                            time.idle += column == kIdle || column == kWaiting ? ticks : 0;
                            ++column;
                            return 0;
                        });
    return time;
}

u32 answer_cpu_usage(const RowCall& call)
{
    constexpr i64 kShortest = 1000;
    const CpuTime now = read_cpu_time(call.request.sources);
    const auto read_at = static_cast<i64>(BaCL_GetTimestampMSHQ());
    CpuTime since{}; // the start, where the last time is not far enough back
    {
        const MutexLock lock{g_mark.mutex};
        if (g_mark.read_at != 0 && read_at - g_mark.read_at >= kShortest) {
            since = g_mark.time;
        }
        if (g_mark.read_at == 0 || since.total != 0) {
            g_mark.time = now;
            g_mark.read_at = read_at;
        }
    }
    const u64 total = now.total - since.total;
    const u64 idle = now.idle - since.idle;
    return answer_number(call,
                         total == 0 || idle > total ? 0 : static_cast<i64>((total - idle) * 100 / total));
}

u32 answer_process_count(const RowCall& call)
{
    i64 count = 0;
    const StdioReserve reserve;
    DIR* const processes = opendir("/proc");
    if (processes != nullptr) {
        while (const dirent* const entry = readdir(processes)) {
            count += is_digit(entry->d_name[0]) ? 1 : 0;
        }
        (void)closedir(processes);
    }
    return answer_number(call, count);
}

u32 answer_load_average(const RowCall& call)
{
    ValueText averages;
    u32 column = 0;
    (void)for_each_word(first_line(call.request.sources.file("/proc/loadavg")),
                        [&](std::string_view word) -> u32 {
                            averages.append(column > 0 ? "," : "").append(word);
                            return ++column == 3 ? 1 : 0;
                        });
    return answer_stored(call, averages.view());
}

/// A file system's room, in KiB.
struct Space {
    u64 total;
    u64 free;
};

Space read_space(const char* path)
{
    struct statvfs status {
    };
    if (statvfs(path, &status) != 0) {
        return {};
    }
    constexpr u64 kKiB = 1024;
    return {u64{status.f_blocks} * status.f_frsize / kKiB, u64{status.f_bavail} * status.f_frsize / kKiB};
}

/// The one that keeps what is written; without it, the whole root.
Space flash_space()
{
    const Space overlay = read_space("/overlay");
    return overlay.total != 0 ? overlay : read_space("/");
}

u32 answer_persistent_total(const RowCall& call)
{
    return answer_number(call, static_cast<i64>(read_space("/overlay").total));
}

u32 answer_persistent_free(const RowCall& call)
{
    return answer_number(call, static_cast<i64>(read_space("/overlay").free));
}

u32 answer_flash_total(const RowCall& call)
{
    return answer_number(call, static_cast<i64>(flash_space().total));
}

u32 answer_flash_free(const RowCall& call)
{
    return answer_number(call, static_cast<i64>(flash_space().free));
}

u32 answer_flash_used(const RowCall& call)
{
    const Space space = flash_space();
    return answer_number(call, static_cast<i64>(space.total - space.free));
}

u32 answer_flash_used_percent(const RowCall& call)
{
    const Space space = flash_space();
    return answer_number(
        call, space.total == 0 ? 0 : static_cast<i64>((space.total - space.free) * 100 / space.total));
}

constexpr Kind kUnsigned = Kind::kUnsigned;
constexpr Place kFunction = Place::kFunction;

constexpr Row kProcessRows[] = {
    {.name = "CPUUsage",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kPercent,
     .limits = ":100",
     .get = answer_cpu_usage},
    {.name = "ProcessNumberOfEntries", .kind = kUnsigned, .place = kFunction, .get = answer_process_count},
    {.name = "X_QRN_LoadAverage", .place = kFunction, .marks = kMany, .get = answer_load_average},
};

constexpr Row kMemoryRows[] = {
    {.name = "Total",
     .kind = kUnsigned,
     .place = Place::kSource,
     .unit = Unit::kKiB,
     .key = "/proc/meminfo MemTotal"},
    {.name = "Free",
     .kind = kUnsigned,
     .place = Place::kSource,
     .unit = Unit::kKiB,
     .key = "/proc/meminfo MemFree"},
    {.name = "TotalPersistent",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKiB,
     .get = answer_persistent_total},
    {.name = "FreePersistent",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kKiB,
     .get = answer_persistent_free},
    {.name = "X_QRN_Available",
     .kind = kUnsigned,
     .place = Place::kSource,
     .unit = Unit::kKiB,
     .key = "/proc/meminfo MemAvailable"},
};

constexpr Row kFlashRows[] = {
    {.name = "Total", .kind = kUnsigned, .place = kFunction, .unit = Unit::kKiB, .get = answer_flash_total},
    {.name = "Free", .kind = kUnsigned, .place = kFunction, .unit = Unit::kKiB, .get = answer_flash_free},
    {.name = "Used", .kind = kUnsigned, .place = kFunction, .unit = Unit::kKiB, .get = answer_flash_used},
    {.name = "UsedPercent",
     .kind = kUnsigned,
     .place = kFunction,
     .unit = Unit::kPercent,
     .limits = ":100",
     .get = answer_flash_used_percent},
};

} // namespace

QSC_EXPORTED_OBJECT(kProcessStatus, "Device.DeviceInfo.ProcessStatus", g_QscDevInfoCPUCmd, kProcessRows)
QSC_EXPORTED_OBJECT(kMemoryStatus, "Device.DeviceInfo.MemoryStatus", g_QscDevInfoMemCmd, kMemoryRows)
QSC_EXPORTED_OBJECT(kFlashStatus, "Device.DeviceInfo.X_QRN_FlashStatus", g_QscDevInfoFlashCmd, kFlashRows)
