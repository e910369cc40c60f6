// SPDX-License-Identifier: Apache-2.0
// The time-zone table and its two routines.
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "qsc_device_time.h"

namespace
{

std::string without_daylight_saving(std::string zone)
{
    const uint32_t code = Qsc_TZ_RemoveDaylightSavingTime(zone.data());
    return code != 0 ? "code " + std::to_string(code) : zone.c_str();
}

/// What libc makes of a zone at a moment when it does not save daylight.
long standard_offset(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
    for (std::time_t month = 0; month < 12; ++month) {
        const std::time_t moment = 1'700'000'000 + month * 30 * 86'400;
        std::tm time = {};
        localtime_r(&moment, &time);
        if (time.tm_isdst == 0) {
            return time.tm_gmtoff;
        }
    }
    ADD_FAILURE() << zone << " has no standard time";
    return 0;
}

class TimeZone : public testing::Test
{
  protected:
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }
};

} // namespace

TEST_F(TimeZone, TableIsThatOfTheDataFile)
{
    std::ifstream data{QSC_SOURCE "/tools/timezones/timezones.tsv"};
    const Qsc_TimeZone* row = g_QscTZData;
    for (std::string line; std::getline(data, line); ++row) {
        ASSERT_NE(row->location, nullptr);
        EXPECT_EQ(line, std::string{row->location} + "\t" + row->rule);
    }
    EXPECT_EQ(row - g_QscTZData, 451);
    EXPECT_EQ(row->location, nullptr);
    EXPECT_EQ(row->rule, nullptr);
}

TEST_F(TimeZone, EveryRuleKeepsItsStandardTime)
{
    for (const Qsc_TimeZone* row = g_QscTZData; row->location != nullptr; ++row) {
        if (row != g_QscTZData) {
            EXPECT_LT(std::strcmp(row[-1].location, row->location), 0) << row->location << " is out of order";
        }
        const std::string cut = without_daylight_saving(row->rule);
        // Their daylight-saving names carry an offset in brackets, so what is left is no zone of libc's.
        if (std::strcmp(row->location, "Australia/Lord Howe") == 0 ||
            std::strcmp(row->location, "Antarctica/Troll") == 0) {
            continue;
        }
        EXPECT_EQ(standard_offset(row->rule), standard_offset(cut.c_str())) << row->location;
        if (std::strstr(row->rule, ",M") != nullptr) {
            EXPECT_EQ(cut.find(','), std::string::npos) << row->location;
        } else {
            EXPECT_EQ(cut, row->rule) << row->location;
        }
    }
}

TEST_F(TimeZone, FindsLocationsInAnyLetterCase)
{
    const struct {
        const char* location;
        uint32_t result;
        const char* zone;
    } cases[] = {
        {"america/new york", 1, "EST5EDT,M3.2.0,M11.1.0"},
        {"PACIFIC/WALLIS", 1, "<+12>-12"},
        {"Africa/Abidjan", 1, "GMT0"},
        {"userdefined", 2, ""},
        {"America/New_York", 0, ""},
        {"America/New Yor", 0, ""},
        {"America/New York ", 0, ""},
    };
    for (const auto& [location, result, zone] : cases) {
        char buffer[128];
        std::memset(buffer, 'x', sizeof buffer);
        EXPECT_EQ(Qsc_TZ_FindTimeZone(location, buffer, sizeof buffer), result) << location;
        EXPECT_STREQ(buffer, zone);
        EXPECT_EQ(buffer[127], '\0') << "the whole buffer is cleared";
    }
    char small[8] = "xxxxxxx";
    EXPECT_EQ(Qsc_TZ_FindTimeZone("America/New York", small, sizeof small), 1u);
    EXPECT_STREQ(small, "EST5EDT");
    std::strcpy(small, "kept");
    EXPECT_EQ(Qsc_TZ_FindTimeZone("Africa/Abidjan", small, 7), 0u);
    EXPECT_EQ(Qsc_TZ_FindTimeZone("", small, sizeof small), 0u);
    EXPECT_EQ(Qsc_TZ_FindTimeZone(nullptr, small, sizeof small), 0u);
    EXPECT_EQ(Qsc_TZ_FindTimeZone("Africa/Abidjan", nullptr, 128), 0u);
    EXPECT_STREQ(small, "kept");
}

TEST_F(TimeZone, CutsDaylightSavingOff)
{
    const struct {
        const char* zone;
        const char* cut;
    } cases[] = {
        {"CET-1CEST,M3.5.0,M10.5.0/3", "CET-1"},
        {"EST5EDT,M3.2.0,M11.1.0", "EST5"},
        {"<-04>4<-03>,M10.1.0/0,M3.4.0/0", "<-04>4"},
        {"GMT0", "GMT0"},
        {"<+0330>-3:30<+0430>,J79/24,J263/24", "<+0330>-3:30<+0430>,J79/24,J263/24"},
        {"EST5D,M3", "EST5"},
        {"EST5<>,M3", "EST5"},
        {",M3.2.0", "code 22"},
        {"", "code 22"},
        {">,M3", "code 14"},
        {"X,M3", "code 14"},
        {"ABC>,M3", "code 14"},
        {"<ABC>,M3", "code 14"}, // the first character is never taken
        {"ABCD,M3", "code 14"},
        {"5ABC,M3", "code 14"},
        {"<>,M3", ""},
        {"55,M3", "5"},
    };
    for (const auto& [zone, cut] : cases) {
        EXPECT_EQ(without_daylight_saving(zone), cut) << zone;
    }
    EXPECT_EQ(Qsc_TZ_RemoveDaylightSavingTime(nullptr), 22u);
}
