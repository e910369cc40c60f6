// SPDX-License-Identifier: Apache-2.0
// A change that waits to be confirmed, in one process: its clock, its checks, and what others hear of it.
#include <ctime>

#include <dlfcn.h>
#include <json-c/json.h>

#include "qsc_apply.h"
#include "support/DeviceTest.h"

using namespace test;

namespace
{

/// For so long the device was suspended.
long g_suspended_s = 0;

constexpr uint32_t kWeb = QSC_COMMANDER_WEB;
constexpr uint32_t kCli = QSC_COMMANDER_CLI;
constexpr const char* kNote = "/var/run/qsyscmdhal.window";

class Window : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        put("system", "config system\n\toption hostname 'old'\n");
        outside().programs["/etc/init.d/system"] = "";
        FakeFolder::put("/proc/sys/kernel/random/boot_id", "one\n");
        g_suspended_s = 0;
        EXPECT_EQ(QSysCmdHal_ResumeWindow(), 0u);
    }

    /// Applies a host name. @return the code
    static uint32_t apply(const std::string& name, const std::string& options)
    {
        const Json changes{R"([{"path":"Device.DeviceInfo","set":{"HostName":{"ParamValue":")" + name +
                           "\"}}}]"};
        const Json wanted{"{" + options + "}"};
        return QSysCmdHal_Apply(changes.get(), wanted.get(), nullptr);
    }

    /// A member of what waits, as a text; "" when nothing does.
    static std::string window(const char* member)
    {
        json_object* found = nullptr;
        const uint32_t code = QSysCmdHal_GetWindow(&found);
        const Json owner{found};
        json_object* const value = json_object_object_get(found, member);
        return code == 0 && value != nullptr ? json_object_get_string(value) : "";
    }

    /// What a set of the host name by a commander ends with.
    static std::string set_by(uint32_t commander, uint32_t operation = kSet)
    {
        const Json request{R"({"HostName":{"ParamValue":"third"}})"};
        const Qsc_CommandEntry* entry = QSysCmdHal_GetFunList();
        while (std::string_view{entry->path} != "Device.DeviceInfo") {
            ++entry;
        }
        const uint32_t code =
            entry->dispatcher("Device.DeviceInfo", request.get(), operation, commander, 0, 0);
        return std::to_string(code) + " " + QSysCmdHal_LastError();
    }

    FakeFolder run_{"/var/run"};
    FakeFolder proc_{"/proc"};
};

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* const next = reinterpret_cast<decltype(clock_gettime)*>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = next(clock, time);
    time->tv_sec += clock == CLOCK_BOOTTIME ? g_suspended_s : 0;
    return result;
}

TEST_F(Window, CountsTheTimeThatTheDeviceIsSuspendedAndRefusesOthersUntilItIsClosed)
{
    EXPECT_EQ(set_by(kCli), "0 ");
    ASSERT_EQ(apply("new", R"("commander":2,"id":"a","confirm":60)"), 0u);
    EXPECT_EQ(window("left"), "60");
    g_suspended_s = 58;
    EXPECT_EQ(set_by(kCli), "16 Device.DeviceInfo: an unconfirmed change of WEB (a) is open for 2 s");
    EXPECT_EQ(set_by(kCli, kCommit), set_by(kCli));
    EXPECT_EQ(set_by(kCli, kSet | kGet) + set_by(kWeb), "0 0 ");
    g_suspended_s = 61;
    EXPECT_EQ(window("left"), "0");
    EXPECT_EQ(set_by(kCli), "16 Device.DeviceInfo: an unconfirmed change of WEB (a) is being taken back");
    EXPECT_EQ(apply("other", R"("commander":8)"), 16u);
    // From now on, not from when it was to end.
    EXPECT_EQ(QSysCmdHal_ExtendWindow("a", 604'800), 0u);
    EXPECT_EQ(window("left"), "604800");
    EXPECT_EQ(QSysCmdHal_ExtendWindow("a", 604'801), 22u);
    EXPECT_EQ(QSysCmdHal_ExtendWindow("a", 0), 22u);
    EXPECT_EQ(QSysCmdHal_ConfirmWindow("b"), 22u);
    EXPECT_EQ(QSysCmdHal_ConfirmWindow("a"), 0u);
    EXPECT_EQ(QSysCmdHal_ConfirmWindow("a"), 61u);
    EXPECT_EQ(set_by(kCli), "0 ");
}

TEST_F(Window, TakesWhatOthersMayHaveWrittenForNoNote)
{
    write_file(kNote, "a open 2 99999999999999\n");
    EXPECT_EQ(set_by(kCli).substr(0, 2), "16");
    if (chown(kNote, 4242, 4242) == 0) { // which only root can
        EXPECT_EQ(set_by(kCli), "0 ") << "another user's";
        EXPECT_EQ(chown(kNote, 0, 0), 0);
    }
    for (const char* text : {"", "a", "a/b open 2 99999999999999", "a closed 2 99999999999999",
                             "a open x 99999999999999", "a open 2 -1"}) {
        write_file(kNote, text);
        EXPECT_EQ(set_by(kCli), "0 ") << text;
    }
}

TEST_F(Window, AnswersAnApplyThatIsSentAgainAndMakesItOnce)
{
    constexpr const char* kResults = "/var/run/qsyscmdhal.results";
    const auto starts = [] { return std::ranges::count(steps(), "run /etc/init.d/system restart"); };
    EXPECT_EQ(apply("new", R"("id":"a")"), 0u);
    EXPECT_EQ(starts(), 1);
    EXPECT_EQ(apply("new", R"("id":"a")"), 0u);
    EXPECT_EQ(apply("other", R"("id":"a")"), 17u);
    EXPECT_EQ(starts(), 0);
    if (chown(kResults, 4242, 4242) == 0) { // which only root can
        EXPECT_EQ(apply("other", R"("id":"a")"), 0u) << "another user's word is not taken";
        EXPECT_EQ(starts(), 1);
    }
}

TEST_F(Window, SetsACheckpointAsideThatCannotBeRead)
{
    std::filesystem::create_directory("/etc/qsyscmdhal");
    std::filesystem::permissions("/etc/qsyscmdhal", std::filesystem::perms::owner_all);
    write_file("/etc/qsyscmdhal/checkpoint", R"({"id":"a","packa)");
    EXPECT_EQ(QSysCmdHal_RestoreCheckpoint("why", 1, nullptr), 14u);
    EXPECT_EQ(QSysCmdHal_ResumeWindow(), 14u);
    EXPECT_EQ(read_file("/etc/qsyscmdhal/checkpoint.failed"), R"({"id":"a","packa)");
    EXPECT_EQ(QSysCmdHal_RestoreCheckpoint("why", 1, nullptr), 61u);
    EXPECT_EQ(apply("new", R"("id":"b","confirm":60)"), 0u);
}

TEST_F(Window, RunsItsChecksWithoutAShellAndNamesTheFirstThatFails)
{
    const std::string route = "Iface Destination Gateway Flags\n";
    const std::string six = "00000000000000000000000000000000 00 00000000000000000000000000000000 00 ";
    const struct {
        std::string check, route, route6, runs;
        bool passes;
    } cases[] = {
        {"gateway", route + "eth1 00000000 010200C0 0003\n", "", "ping -W 3 -c 1 192.0.2.1", true},
        {"gateway", route + "eth1 00000000 00000000 0001\neth1 0002000A 010200C0 0003\n", "", "", false},
        {"gateway", route, six + "fe800000000000000000000000000001 00000400 1 0 00450003 eth1\n",
         "ping -W 3 -c 1 fe80:0000:0000:0000:0000:0000:0000:0001%eth1", true},
        {"gateway", route, six + "00000000000000000000000000000000 ffffffff 1 0 00200200 lo\n", "", false},
        {"dns", "", "", "nslookup -type=ns .", true},
        {"url:https://192.0.2.7/x?a=$(b)", "", "", "wget -q -T 5 -O /dev/null https://192.0.2.7/x?a=$(b)",
         true},
        {" probe   one;two $HOME ", "", "", "probe one;two $HOME", true},
        {"fails now", "", "", "fails now", false},
        {"missing", "", "", "", false},
    };
    for (const char* program : {"ping", "nslookup", "wget", "probe"}) {
        outside().programs[program] = "";
    }
    outside().programs["fails"] = "exit 3";
    int number = 0;
    for (const auto& [check, route4, route6, runs, passes] : cases) {
        FakeFolder::put("/proc/net/route", route4);
        FakeFolder::put("/proc/net/ipv6_route", route6);
        ASSERT_EQ(apply("n" + std::to_string(++number), R"("confirm":60,"checks":[")" + check + "\"]"), 0u)
            << check;
        (void)steps();
        char failed[64] = "";
        EXPECT_EQ(QSysCmdHal_TryChecks(failed, sizeof failed), passes ? 0u : 14u) << check;
        EXPECT_EQ(failed, passes ? "" : check);
        const Lines done = steps();
        EXPECT_EQ(done.empty() ? "" : done[0].substr(0, runs.size() + 4), runs.empty() ? "" : "run " + runs);
        ASSERT_EQ(QSysCmdHal_ConfirmWindow(nullptr), 0u);
    }
    for (const char* wrong : {R"("")", R"("  ")", R"("url:file:///x")", R"("url:http://a b")", R"("a\nb")",
                              "1", R"("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17")"}) {
        EXPECT_EQ(apply("other", std::string{R"("confirm":60,"checks":[)"} + wrong + "]"), 22u) << wrong;
    }
}
