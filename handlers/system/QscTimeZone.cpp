// SPDX-License-Identifier: Apache-2.0
// Looks up time zones and removes daylight saving from their rules. The rows are in QscTimeZoneData.cpp.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/Parse.h"
#include "base/Text.h"
#include "include/qsc_device_time.h"

using namespace qsc;

namespace
{

constexpr u32 kSmallestBuffer = 8;

bool equals_ignoring_case(std::string_view one, std::string_view other)
{
    return std::ranges::equal(one, other, [](char a, char b) { return to_lower(a) == to_lower(b); });
}

/// The last position up to `from` whose character fits; npos: none. The first character is never examined.
template <typename Fits>
std::size_t find_back(std::string_view text, std::size_t from, Fits fits)
{
    std::size_t place = from;
    while (place > 0 && !fits(text[place])) {
        --place;
    }
    return place > 0 ? place : std::string_view::npos;
}

/// The position of the daylight-saving part before `rules`; npos: nothing would be left of the zone.
std::size_t find_daylight_saving(std::string_view zone, std::size_t rules)
{
    const std::size_t last = rules - 1;
    if (last == 0) {
        return std::string_view::npos;
    }
    const std::size_t before = last - 1;
    if (zone[last] == '>') {
        return zone[before] == '<' ? before : find_back(zone, before, [](char c) { return c == '<'; });
    }
    if (is_digit(zone[before])) {
        return last;
    }
    const std::size_t digit = find_back(zone, before, is_digit);
    return digit == std::string_view::npos ? digit : digit + 1;
}

} // namespace

uint32_t Qsc_TZ_FindTimeZone(const char* location, char* buffer, uint32_t size)
{
    if (is_empty(location) || buffer == nullptr || size < kSmallestBuffer) {
        return 0;
    }
    std::memset(buffer, 0, size);
    if (equals_ignoring_case(location, "UserDefined")) {
        return 2;
    }
    for (const Qsc_TimeZone* zone = g_QscTZData; zone->location != nullptr; ++zone) {
        if (equals_ignoring_case(location, zone->location)) {
            const std::string_view rule{zone->rule};
            std::copy_n(rule.data(), std::min<std::size_t>(rule.size(), size - 1), buffer);
            return 1;
        }
    }
    return 0;
}

uint32_t Qsc_TZ_RemoveDaylightSavingTime(char* zone)
{
    const std::string_view text{or_empty(zone)};
    const std::size_t rules = text.find(",M");
    if (text.empty() || rules == 0) {
        return EINVAL;
    }
    if (rules == std::string_view::npos) {
        return 0;
    }
    const std::size_t end = find_daylight_saving(text, rules);
    if (end == std::string_view::npos) {
        return EFAULT;
    }
    zone[end] = '\0';
    return 0;
}
