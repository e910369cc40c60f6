// SPDX-License-Identifier: Apache-2.0
// When a rule of the firewall counts: days of the week, and minutes of the day.
#pragma once

#include <string_view>

#include "base/Text.h"
#include "core/RowValue.h"

namespace qsc::services
{

/// A bit for each day, Sunday the lowest; none means every day.
using Weekdays = u8;

inline constexpr u32 kMinutesOfDay = 24 * 60;

struct RuleTimes {
    Weekdays days = 0;
    u32 start = 0; ///< minutes; the same as the end: the whole day
    u32 end = 0;   ///< the first minute that is free again; before the start: of the next day
};

/// Reads "Mon Tue", and "0,6".
[[nodiscard]] Weekdays parse_day_names(std::string_view text);
[[nodiscard]] Weekdays parse_day_numbers(std::string_view text);

/// Minutes of "HH:MM"; what follows them does not count. Empty: 0.
[[nodiscard]] u32 parse_time(std::string_view text);

/// The first minute after "HH:MM:59"; empty: midnight.
[[nodiscard]] u32 parse_stop_time(std::string_view text);

void append_day_names(Text<30>& text, Weekdays days);
void append_day_numbers(RowText& text, Weekdays days);
void append_time(Text<14>& text, u32 minutes);

/// The days that follow.
[[nodiscard]] Weekdays day_after(Weekdays days);

/// Whether a minute of the week, which begins with Sunday, is one of those.
[[nodiscard]] bool is_within(const RuleTimes& times, u32 minute_of_week);

} // namespace qsc::services
