// SPDX-License-Identifier: Apache-2.0
#include "handlers/system/ZoneRule.h"

#include <algorithm>

#include "base/Parse.h"

namespace qsc::system
{

namespace
{

constexpr i64 kDay = 86'400;

bool is_leap(i64 year)
{
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

/// Takes leading digits off a text.
i64 take_number(std::string_view& text)
{
    i64 number = 0;
    while (!text.empty() && is_digit(text.front()) && number < 100'000) {
        number = number * 10 + (text.front() - '0');
        text.remove_prefix(1);
    }
    return number;
}

bool take(std::string_view& text, char mark)
{
    const bool is_there = text.starts_with(mark);
    text.remove_prefix(is_there ? 1 : 0);
    return is_there;
}

/// "-3:30" in seconds.
i64 take_time(std::string_view& text)
{
    const bool is_negative = take(text, '-');
    (void)take(text, '+');
    i64 seconds = take_number(text) * 3600;
    for (const i64 unit : {60, 1}) {
        seconds += take(text, ':') ? take_number(text) * unit : 0;
    }
    return is_negative ? -seconds : seconds;
}

/// Takes a name such as "CET" or "<+01>" off; false: there is none.
bool take_name(std::string_view& text)
{
    const bool is_quoted = text.starts_with('<');
    const std::size_t end = is_quoted ? text.find('>') : text.find_first_of("0123456789+-,");
    const std::size_t size = std::min(end, text.size()) + (is_quoted && end < text.size() ? 1 : 0);
    text.remove_prefix(size);
    return size > 0;
}

bool take_change(std::string_view& text, ZoneChange& change)
{
    if (!take(text, ',') || !take(text, 'M')) {
        return false;
    }
    change.month = static_cast<u32>(take_number(text));
    change.week = take(text, '.') ? static_cast<u32>(take_number(text)) : 0;
    change.day = take(text, '.') ? static_cast<u32>(take_number(text)) : 7;
    change.time = take(text, '/') ? take_time(text) : change.time;
    return change.month - 1 < 12 && change.week - 1 < 5 && change.day < 7;
}

i64 days_to_month(i64 year, u32 month)
{
    constexpr i64 kDays[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334, 365};
    return days_to_year(year) + kDays[month - 1] + (month > 2 && is_leap(year) ? 1 : 0);
}

/// The local moment of a change, as seconds since 1970.
i64 moment_of(const ZoneChange& change, i64 year)
{
    const i64 first = days_to_month(year, change.month);
    const i64 end = change.month == 12 ? days_to_year(year + 1) : days_to_month(year, change.month + 1);
    constexpr i64 kThursday = 4; // 1970-01-01
    const i64 weekday = (first + kThursday) % 7;
    i64 day = first + (change.day + 7 - weekday) % 7 + 7 * (i64{change.week} - 1);
    day -= day >= end ? 7 : 0;
    return day * kDay + change.time;
}

} // namespace

i64 days_to_year(i64 year)
{
    const i64 before = year - 1;
    return (year - 1970) * 365 + (before / 4 - before / 100 + before / 400) - 477;
}

ZoneRule read_zone_rule(std::string_view text)
{
    ZoneRule rule;
    if (!take_name(text)) {
        return rule;
    }
    // The offset of a rule is how far the local time lags UTC.
    rule.ahead.fill(-take_time(text));
    if (text.empty() || text.starts_with(',') || !take_name(text)) {
        return rule;
    }
    const i64 summer = text.empty() || text.starts_with(',') ? rule.ahead[0] + 3600 : -take_time(text);
    if (take_change(text, rule.changes[0]) && take_change(text, rule.changes[1])) {
        rule.has_summer = true;
        rule.ahead[1] = summer;
    }
    return rule;
}

i64 ZoneRule::ahead_at(i64 moment) const
{
    if (!has_summer) {
        return ahead[0];
    }
    const i64 local = moment + ahead[0];
    i64 year = 1970 + local / kDay / 366;
    while (days_to_year(year + 1) * kDay <= local) {
        ++year;
    }
    // Each change is given in the time that ends with it.
    const i64 begin = moment_of(changes[0], year) - ahead[0];
    const i64 end = moment_of(changes[1], year) - ahead[1];
    const bool is_summer = begin < end ? moment >= begin && moment < end : moment >= begin || moment < end;
    return ahead[is_summer ? 1 : 0];
}

} // namespace qsc::system
