// SPDX-License-Identifier: Apache-2.0
#include "handlers/services/RuleTimes.h"

#include "base/Parse.h"

namespace qsc::services
{

namespace
{

constexpr std::string_view kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

bool has_day(Weekdays days, u32 day)
{
    return days == 0 || (days >> day & 1) != 0;
}

void add_day(Weekdays& days, u32 day)
{
    days = static_cast<Weekdays>(days | 1U << day);
}

} // namespace

Weekdays parse_day_names(std::string_view text)
{
    Weekdays days = 0;
    (void)for_each_word(text, [&](std::string_view word) -> u32 {
        for (u32 day = 0; day < std::size(kDays); ++day) {
            if (word.starts_with(kDays[day])) {
                add_day(days, day);
            }
        }
        return 0;
    });
    return days;
}

Weekdays parse_day_numbers(std::string_view text)
{
    Weekdays days = 0;
    (void)for_each_item(text, [&](std::string_view item) -> u32 {
        u32 day = 0;
        if (parse_whole(item, day) && day < std::size(kDays)) {
            add_day(days, day);
        }
        return 0;
    });
    return days;
}

u32 parse_time(std::string_view text)
{
    u32 hour = 0;
    u32 minute = 0;
    const std::size_t colon = text.find(':');
    (void)parse_leading(text, hour);
    if (colon != std::string_view::npos) {
        text.remove_prefix(colon + 1);
        (void)parse_leading(text, minute);
    }
    return (hour * 60 + minute) % kMinutesOfDay;
}

u32 parse_stop_time(std::string_view text)
{
    return text.empty() ? 0 : (parse_time(text) + 1) % kMinutesOfDay;
}

void append_day_names(Text<30>& text, Weekdays days)
{
    for (u32 day = 0; days != 0 && day < std::size(kDays); ++day) {
        if (has_day(days, day)) {
            text.append(text.view().empty() ? "" : " ").append(kDays[day]);
        }
    }
}

void append_day_numbers(RowText& text, Weekdays days)
{
    for (u32 day = 0; days != 0 && day < std::size(kDays); ++day) {
        if (has_day(days, day)) {
            text.append(text.view().empty() ? "" : ",").append_number(day);
        }
    }
}

void append_time(Text<14>& text, u32 minutes)
{
    for (const u32 part : {minutes / 60, minutes % 60}) {
        text.append(text.view().empty() ? "" : ":").append(part < 10 ? "0" : "").append_number(part);
    }
}

Weekdays day_after(Weekdays days)
{
    return static_cast<Weekdays>((days << 1 | days >> 6) & 0x7F);
}

bool is_within(const RuleTimes& times, u32 minute_of_week)
{
    const u32 day = minute_of_week / kMinutesOfDay;
    const u32 minute = minute_of_week % kMinutesOfDay;
    const u32 end = times.end == 0 ? kMinutesOfDay : times.end;
    if (times.start < end) {
        return has_day(times.days, day) && minute >= times.start && minute < end;
    }
    return (has_day(times.days, day) && minute >= times.start) ||
           (has_day(day_after(times.days), day) && minute < end);
}

} // namespace qsc::services
