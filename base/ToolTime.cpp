// SPDX-License-Identifier: Apache-2.0
#include "base/ToolTime.h"

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace qsc
{

constinit std::atomic<CountTool> g_count_tool{nullptr};

u64 monotonic_ns()
{
    timespec now{};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<u64>(now.tv_sec) * 1'000'000'000 + static_cast<u64>(now.tv_nsec);
}

void ToolTime::tell(u32 code, const char* why) const
{
    const int error = errno;
    if (const CountTool count = g_count_tool.load(std::memory_order_relaxed)) {
        const std::size_t length = std::min(command_.find_first_of(" \t;|&<>"), command_.size());
        count({{command_.data(), length}, monotonic_ns() - begun_ns_, code, why});
    }
    errno = error;
}

} // namespace qsc
