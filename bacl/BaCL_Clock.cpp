// SPDX-License-Identifier: Apache-2.0
// Clock readings.
#include <ctime>

#include "base/Types.h"
#include "include/bacl.h"

using namespace qsc;

namespace
{

/// Reads a clock; all zero if that fails.
timespec now(clockid_t clock)
{
    timespec time{};
    return clock_gettime(clock, &time) == 0 ? time : timespec{};
}

u64 milliseconds(clockid_t clock)
{
    const timespec time = now(clock);
    return static_cast<u64>(time.tv_sec) * 1000 + static_cast<u64>(time.tv_nsec) / 1'000'000;
}

} // namespace

uint32_t BaCL_GetTimestampMS(void)
{
    return static_cast<u32>(milliseconds(CLOCK_MONOTONIC));
}

uint64_t BaCL_GetTimestampMSHQ(void)
{
    return milliseconds(CLOCK_MONOTONIC);
}

uint64_t BaCL_GetTimestampRTMSHQ(void)
{
    return milliseconds(CLOCK_REALTIME);
}

uint32_t BaCL_GetTimestampSec(void)
{
    return static_cast<u32>(now(CLOCK_MONOTONIC).tv_sec);
}

int64_t BaCL_GetTimestampSecHQ(void)
{
    return now(CLOCK_MONOTONIC).tv_sec;
}

int64_t BaCL_GetTimestampRTSecHQ(void)
{
    return now(CLOCK_REALTIME).tv_sec;
}
