// SPDX-License-Identifier: Apache-2.0
// "Device.X_QRN_Throughput.": what went through the WAN and the LAN, and how fast.
#include <array>

#include <pthread.h>

#include "base/MutexLock.h"
#include "base/Parse.h"
#include "core/Objects.h"
#include "core/ServeRow.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

QSC_MODULE("QscThroughput");

/// How far a counter was when this process last took its rate.
struct Mark {
    u64 bytes = 0;
    u64 rate = 0;    ///< bit/s until then
    i64 read_at = 0; ///< monotonic clock, in ms; 0: not yet
};

struct Marks {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    std::array<Mark, 4> marks{};
};

constinit Marks g_marks;

/// Which counter a parameter is about, by its name: "WANReceived", "LANSendRate".
struct Counter {
    bool is_wan;
    bool is_received;

    explicit Counter(const RowCall& call)
        : is_wan(call.function[0] == 'W'), is_received(call.function[3] == 'R')
    {
    }
    [[nodiscard]] std::size_t number() const { return (is_wan ? 2U : 0U) + (is_received ? 1U : 0U); }
};

/// False: there is no such device.
bool read_bytes(const RowCall& call, Counter counter, u64& bytes)
{
    Text<62> device;
    Text<254> path;
    if (uci_peek(counter.is_wan ? "network.wan.device" : "network.lan.device", device) != 0 ||
        device.view().find('/') != std::string_view::npos) {
        return false;
    }
    path.append("/sys/class/net/").append(device.view()).append("/statistics/");
    path.append(counter.is_received ? "rx_bytes" : "tx_bytes");
    return parse_whole(first_line(call.request.sources.file(path.c_str())), bytes);
}

u32 answer_bytes(const RowCall& call)
{
    u64 bytes = 0;
    (void)read_bytes(call, Counter{call}, bytes);
    return answer_number(call, static_cast<i64>(bytes));
}

u32 answer_rate(const RowCall& call)
{
    constexpr i64 kShortest = 1000;
    const Counter counter{call};
    u64 bytes = 0;
    if (!read_bytes(call, counter, bytes)) {
        return answer_number(call, 0);
    }
    const auto now = static_cast<i64>(BaCL_GetTimestampMSHQ());
    const MutexLock lock{g_marks.mutex};
    Mark& mark = g_marks.marks[counter.number()];
    const i64 elapsed = now - mark.read_at;
    if (mark.read_at == 0) {
        mark = {bytes, 0, now};
    } else if (elapsed >= kShortest) {
        // One that went back belongs to a device that came anew.
        const u64 passed = bytes < mark.bytes ? 0 : bytes - mark.bytes;
        mark = {bytes, passed * 8000 / static_cast<u64>(elapsed), now};
    }
    return answer_number(call, static_cast<i64>(mark.rate));
}

constexpr Kind kLong = Kind::kUnsignedLong;
constexpr Place kFunction = Place::kFunction;
constexpr Unit kRate = Unit::kBitPerSecond;

constexpr Row kRows[] = {
    {.name = "WANReceived", .kind = kLong, .place = kFunction, .unit = Unit::kBytes, .get = answer_bytes},
    {.name = "WANSent", .kind = kLong, .place = kFunction, .unit = Unit::kBytes, .get = answer_bytes},
    {.name = "LANReceived", .kind = kLong, .place = kFunction, .unit = Unit::kBytes, .get = answer_bytes},
    {.name = "LANSent", .kind = kLong, .place = kFunction, .unit = Unit::kBytes, .get = answer_bytes},
    {.name = "WANReceiveRate", .kind = kLong, .place = kFunction, .unit = kRate, .get = answer_rate},
    {.name = "WANSendRate", .kind = kLong, .place = kFunction, .unit = kRate, .get = answer_rate},
    {.name = "LANReceiveRate", .kind = kLong, .place = kFunction, .unit = kRate, .get = answer_rate},
    {.name = "LANSendRate", .kind = kLong, .place = kFunction, .unit = kRate, .get = answer_rate},
};

} // namespace

QSC_OBJECT(kThroughput, "Device.X_QRN_Throughput.", kRows)
