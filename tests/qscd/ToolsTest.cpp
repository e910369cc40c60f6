// SPDX-License-Identifier: Apache-2.0
// Tools that do not end, and what the daemon does about them.
#include <algorithm>
#include <memory>

#include <sys/stat.h>

#include "qscd/Running.h"

using test::Connection;

namespace
{

/// A daemon whose `iwconfig` and `date` are as the test wants them.
class Tools : public test::RunningWithTools
{
  protected:
    void SetUp() override
    {
        // It hangs itself, and leaves a child in a session of its own and one whose parents have gone.
        write_tool("iwconfig", "echo $$ >>" + pids() +
                                   "\n"
                                   "setsid sh -c 'echo $$ >>" +
                                   pids() +
                                   "; exec sleep 1000' &\n"
                                   "(setsid sh -c 'echo $$ >>" +
                                   pids() +
                                   "; exec sleep 1000' >/dev/null &)\n"
                                   "exec sleep 1000\n");
        write_tool("date", "[ ! -e " + (folder_ / "hang") + " ] || hang=1\necho \"$@\" >>" +
                               (folder_ / "dates") + "\n[ -z \"$hang\" ] || exec sleep 1000\n");
        ASSERT_TRUE(start({"--deadline", "1"}));
    }

    [[nodiscard]] std::string pids() const { return folder_ / "pids"; }

    /// The processes that have said their numbers.
    [[nodiscard]] std::vector<pid_t> processes() const
    {
        std::vector<pid_t> found;
        std::stringstream words{test::read_file(pids())};
        for (pid_t pid = 0; words >> pid;) {
            found.push_back(pid);
        }
        return found;
    }

    /// Waits until there are so many.
    std::vector<pid_t> wait_for_processes(size_t count) const
    {
        while (processes().size() < count) {
            usleep(1000);
        }
        return processes();
    }

    static void wait_for_end_of(const std::vector<pid_t>& pids)
    {
        for (const pid_t pid : pids) {
            while (!is_dead(pid)) {
                usleep(1000);
            }
        }
    }

    void wait_for_log(const std::string& line) const
    {
        while (log().find(line) == std::string::npos) {
            usleep(1000);
        }
    }

    void start_with_deadline(const std::string& seconds)
    {
        ASSERT_EQ(stop(), 0);
        ASSERT_TRUE(start({"--deadline", seconds}));
    }

    /// Gone, or waiting to be taken by a parent that is not ours.
    static bool is_dead(pid_t pid)
    {
        const std::string stat = test::read_file("/proc/" + std::to_string(pid) + "/stat");
        return stat.empty() || stat.find(") Z ") != std::string::npos;
    }

    const std::string stuck_ = R"({"path":"Device.WiFi.SSID.1.BSSID"})";
};

TEST_F(Tools, AreKilledAtTheDeadlineWithAllThatTheyStarted)
{
    // On a busy machine the deadline may come before the tool has started the others; then it gets longer.
    for (int seconds = 1; processes().size() < 3; seconds *= 2) {
        test::write_file(pids(), "");
        start_with_deadline(std::to_string(seconds));
        EXPECT_EQ(
            Connection{path()}.call("get", stuck_),
            R"("error":{"code":-32002,"message":"the request took too long; the tool iwconfig was ended",)"
            R"("data":{"tool":"iwconfig","cwmp":9002,"usp":7003}})");
    }
    wait_for_end_of(processes());
    wait_for_log("warning: overdue: get Device.WiFi.SSID.1 runs iwconfig");
    wait_for_log("warning: deadline: get Device.WiFi.SSID.1 was ended, and with it iwconfig");
}

TEST_F(Tools, ThatCannotBeFoundAgainHoldOnlyTheirOwnRequest)
{
    // Its child has neither its environment nor a parent that is known, and keeps its output open.
    write_tool("date",
               "(env -i /usr/bin/setsid /bin/sh -c 'echo $$ >>" + pids() + "; exec /bin/sleep 1000' &)\n");
    const std::string set = R"({"values":{"Device.Time.CurrentLocalTime":"2026-01-02 03:04:05"}})";
    Connection client{path()};
    EXPECT_NE(client.call("set", set).find(R"("code":-32002,)"), std::string::npos);
    EXPECT_NE(client.call("set", set).find(R"("code":-32002,)"), std::string::npos) << "nor has it begun";
    wait_for_log("set Device.Time does not come back");
    EXPECT_EQ(client.call("get", R"({"path":"syslog.level"})"), R"("result":{"values":{"syslog.level":6}})");
    EXPECT_EQ(stop(), 0) << "and it does not keep the daemon from ending";
    kill(wait_for_processes(1).front(), SIGKILL);
}

TEST_F(Tools, OfTwoRequestsThatComeTogetherRunSideBySide)
{
    write_tool("iwconfig", "echo 'Access Point: 02:0C:43:26:60:00'\n");
    start_with_deadline("1000");
    Connection client{path()};
    // From now on a thread waits for the next one.
    EXPECT_NE(client.call("get", stuck_).find("\"result\""), std::string::npos);
    write_tool("iwconfig", "echo $$ >>" + pids() + "\nexec sleep 1000\n");
    const std::string line = R"({"jsonrpc":"2.0","id":1,"method":"get","params":)" + stuck_ + "}\n";
    client.send(line + line + line);
    (void)wait_for_processes(3);
}

TEST_F(Tools, ThatHangAndIgnoreSignalsDoNotKeepTheDaemonFromEnding)
{
    const std::string deaf =
        "trap '' TERM INT HUP QUIT\necho $$ >>" + pids() + "\nwhile :; do sleep 1000; done\n";
    write_tool("iwconfig", deaf);
    write_tool("date", deaf);
    start_with_deadline("1000");
    const auto line = [](const std::string& id, const std::string& method, const std::string& params) {
        return R"({"jsonrpc":"2.0","id":")" + id + R"(","method":")" + method + R"(","params":)" + params +
               "}\n";
    };
    const std::string set = R"({"values":{"Device.Time.CurrentLocalTime":"2026-01-02 03:04:05"}})";
    Connection client{path()};
    client.send(line("get", "get", stuck_) + line("set", "set", set) + line("waits", "set", set));
    const std::vector<pid_t> pids = wait_for_processes(2);
    kill(pid_, SIGTERM);
    // All are answered, with what would not have begun before the tools end by themselves, and then it ends.
    std::vector<std::string> ids;
    for (std::string answer; (answer = client.receive()) != "(closed)";) {
        EXPECT_NE(answer.find(R"("error":{"code":-32005,)"), std::string::npos) << answer;
        ids.push_back(answer.substr(22, answer.find(',', 22) - 22));
    }
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<std::string>{"\"get\"", "\"set\"", "\"waits\""}));
    EXPECT_EQ(wait(), 0);
    wait_for_end_of(pids);
}

TEST_F(Tools, OfManyClientsHoldNobodyUp)
{
    start_with_deadline("1000");
    std::vector<std::unique_ptr<Connection>> stuck;
    for (int i = 0; i < 12; ++i) {
        stuck.push_back(std::make_unique<Connection>(path()));
        for (int j = 0; j < 20; ++j) {
            stuck.back()->send(R"({"jsonrpc":"2.0","id":1,"method":"get","params":)" + stuck_ + "}\n");
        }
    }
    (void)wait_for_processes(12);
    Connection other{path()};
    EXPECT_EQ(other.call("get", R"({"path":"syslog.level"})"), R"("result":{"values":{"syslog.level":6}})");
    EXPECT_EQ(other.call("set", R"({"values":{"Device.Time.CurrentLocalTime":"2026-01-02 03:04:05"}})"),
              R"("result":{"set":1})");
    EXPECT_EQ(stop(), 0) << "and they do not keep it from ending";
    wait_for_end_of(processes());
}

TEST_F(Tools, ThatHangInASetAreKilledAndTheNextOneIsServed)
{
    test::write_file(folder_ / "hang", "");
    Connection client{path()};
    const auto set = [](int id, const char* time) {
        return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
               R"(,"method":"set","params":{"values":{"Device.Time.CurrentLocalTime":")" + time + "\"}}}\n";
    };
    client.send(set(1, "2026-01-02 03:04:05") + set(2, "2026-01-02 03:04:06"));
    while (test::read_file(folder_ / "dates").empty()) {
        usleep(1000);
    }
    unlink((folder_ / "hang").c_str());
    EXPECT_NE(client.receive().find(R"("id":1,"error":{"code":-32002)"), std::string::npos);
    EXPECT_NE(client.receive().find(R"("id":2,"result")"), std::string::npos);
}

TEST_F(Tools, ASubscriberMayLeaveWhileHisValuesAreRead)
{
    start_with_deadline("1000");
    write_tool("iwconfig", "echo $$ >>" + pids() + "\nwhile [ -e " + (folder_ / "hang") +
                               " ]; do sleep 0.02; done\necho 'Access Point: 02:0C:43:26:60:00'\n");
    Connection subscriber{path()};
    EXPECT_NE(subscriber.call("subscribe", stuck_).find("\"values\""), std::string::npos);
    Connection other{path()};
    test::write_file(folder_ / "hang", "");
    EXPECT_EQ(other.call("set", R"({"values":{"syslog.level":5}})"), R"("result":{"set":1})");
    (void)wait_for_processes(2);
    subscriber.close();
    const auto wait_for = [&](const char* count) {
        std::string stats;
        while (stats.find(count) == std::string::npos) {
            ASSERT_NE(stats, "(closed)") << count;
            stats = other.call("stats", "{}");
        }
    };
    wait_for(R"("subscriptions":0)");
    unlink((folder_ / "hang").c_str());
    wait_for(R"("running":0)");
    EXPECT_EQ(other.call("get", R"({"path":"syslog.level"})"), R"("result":{"values":{"syslog.level":5}})");
}

TEST_F(Tools, ThatEndInTimeAnswer)
{
    write_tool("iwconfig", "echo 'Access Point: 02:0C:43:26:60:00'\n");
    Connection client{path()};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(client.call("get", stuck_),
                  R"("result":{"values":{"Device.WiFi.SSID.1.BSSID":"02:0C:43:26:60:00"}})");
    }
    const std::string stats = client.call("stats", "{}");
    EXPECT_NE(stats.find(R"("running":0,"waiting":0)"), std::string::npos);
    // What was put off because it needed a tool counts once, when it was served.
    EXPECT_NE(stats.find(R"({"path":"Device.WiFi.SSID","calls":3,"failures":0,)"), std::string::npos)
        << stats;
    EXPECT_NE(stats.find(R"({"program":"iwconfig","calls":3,"failures":0,)"), std::string::npos) << stats;
}

} // namespace
