// SPDX-License-Identifier: Apache-2.0
// Changes that are planned, and made as one, through the C interface.
#include "qsc_apply.h"

#include <json-c/json.h>

#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kInfo = "Device.DeviceInfo";
constexpr const char* kTime = "Device.Time";

class Apply : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        put("system", "config system\n\toption hostname 'old'\n\toption timezone 'UTC0'\n"
                      "\toption tzlocation 'UserDefined'\n"
                      "config timeserver 'ntp'\n\toption enabled '1'\n");
        for (const char* script : {"system", "sysntpd"}) {
            outside().programs[std::string{"/etc/init.d/"} + script] = "";
        }
    }

    void TearDown() override
    {
        (void)QSysCmdHal_AbortApply();
        DeviceTest::TearDown();
    }

    static uint32_t begin(const std::string& options = "{}")
    {
        const Json wanted{options};
        return QSysCmdHal_BeginApply(wanted.get());
    }

    static uint32_t set(const char* path, const std::string& words)
    {
        const Json request{named(words)};
        return QSysCmdHal_ApplySet(path, request.get());
    }

    /// A member of what a function gives out, as JSON; or its code.
    static std::string of(uint32_t (*give)(json_object**), const char* member)
    {
        json_object* given = nullptr;
        const uint32_t code = give(&given);
        const Json owner{given};
        return code != 0
                   ? "code " + std::to_string(code) + " " + QSysCmdHal_LastError()
                   : json_object_to_json_string_ext(json_object_object_get(given, member),
                                                    JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    }

    /// What was started.
    static Lines started()
    {
        Lines lines = steps();
        std::erase_if(lines, [](const std::string& line) {
            return line.starts_with("set ") || line.starts_with("commit ");
        });
        return lines;
    }

    static std::string hostname() { return DeviceTest::values(kInfo, "HostName"); }

    FakeFolder run_{"/var/run"};
};

} // namespace

TEST_F(Apply, GrowsIsPlannedAndEnds)
{
    ASSERT_EQ(begin(R"({"id":"a-1","commander":2})"), Succeeds());
    EXPECT_EQ(set(kInfo, "HostName=new"), Succeeds());
    EXPECT_EQ(of(QSysCmdHal_PlanApply, "packages"), R"(["system"])");
    EXPECT_EQ(set(kInfo, "FriendlyName=hall"), Succeeds());
    EXPECT_EQ(of(QSysCmdHal_PlanApply, "changes"),
              R"([{"path":"Device.DeviceInfo","parameter":"HostName","value":"new","old":"old"},)"
              R"({"path":"Device.DeviceInfo","parameter":"FriendlyName","value":"hall","old":""}])");
    EXPECT_EQ(hostname(), R"("old")");
    EXPECT_EQ(started(), (Lines{}));
    EXPECT_EQ(messages(), (Lines{}));
    EXPECT_EQ(of(QSysCmdHal_EndApply, "id"), R"("a-1")");
    EXPECT_EQ(hostname(), R"("new")");
    EXPECT_EQ(messages(),
              (Lines{"set device info HostName new by WEB", "set device info FriendlyName hall by WEB"}));
    EXPECT_EQ(of(QSysCmdHal_EndApply, "id"), "code 22 apply: no apply is under way");
}

TEST_F(Apply, IsOneAtATime)
{
    ASSERT_EQ(begin(R"({"id":"first","commander":1})"), Succeeds());
    EXPECT_EQ(begin(), Fails(EBUSY));
    const Json changes{"[]"};
    EXPECT_EQ(QSysCmdHal_Apply(changes.get(), nullptr, nullptr), Fails(EBUSY));
    EXPECT_STREQ(QSysCmdHal_LastError(), "apply: an apply of TR69 (first) is under way");
    EXPECT_EQ(QSysCmdHal_RecoverApply(), Fails(EBUSY));
    EXPECT_EQ(set(kInfo, "HostName=new"), Succeeds());
    EXPECT_EQ(QSysCmdHal_AbortApply(), Succeeds());
    EXPECT_EQ(begin(), Succeeds());
    EXPECT_EQ(of(QSysCmdHal_EndApply, "packages"), "[]");
    EXPECT_EQ(hostname(), R"("old")");
}

TEST_F(Apply, RefusesWhatItCannotTakeBackOrUnderstand)
{
    for (const char* options :
         {"[]", R"({"id":"a b"})", R"({"id":7})", R"({"commander":"WEB"})", R"({"hash":1})"}) {
        EXPECT_EQ(begin(options), Fails(EINVAL)) << options;
    }
    const struct {
        const char* path;
        const char* words;
    } cases[] = {{"SysUpg", "Action=Reboot"},
                 {"Device.IP.Diagnostics.X_QRN_SpeedTest", "DiagnosticsState=Requested"},
                 {"Device.Nothing", "Name=x"},
                 {kInfo, "UpTime=1"}};
    for (const auto& each : cases) {
        ASSERT_EQ(begin(), Succeeds());
        EXPECT_NE(set(each.path, each.words), 0) << each.path;
        EXPECT_EQ(set(kInfo, "HostName=new"), Succeeds());
        EXPECT_NE(of(QSysCmdHal_EndApply, "id"), "") << each.path;
        EXPECT_EQ(hostname(), R"("old")") << each.path;
    }
    for (const char* changes : {"{}", "[1]", R"([{"path":"Device.DeviceInfo"}])", R"([{"set":{}}])"}) {
        const Json wrong{changes};
        EXPECT_EQ(QSysCmdHal_Apply(wrong.get(), nullptr, nullptr), Fails(EINVAL)) << changes;
    }
    EXPECT_EQ(started(), (Lines{}));
}

TEST_F(Apply, KeepsWhatHandlersRememberToItself)
{
    const std::string restart = R"({"action":"restart"})";
    ASSERT_EQ(begin(), Succeeds());
    EXPECT_EQ(set(kTime, "XQrnTimeZoneLocation=Europe/Berlin"), Succeeds());
    EXPECT_EQ(of(QSysCmdHal_PlanApply, "commands"),
              R"([{"step":"service","path":"Device.Time","command":"/etc/init.d/system restart"},)"
              R"({"step":"service","path":"Device.Time","command":"/etc/init.d/sysntpd restart"}])");
    EXPECT_EQ(QSysCmdHal_AbortApply(), Succeeds());
    (void)steps();
    EXPECT_EQ(send(kTime, kService, restart), Succeeds());
    for (const std::string& step : started()) {
        EXPECT_EQ(step.find("system"), std::string::npos) << "a plan has left something behind: " << step;
    }
}

TEST_F(Apply, IsRefusedBeforeAnythingChangesWhereThereIsNoSpace)
{
    std::filesystem::create_directories("/etc/qsyscmdhal");
    ASSERT_EQ(mount("none", "/etc/qsyscmdhal", "tmpfs", 0, "size=12k,mode=0700"), 0);
    put("system",
        "config system\n\toption hostname 'old'\n\toption notes '" + std::string(3000, 'x') + "'\n");
    const Json changes{R"([{"path":"Device.DeviceInfo","set":{"HostName":{"ParamValue":"new"}}}])"};
    EXPECT_EQ(QSysCmdHal_Apply(changes.get(), nullptr, nullptr), Fails(ENOSPC));
    EXPECT_EQ(hostname(), R"("old")");
    EXPECT_EQ(started(), (Lines{}));
    umount2("/etc/qsyscmdhal", MNT_DETACH);
    std::filesystem::remove("/etc/qsyscmdhal");
    EXPECT_EQ(QSysCmdHal_Apply(changes.get(), nullptr, nullptr), Succeeds()) << QSysCmdHal_LastError();
}
