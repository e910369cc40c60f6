// SPDX-License-Identifier: Apache-2.0
// Reboots at a time of some weekdays: the line in the crontab, and when the next one comes.
#include <ctime>

#include <sys/stat.h>

#include "support/DeviceTest.h"

using namespace test;

namespace
{

time_t g_now = 0; // 0: the machine's

constexpr const char* kPath = "Device.X_QRN_AutoReboot";
constexpr const char* kCrontab = "/etc/crontabs/root";
constexpr const char* kLine = "5 4 * * 0,6 sleep 70 && touch /etc/banner && reboot # qrn_autoreboot\n";

class AutoReboot : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        outside().programs["/etc/init.d/cron"] = "";
        store("1", "04:05", "0,6");
    }
    void TearDown() override
    {
        g_now = 0;
        DeviceTest::TearDown();
    }

    static void store(const std::string& enable, const std::string& time, const std::string& days)
    {
        const auto option = [](const char* name, const std::string& value) {
            return value == "-" ? "" : std::string{"\toption "} + name + " '" + value + "'\n";
        };
        put("autoreboot", "config autoreboot 'config'\n" + option("enable", enable) + option("time", time) +
                              option("days", days));
    }

    static Answer apply() { return send(kPath, kService, R"({"action":"restart"})"); }
};

} // namespace

extern "C" time_t time(time_t* place)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t result = g_now != 0 ? g_now : now.tv_sec;
    if (place != nullptr) {
        *place = result;
    }
    return result;
}

TEST_F(AutoReboot, TheNextComesAtItsTimeOfTheZoneOnItsDays)
{
    constexpr const char* kNever = "0001-01-01T00:00:00Z";
    constexpr const char* kCentral = "CET-1CEST,M3.5.0,M10.5.0/3";
    const struct {
        const char* zone;
        const char* enable;
        const char* time;
        const char* days;
        time_t now;
        const char* next;
    } cases[] = {
        {"UTC0", "1", "03:00", "*", 1795316399, "2026-11-22T03:00:00Z"}, // a second before, on a Sunday
        {"UTC0", "1", "03:00", "*", 1795316400, "2026-11-23T03:00:00Z"},
        {"UTC0", "1", "03:00", "0", 1795316400, "2026-11-29T03:00:00Z"},
        {"UTC0", "1", "03:01", "0", 1795316400, "2026-11-22T03:01:00Z"},
        {"UTC0", "1", "23:59", "6,1", 1795316400, "2026-11-23T23:59:00Z"},
        {"UTC0", "1", "-", "-", 1795316399, "2026-11-22T03:00:00Z"}, // what is usual
        {"UTC0", "1", "", "", 1795316399, "2026-11-22T03:00:00Z"},
        {"<+0530>-5:30", "1", "05:45", "*", 1795316400, "2026-11-23T00:15:00Z"},
        {"<-05>5", "1", "23:00", "0", 1795316400, "2026-11-23T04:00:00Z"},
        {"<-05>5", "1", "23:00", "6", 1795316400, "2026-11-22T04:00:00Z"}, // still Saturday there
        // What summer time leaves out does not come, what it repeats comes twice.
        {kCentral, "1", "02:30", "*", 1774699200, "2026-03-30T00:30:00Z"},
        {kCentral, "1", "02:30", "0", 1774143060, "2026-04-05T00:30:00Z"},
        {kCentral, "1", "02:30", "*", 1792886400, "2026-10-25T00:30:00Z"},
        {kCentral, "1", "02:30", "*", 1792888200, "2026-10-25T01:30:00Z"},
        {kCentral, "1", "02:30", "*", 1792891800, "2026-10-26T01:30:00Z"},
        {"UTC0", "0", "03:00", "*", 1795316400, kNever},
        {"UTC0", "-", "03:00", "*", 1795316400, kNever},
        {"UTC0", "1", "24:00", "*", 1795316400, kNever},
        {"UTC0", "1", "03:60", "*", 1795316400, kNever},
        {"UTC0", "1", "03-00", "*", 1795316400, kNever},
        {"UTC0", "1", "3:00", "*", 1795316400, kNever},
        {"UTC0", "1", "x3:00", "*", 1795316400, kNever},
        {"UTC0", "1", "03:0x", "*", 1795316400, kNever},
        {"UTC0", "1", "03:000", "*", 1795316400, kNever},
        {"UTC0", "1", "03:00", "1,7", 1795316400, kNever},
        {"UTC0", "1", "03:00", "x", 1795316400, kNever},
        // The clock has not been set since the start.
        {"UTC0", "1", "03:00", "*", 1704067199, kNever},
        {"UTC0", "1", "03:00", "*", 1704067200, "2024-01-01T03:00:00Z"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.zone} + " " + one.time + " " + one.days + " " + std::to_string(one.now));
        put("system", std::string{"config system\n\toption timezone '"} + one.zone + "'\n");
        store(one.enable, one.time, one.days);
        g_now = one.now;
        EXPECT_EQ(values(kPath, "NextReboot"), std::string{"\""} + one.next + "\"");
    }
}

TEST_F(AutoReboot, OurLineIsReplacedAndThoseOfOthersStayByteForByte)
{
    const std::string others = "# mine\n5 4 * * *  /bin/true\n\n\t@reboot x";
    const struct {
        const char* what;
        const char* enable;
        const char* time;
        const char* days;
        std::string before; ///< "-": there is none
        std::string after;
    } cases[] = {
        {"the first", "1", "04:05", "0,6", "-", kLine},
        {"after an open line", "1", "04:05", "0,6", others, others + "\n" + kLine},
        {"in the place of another", "1", "23:59", "*", kLine + others,
         others + "\n59 23 * * * sleep 70 && touch /etc/banner && reboot # qrn_autoreboot\n"},
        {"every day by name", "1", "00:00", "0,1,2,3,4,5,6", "",
         "0 0 * * * sleep 70 && touch /etc/banner && reboot # qrn_autoreboot\n"},
        {"taken away", "0", "04:05", "0,6", others + "\n" + kLine, others + "\n"},
        {"an open one of ours", "0", "04:05", "0,6", "# qrn_autoreboot", ""},
        {"no time", "1", "4:05", "0,6", std::string{"a\n"} + kLine + "b\n", "a\nb\n"},
        {"nothing to do", "0", "04:05", "0,6", "-", "-"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.what);
        std::filesystem::remove_all("/etc/crontabs");
        if (one.before != "-") {
            FakeFolder::put(kCrontab, one.before);
        }
        store(one.enable, one.time, one.days);
        EXPECT_EQ(apply(), Succeeds());
        EXPECT_EQ(steps(), (Lines{"run /etc/init.d/cron restart", "sync"}));
        EXPECT_EQ(std::filesystem::exists("/etc/crontabs") ? read_file(kCrontab) : "-", one.after);
    }
    store("1", "04:05", "0,6");
    EXPECT_EQ(apply(), Succeeds());
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(stat(kCrontab, &before), 0);
    EXPECT_EQ(before.st_mode & 07777, 0600u);
    ASSERT_EQ(stat("/etc/crontabs", &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0755u);
    EXPECT_EQ(apply(), Succeeds());
    ASSERT_EQ(stat(kCrontab, &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino) << "what is right already is not written";
}

TEST_F(AutoReboot, ACrontabThatCannotBeReadOrWrittenIsSaidAndNothingFollows)
{
    std::filesystem::create_directories(kCrontab);
    const Answer answer = apply();
    EXPECT_EQ(answer, Fails(EFAULT));
    EXPECT_EQ(answer.member("ParamId"), "14");
    EXPECT_EQ(std::string{QSysCmdHal_LastError()},
              std::string{kPath} + ": /etc/crontabs/root could not be written");
    EXPECT_EQ(steps(), Lines{});
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] /etc/crontabs/root is not written, error 22\n"}));
    std::filesystem::remove_all("/etc/crontabs");
    outside().programs.clear();
    EXPECT_EQ(apply(), Fails(EFAULT)) << "cron is not there";
}

TEST_F(AutoReboot, DaysAreStoredInTheirOrderAndAnythingElseIsRefused)
{
    const struct {
        const char* words;
        const char* sentence; ///< "": taken
        const char* stored;
    } cases[] = {
        {"Days=6,0,6,3", "", "\"0,3,6\" \"04:05\" 1"},
        {"Days=*", "", "\"*\" \"04:05\" 1"},
        {"Days=5 Time=23:59 Enable=0", "", "\"5\" \"23:59\" 0"},
        {"Days=7", "Days: it is neither * nor days from 0, Sunday, to 6", nullptr},
        {"Days=1,x", "Days: it is neither * nor days from 0, Sunday, to 6", nullptr},
        {"Days=*,1", "Days: it is neither * nor days from 0, Sunday, to 6", nullptr},
        {"Days=,", "Days: it is neither * nor days from 0, Sunday, to 6", nullptr},
        {"Days=", "Days: it has 0 characters, not 1 to 13", nullptr},
        {"Time=24:00", "Time: '24:00' is no time of day, such as 03:30", nullptr},
        {"NextReboot=2026-01-01T00:00:00Z", "NextReboot: it cannot be set", nullptr},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.words);
        store("1", "04:05", "1");
        std::filesystem::remove_all("/tmp/.uci");
        EXPECT_EQ(change(kPath, one.words), one.sentence);
        EXPECT_EQ(values(kPath, "Days Time Enable"),
                  one.stored != nullptr ? one.stored : "\"1\" \"04:05\" 1");
    }
    std::filesystem::remove_all("/tmp/.uci");
    store("-", "-", "-");
    EXPECT_EQ(values(kPath, "Days Time Enable"), "\"*\" \"03:00\" 0");
}
