// SPDX-License-Identifier: Apache-2.0
#include "core/DateTime.h"

#include <ctime>

namespace qsc
{

DateTimeText date_time_of(i64 moment)
{
    const auto seconds = static_cast<std::time_t>(moment);
    std::tm parts{};
    DateTimeText text;
    const auto write = [&](char* buffer, std::size_t size) {
        return std::strftime(buffer, size, "%Y-%m-%dT%H:%M:%SZ", &parts);
    };
    const bool is_never = moment == 0 || seconds != moment || gmtime_r(&seconds, &parts) == nullptr;
    if (is_never || text.fill(write) == 0) {
        (void)text.assign("0001-01-01T00:00:00Z");
    }
    return text;
}

} // namespace qsc
