// SPDX-License-Identifier: Apache-2.0
// When a rule counts, compared with a plain walk through the minutes of a week.
#include <set>

#include <gtest/gtest.h>

#include "handlers/services/RuleTimes.h"

using namespace qsc::services;

TEST(RuleTimes, CountFromTheirStartAsLongAsTheyLast)
{
    constexpr unsigned kWeek = 7 * kMinutesOfDay;
    const RuleTimes cases[] = {
        {0, 0, 0},
        {0b0000001, 0, 0},
        {0b1000000, 1260, 390},
        {0b0100010, 840, 930},
        {0, 1439, 1},
        {0b1000001, 1320, 0},
        {0b0010000, 0, 1},
        {0b1111111, 1, 0},
        {0b0000001, 600, 599},
    };
    for (const RuleTimes& times : cases) {
        std::set<unsigned> wanted;
        const unsigned length = times.start == times.end
                                    ? kMinutesOfDay
                                    : (times.end + kMinutesOfDay - times.start) % kMinutesOfDay;
        for (unsigned day = 0; day < 7; ++day) {
            for (unsigned minute = 0; (times.days == 0 || times.days >> day & 1) && minute < length;
                 ++minute) {
                wanted.insert((day * kMinutesOfDay + times.start + minute) % kWeek);
            }
        }
        for (unsigned minute = 0; minute < kWeek; ++minute) {
            ASSERT_EQ(is_within(times, minute), wanted.contains(minute))
                << int{times.days} << " " << times.start << " to " << times.end << " at " << minute;
        }
    }
}
