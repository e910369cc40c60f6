// SPDX-License-Identifier: Apache-2.0
// What a time zone's rule, such as "CET-1CEST,M3.5.0,M10.5.0/3", says about a moment.
#pragma once

#include <array>
#include <string_view>

#include "base/Types.h"

namespace qsc::system
{

/// When a change comes: a weekday of a month's week, and seconds after its midnight.
struct ZoneChange {
    u32 month = 0; ///< 1 to 12
    u32 week = 0;  ///< 1 to 5; 5 is the last one
    u32 day = 0;   ///< 0: Sunday
    i64 time = 7200;
};

struct ZoneRule {
    /// Seconds that the local time is ahead: in winter, in summer. The same where there is no summer time.
    std::array<i64, 2> ahead{};
    std::array<ZoneChange, 2> changes{}; ///< to summer time, and back
    bool has_summer = false;

    /// How far the local time is ahead at a moment, in seconds since 1970.
    [[nodiscard]] i64 ahead_at(i64 moment) const;
};

/// Reads a rule. What cannot be read is UTC.
[[nodiscard]] ZoneRule read_zone_rule(std::string_view text);

/// Days from 1970 to the first of January of a year, of the proleptic Gregorian calendar.
[[nodiscard]] i64 days_to_year(i64 year);

} // namespace qsc::system
