// SPDX-License-Identifier: Apache-2.0
// "Device.Time" on a fake device.
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <functional>

#include <sys/stat.h>

#include "qsc_device_time.h"
#include "support/Outside.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"

using namespace test;

namespace
{

constexpr const char* kZone = "system.@system[0].timezone";
constexpr const char* kLocation = "system.@system[0].tzlocation";

Answer service(const std::string& object)
{
    const Json value{object};
    const uint32_t code = Qsc_DevTime_Service("Device.Time", value.get());
    return {code, value.text()};
}

} // namespace

class DeviceTime : public OutsideTest
{
  protected:
    /// The restart flag lives as long as the library: each test starts with it cleared.
    void SetUp() override
    {
        OutsideTest::SetUp();
        service(R"({"action":"x"})");
        outside() = Outside{};
    }

    static Answer commit(const char* object = "{}") { return call(Qsc_DevTime_Commit, kCommit, object); }
};

TEST_F(DeviceTime, ReadsEveryParameter)
{
    outside().uci = {{"system.ntp.enabled", "0x10"},
                     {"system.ntp.server[0]", "a.example"},
                     {"system.ntp.server[4]", "e.example"},
                     {kZone, "GMT0"},
                     {kLocation, "UserDefined"},
                     {"system.ntp.dstdisable", "1x"}};
    const Answer all = send("Device.Time", kGet, "{}");
    EXPECT_EQ(all, Succeeds());
    const std::pair<const char*, const char*> values[] = {{"Enable", "16"},
                                                          {"Status", "\"Disabled\""},
                                                          {"NTPServer1", "\"a.example\""},
                                                          {"NTPServer2", "\"\""},
                                                          {"NTPServer5", "\"e.example\""},
                                                          {"LocalTimeZone", "\"GMT0\""},
                                                          {"XQrnTimeZoneLocation", "\"UserDefined\""},
                                                          {"XQrnDSTDisable", "1"}};
    for (const auto& [name, value] : values) {
        EXPECT_EQ(all.value(name), value) << name;
    }
    const LogLine missing{4, "[W] system.ntp.server not found\n"};
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{missing, missing, missing}));

    // The time as libc writes it, to the second.
    std::string before, after;
    Answer answered;
    do {
        char text[64];
        std::time_t now = std::time(nullptr);
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", std::localtime(&now));
        before = text;
        answered = call(Qsc_DevTime_Do_CurrentLocalTime, kGet, "{}");
        now = std::time(nullptr);
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", std::localtime(&now));
        after = text;
    } while (before != after);
    EXPECT_EQ(answered, Answers(R"({"ParamValue":")" + before + R"(","ParamId":0})"));
}

TEST_F(DeviceTime, WhatCannotBeReadForWantOfMemoryOrDescriptorsIsNoEmptyValue)
{
    const struct {
        const char* parameter;
        const char* key;
    } cases[] = {{"Enable", "system.ntp.enabled"},
                 {"Status", "system.ntp.enabled"},
                 {"NTPServer2", "system.ntp.server[1]"},
                 {"LocalTimeZone", kZone}};
    for (const auto& [parameter, key] : cases) {
        const std::string named = std::string{"{\""} + parameter + "\":{}}";
        outside().uci_codes = {{std::string{"get "} + key, ENOMEM}};
        outside().logs.clear();
        EXPECT_EQ(send("Device.Time", kGet, named.c_str()), Fails(ENOMEM)) << parameter;
        EXPECT_EQ(outside().logs.size(), 3u) << "the key, why the get fails, and which";
        EXPECT_EQ(send("Device.Time", kGet, "{}"), Fails(ENOMEM)) << parameter;
        outside().uci_codes.clear();
        EXPECT_EQ(send("Device.Time", kGet, named.c_str()), Succeeds()) << parameter << " again";
    }
}

TEST_F(DeviceTime, StatusIsTheWordOfTheNtpService)
{
    if (!enter_private_folders()) {
        GTEST_SKIP() << "no /tmp of its own";
    }
    constexpr const char* kFile = "/tmp/.ntpstatus";
    const std::string longest(126, 'w');
    const std::string blanks(1024 * 1024 - 126, ' ');
    constexpr const char* kNoWord = "Error_FailedToSynchronize";
    const struct {
        const char* enabled;
        std::function<void()> put;
        std::string status;
    } cases[] = {
        {"0", [&] { write_file(kFile, "Synchronized"); }, "Disabled"},
        {"01", [&] { write_file(kFile, "Synchronized"); }, "Disabled"},
        {"1", [] {}, "Unsynchronized"},
        {"1", [&] { write_file(kFile, "Synchronized since noon\n"); }, "Synchronized"},
        {"1", [&] { write_file(kFile, "  \n Word"); }, "Word"},
        {"1", [&] { write_file(kFile, blanks + longest); }, longest},
        {"1", [&] { write_file(kFile, blanks + ' ' + longest); }, kNoWord}, // more than is read
        {"1", [&] { write_file(kFile, longest + 'w'); }, kNoWord},
        {"1", [&] { write_file(kFile, ""); }, kNoWord},
        {"1", [&] { write_file(kFile, " \n"); }, kNoWord},
        {"1", [&] { mkfifo(kFile, 0600); }, kNoWord},
        {"1", [&] { mkdir(kFile, 0700); }, kNoWord},
        {"1",
         [&] {
             write_file("/tmp/other", "Synchronized");
             std::filesystem::create_symlink("/tmp/other", kFile);
         },
         "Unsynchronized"},
    };
    for (const auto& [enabled, put, status] : cases) {
        outside().uci["system.ntp.enabled"] = enabled;
        std::filesystem::remove(kFile);
        put();
        EXPECT_EQ(call(Qsc_DevTime_Do_Status, kGet, "{}"),
                  Answers(R"({"ParamValue":")" + status + R"(","ParamId":0})"));
    }
    std::filesystem::remove(kFile);
    EXPECT_EQ(call(Qsc_DevTime_Do_Status, kSet, R"({"ParamValue":"x"})"),
              Fails(EFAULT, R"({"ParamValue":"x","ParamId":14})"));
}

TEST_F(DeviceTime, SetsAreStagedAndRecorded)
{
    const struct {
        Qsc_Handler handler;
        const char* value;
        const char* stored;
        const char* event;
    } cases[] = {
        {Qsc_DevTime_Do_Enable, "1", "set system.ntp.enabled=1", "set NTP server enabled flag 1 by CLI"},
        {Qsc_DevTime_Do_Enable, "\"-7\"", "set system.ntp.enabled=-7",
         "set NTP server enabled flag -7 by CLI"},
        {Qsc_DevTime_Do_NtpServer1, "\"a\"", "set system.ntp.server[0]=a", "set NTP server 0 a by CLI"},
        {Qsc_DevTime_Do_NtpServer5, "\"\"", "set system.ntp.server[4]=", "set NTP server 4 <empty> by CLI"},
        {Qsc_DevTime_Do_LocalTimeZone, "\"no zone\"", "set system.@system[0].timezone=no zone",
         "set time zone no zone by CLI"},
        {Qsc_DevTime_Do_XQrnTimeZoneLocation, "\"asia/tehran\"",
         "set system.@system[0].tzlocation=asia/tehran", "set time zone location asia/tehran by CLI"},
        {Qsc_DevTime_Do_XQrnDSTDisable, "true", "set system.ntp.dstdisable=1",
         "set daylight saving time disabled flag 1 by CLI"},
    };
    for (const auto& [handler, value, stored, event] : cases) {
        outside().done.clear();
        outside().events.clear();
        EXPECT_EQ(call(handler, kSet, value_of(value)), Succeeds()) << stored;
        EXPECT_EQ(outside().done, Lines{stored});
        EXPECT_EQ(outside().events, Lines{OutsideTest::event(event)});
        expect_each_failure_to_end([] { outside() = Outside{}; },
                                   [&] { return call(handler, kSet, value_of(value)); });
    }
}

TEST_F(DeviceTime, RefusedSetsChangeNothing)
{
    const struct {
        Qsc_Handler handler;
        std::string object;
        uint32_t code;
    } cases[] = {
        {Qsc_DevTime_Do_Enable, "{}", EINVAL},
        {Qsc_DevTime_Do_Enable, R"({"ParamValue":"1x"})", EFAULT},
        {Qsc_DevTime_Do_Enable, R"({"ParamValue":2147483648})", EFAULT},
        {Qsc_DevTime_Do_NtpServer1, "{}", EINVAL},
        {Qsc_DevTime_Do_NtpServer1, R"({"ParamValue":null})", EFAULT},
        {Qsc_DevTime_Do_NtpServer1, R"({"ParamValue":["a"]})", EFAULT},
        {Qsc_DevTime_Do_NtpServer1, value_of(text_of(127)), EFAULT},
        {Qsc_DevTime_Do_LocalTimeZone, value_of(text_of(127)), EFAULT},
        {Qsc_DevTime_Do_XQrnTimeZoneLocation, R"({"ParamValue":"America/New_York"})", EFAULT},
        {Qsc_DevTime_Do_XQrnTimeZoneLocation, R"({"ParamValue":""})", EFAULT},
        {Qsc_DevTime_Do_XQrnTimeZoneLocation, value_of(text_of(5000)), EFAULT},
        {Qsc_DevTime_Do_CurrentLocalTime, "{}", EINVAL},
        {Qsc_DevTime_Do_CurrentLocalTime, value_of(text_of(127)), EINVAL},
        {Qsc_DevTime_Do_CurrentLocalTime, R"({"ParamValue":"2024-01-02-03"})", EINVAL},
        {Qsc_DevTime_Do_CurrentLocalTime, R"({"ParamValue":"$reboot---"})", EINVAL},
        {Qsc_DevTime_Do_CurrentLocalTime, R"({"ParamValue":"$reboot"})", EFAULT},
        {Qsc_DevTime_Do_CurrentLocalTime, R"({"ParamValue":"a;reboot"})", EFAULT},
    };
    for (const auto& [handler, object, code] : cases) {
        EXPECT_EQ(call(handler, kSet, object), Fails(code)) << object;
    }
    EXPECT_TRUE(outside().done.empty());
    EXPECT_TRUE(outside().events.empty());
    EXPECT_EQ(outside().logs.size(), 2u) << "only unknown locations say so";
    EXPECT_EQ(outside().logs[0], (LogLine{3, "[E] time zone location not found\n"}));
    EXPECT_EQ(call(Qsc_DevTime_Do_NtpServer1, kSet, value_of(text_of(126))), Succeeds()) << "the longest";
}

TEST_F(DeviceTime, SettingTheTimeRunsDateWithTheTextExactly)
{
    const struct {
        const char* value;
        const char* command;
        const char* event;
    } cases[] = {
        {R"("2024-01-02T03:04:05")", R"(popen date -s "2024-01-02T03:04:05")",
         "set name 2024-01-02T03:04:05 by CLI"},
        {R"("a\"b\\c\nd")", "popen date -s \"a\\\"b\\\\c\nd\"", R"(set name a\"b\\c\nd by CLI)"},
        {R"("")", R"(popen date -s "")", "set name <empty> by CLI"},
    };
    for (const auto& [value, command, event] : cases) {
        outside().done.clear();
        outside().events.clear();
        EXPECT_EQ(call(Qsc_DevTime_Do_CurrentLocalTime, kSet, value_of(value)), Succeeds());
        EXPECT_EQ(outside().commands(), Lines{command});
        EXPECT_EQ(outside().events, Lines{OutsideTest::event(event)});
    }
    outside().wait_statuses["date -s \"x\""] = 1 << 8;
    EXPECT_EQ(call(Qsc_DevTime_Do_CurrentLocalTime, kSet, R"({"ParamValue":"x"})"), Fails(EFAULT));
    EXPECT_EQ(outside().events.size(), 1u) << "a failed set is no event";
}

TEST_F(DeviceTime, CommitDerivesTheZoneFromTheLocation)
{
    const struct {
        const char* location;
        const char* disabled;
        const char* zone; // what is stored before
        bool is_set;      // the location was set, so the zone must be written
        Lines done;
    } cases[] = {
        {"america/new york",
         "0",
         "GMT0",
         true,
         {"set system.@system[0].timezone=EST5EDT,M3.2.0,M11.1.0", "commit system", "sync"}},
        {"America/New York", "0", "GMT0", false, {"commit system", "sync"}},
        {"America/New York",
         "1",
         "GMT0",
         false,
         {"set system.@system[0].timezone=EST5", "commit system", "sync"}},
        {"Asia/Tehran", "1", "GMT0", false, {"commit system", "sync"}},
        {"Asia/Tehran",
         "1",
         "GMT0",
         true,
         {"set system.@system[0].timezone=<+0330>-3:30<+0430>,J79/24,J263/24", "commit system", "sync"}},
        {"UserDefined", "0", "mine", false, {"commit system", "sync"}},
        {"UserDefined",
         "1",
         "CET-1CEST,M3.5.0",
         false,
         {"set system.@system[0].timezone=CET-1", "commit system", "sync"}},
        {"UserDefined", "1", "X,M3", false, {"sync"}},
        {"Nowhere", "0", "GMT0", true, {"sync"}},
        {"", "0", "GMT0", true, {"sync"}},
    };
    for (const auto& [location, disabled, zone, is_set, done] : cases) {
        outside() = Outside{};
        service(R"({"action":"x"})");
        if (is_set) {
            call(Qsc_DevTime_Do_XQrnTimeZoneLocation, kSet, R"({"ParamValue":"Asia/Tehran"})");
        }
        outside() = Outside{};
        outside().uci = {{kLocation, location}, {kZone, zone}, {"system.ntp.dstdisable", disabled}};
        const bool is_broken = std::string{zone} == "X,M3";
        EXPECT_EQ(commit(), Fails(is_broken ? EFAULT : 0)) << location;
        EXPECT_EQ(outside().done, done) << location;
    }
}

TEST_F(DeviceTime, CommitTakesThePackagesThatTheRequestNames)
{
    outside().uci[kLocation] = "Africa/Abidjan";
    const struct {
        const char* object;
        Answer answer;
        Lines done;
    } cases[] = {
        {"{}", Answers(R"({"package":["system"],"ParamId":0})"), {"commit system", "sync"}},
        {R"({"package":[]})", Answers(R"({"package":["system"],"ParamId":0})"), {"commit system", "sync"}},
        {R"({"package":["b",7,null,"","a"]})",
         Answers(R"({"package":["b",7,null,"","a"],"ParamId":0})"),
         {"commit b", "commit a", "sync"}},
        {R"({"package":[null,""]})", Answers(R"({"package":[null,""],"ParamId":0})"), {"sync"}},
        {R"({"package":"system"})", Fails(EINVAL, R"({"package":"system","ParamId":22})"), {"sync"}},
        {R"({"package":null})", Fails(EINVAL, R"({"package":null,"ParamId":22})"), {"sync"}},
        {R"({"package":["bad","a"]})",
         Fails(EIO, R"({"package":["bad","a"],"ParamId":5})"),
         {"commit bad", "sync"}},
    };
    outside().uci_codes["commit bad"] = EIO;
    for (const auto& [object, answer, done] : cases) {
        outside().done.clear();
        EXPECT_EQ(commit(object), answer);
        EXPECT_EQ(outside().done, done) << object;
    }
    outside().uci.clear();
    EXPECT_EQ(commit(), Fails(EFAULT, R"({"ParamId":14})")) << "no location is stored at all";
    EXPECT_EQ(Qsc_DevTime_Commit("x", nullptr, kCommit, 8, 0, 0), Fails(EINVAL));
}

TEST_F(DeviceTime, ServiceRestartsTheSystemOncePerChange)
{
    const Lines both{"popen /etc/init.d/system restart", "sync", "popen /etc/init.d/sysntpd restart", "sync"};
    const Lines ntp_only{"popen /etc/init.d/sysntpd restart", "sync"};
    constexpr const char* kRestart = R"({"action":"restart"})";
    EXPECT_EQ(service(kRestart), Answers(R"({"action":"restart","ParamId":0})"));
    EXPECT_EQ(outside().done, ntp_only);

    call(Qsc_DevTime_Do_XQrnDSTDisable, kSet, R"({"ParamValue":0})");
    outside().done.clear();
    EXPECT_EQ(service(R"({"action":"a;b"})"), Fails(EFAULT));
    EXPECT_EQ(service("{}"), Fails(EFAULT));
    EXPECT_TRUE(outside().done.empty()) << "a refused action runs nothing";

    outside().wait_statuses["/etc/init.d/system restart"] = 3 << 8;
    EXPECT_EQ(service(kRestart), Fails(EFAULT));
    EXPECT_EQ(outside().commands(), Lines{"popen /etc/init.d/system restart"});
    outside().wait_statuses.clear();
    outside().done.clear();
    EXPECT_EQ(service(kRestart), Succeeds()) << "the flag has stayed";
    EXPECT_EQ(outside().done, both);
    outside().done.clear();
    EXPECT_EQ(service(kRestart), Succeeds());
    EXPECT_EQ(outside().done, ntp_only);
    EXPECT_EQ(service(R"({"action":)" + text_of(110) + "}"), Fails(EFAULT));
}
