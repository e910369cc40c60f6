// SPDX-License-Identifier: Apache-2.0
// The rules of all time zones that the device knows, compared with what libc makes of them.
#include <cstdlib>
#include <ctime>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "handlers/system/ZoneRule.h"
#include "qsc_device_time.h"

namespace
{

void use_zone(const char* rule)
{
    setenv("TZ", rule, 1);
    tzset();
}

long libc_ahead(std::time_t moment)
{
    std::tm parts{};
    localtime_r(&moment, &parts);
    return parts.tm_gmtoff;
}

} // namespace

TEST(ZoneRule, IsAheadAsFarAsLibcSays)
{
    std::set<std::string> rules;
    for (const Qsc_TimeZone* zone = g_QscTZData; zone->location != nullptr; ++zone) {
        rules.insert(zone->rule);
    }
    // libc's of the host takes no years from these rules' own forms alone.
    rules.insert("IST-2IDT,M3.4.4/26,M10.5.0");
    for (const std::string& rule : rules) {
        use_zone(rule.c_str());
        const qsc::system::ZoneRule mine = qsc::system::read_zone_rule(rule);
        if (rule.find(",J") != std::string::npos) {
            continue;
        }
        constexpr std::time_t kStart = 1'704'067'200; // 2024-01-01
        constexpr std::time_t kStep = 1800;
        for (std::time_t moment = kStart; moment < kStart + 5 * 366 * 86'400L; moment += kStep * 7) {
            ASSERT_EQ(mine.ahead_at(moment), libc_ahead(moment)) << rule << " at " << moment;
        }
    }
    use_zone("UTC0");
}

TEST(ZoneRule, ChangesToTheSecond)
{
    const qsc::system::ZoneRule berlin = qsc::system::read_zone_rule("CET-1CEST,M3.5.0,M10.5.0/3");
    constexpr long kSpring = 1'774'746'000; // 2026-03-29T01:00:00Z
    constexpr long kAutumn = 1'792'890'000; // 2026-10-25T01:00:00Z
    EXPECT_EQ(berlin.ahead_at(kSpring - 1), 3600);
    EXPECT_EQ(berlin.ahead_at(kSpring), 7200);
    EXPECT_EQ(berlin.ahead_at(kAutumn - 1), 7200);
    EXPECT_EQ(berlin.ahead_at(kAutumn), 3600);
    EXPECT_EQ(qsc::system::read_zone_rule("").ahead_at(kSpring), 0);
    for (const char* changes : {"M13.5.0,M10.5.0", "M0.5.0,M10.5.0", "M3.6.0,M10.5.0", "M3.0.0,M10.5.0",
                                "M3.5.7,M10.5.0", "M3.5,M10.5.0", "M3,M10.5.0", "M3.5.0", "3.5.0,M10.5.0"}) {
        EXPECT_EQ(qsc::system::read_zone_rule(std::string{"CET-1CEST,"} + changes).ahead_at(kSpring), 3600)
            << changes;
    }
}
