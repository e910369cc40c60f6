// SPDX-License-Identifier: Apache-2.0
// What subscribers hear, who hears what, and what makes the daemon look.
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <json-c/json.h>

#include "qscd/Running.h"

using test::Connection;

namespace
{

class Events : public test::Running
{
  protected:
    static std::string member(const std::string& line, const char* name)
    {
        json_object* const message = json_tokener_parse(line.c_str());
        json_object* params = nullptr;
        json_object* value = nullptr;
        json_object_object_get_ex(message, "params", &params);
        const bool is_there = json_object_object_get_ex(params, name, &value) != 0;
        const std::string text = is_there ? json_object_get_string(value) : "";
        json_object_put(message);
        return text;
    }

    /// No one announces it, and it changes every second.
    const std::string up_time_ = "Device.DeviceInfo.UpTime";
};

TEST_F(Events, ThatASlowClientLosesAreCountedInTheOrderOfTheOthers)
{
    ASSERT_EQ(stop(), 0);
    ASSERT_TRUE(start({"--patience", "1000"}));
    Connection slow{path()};
    Connection other{path()};
    EXPECT_NE(slow.call("subscribe", R"({"path":"syslog.level"})").find("\"sequence\":0"), std::string::npos);
    Connection quick{path()};
    EXPECT_NE(quick.call("subscribe", R"({"path":"syslog.level"})").find("\"sequence\":0"),
              std::string::npos);
    // Each is sent before the next is made, which the quick client shows.
    constexpr u_long kChanges = 3000;
    for (u_long i = 1; i <= kChanges; ++i) {
        ASSERT_EQ(other.call("set", R"({"values":{"syslog.level":)" + std::to_string(i % 2) + "}}"),
                  R"("result":{"set":1})");
        ASSERT_EQ(member(quick.receive(), "sequence"), std::to_string(i));
    }
    u_long sequence = 0;
    u_long lost = 0;
    while (sequence < kChanges) {
        const std::string event = slow.receive();
        const u_long number = strtoul(member(event, "sequence").c_str(), nullptr, 10);
        const u_long count = strtoul(member(event, "count").c_str(), nullptr, 10);
        EXPECT_EQ(member(event, "type"), count != 0 ? "lost" : "changed");
        ASSERT_EQ(number, sequence + (count != 0 ? count : 1)) << event;
        sequence = number;
        lost += count;
    }
    EXPECT_GT(lost, 0U);
    EXPECT_EQ(other.call("set", R"({"values":{"syslog.level":7}})"), R"("result":{"set":1})");
    EXPECT_EQ(member(slow.receive(), "sequence"), std::to_string(kChanges + 1)) << "and it goes on";
}

TEST_F(Events, OfValuesThatNoOneAnnouncesComeAtTheIntervalThatWasAskedFor)
{
    Connection client{path()};
    const std::string params = R"({"path":")" + up_time_ + R"(","interval":1})";
    EXPECT_NE(client.call("subscribe", params).find("\"result\""), std::string::npos);
    for (int i = 0; i < 2; ++i) {
        const std::string event = client.receive();
        EXPECT_EQ(member(event, "type") + " " + member(event, "path") + " " + member(event, "by"),
                  "changed " + up_time_ + " others");
    }
}

TEST_F(Events, AreOnlyForThoseWhoMayWatchThePath)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become somebody else";
    }
    ASSERT_EQ(stop(), 0);
    chmod((folder_ / "").c_str(), 0755);
    test::write_file(folder_ / "access", "user:4242 syslog.level get,watch\nuser:4242 syslog.property get\n");
    chmod((folder_ / "access").c_str(), 0644);
    ASSERT_TRUE(start());
    ASSERT_EQ(seteuid(4242), 0);
    Connection client{path()};
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_NE(client.call("subscribe", R"({"path":"syslog.property"})").find(R"("right":"watch")"),
              std::string::npos);
    EXPECT_NE(client.call("subscribe", R"({"path":"syslog.level"})").find("\"result\""), std::string::npos);
    Connection master{path()};
    EXPECT_EQ(master.call("set", R"({"values":{"syslog.level":3}})"), R"("result":{"set":1})");
    EXPECT_EQ(member(client.receive(), "new"), "3");
    // The right is taken away: what happens from then on is not for this client.
    test::write_file(folder_ / "access", "user:4242 syslog.level get\n");
    kill(pid_, SIGHUP);
    while (client.call("subscribe", R"({"path":"syslog.level"})").find(R"("right":"watch")") ==
           std::string::npos) {
    }
    EXPECT_EQ(master.call("set", R"({"values":{"syslog.level":4}})"), R"("result":{"set":1})");
    EXPECT_EQ(client.call("get", R"({"path":"syslog.level"})"), R"("result":{"values":{"syslog.level":4}})");
}

/// In a network of its own.
class NetworkEvents : public Events
{
  protected:
    void SetUp() override {}

    void prepare_child() override
    {
        if (unshare(CLONE_NEWNET) != 0) {
            _exit(126);
        }
    }

    /// Switches the loopback interface of the daemon's network on or off.
    void set_link(bool is_up) const
    {
        const pid_t child = fork();
        if (child == 0) {
            const int network = open(("/proc/" + std::to_string(pid_) + "/ns/net").c_str(), O_RDONLY);
            ifreq request{};
            memcpy(request.ifr_name, "lo", 3);
            request.ifr_flags = is_up ? IFF_UP : 0;
            const bool is_done = setns(network, CLONE_NEWNET) == 0 &&
                                 ioctl(socket(AF_INET, SOCK_DGRAM, 0), SIOCSIFFLAGS, &request) == 0;
            _exit(is_done ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        ASSERT_EQ(status, 0);
    }
};

TEST_F(NetworkEvents, OfTheKernelHaveTheValuesReadAgain)
{
    if (!start()) {
        (void)wait();
        GTEST_SKIP() << "there are no network namespaces here";
    }
    Connection client{path()};
    EXPECT_NE(client.call("subscribe", R"({"path":")" + up_time_ + "\"}").find("\"result\""),
              std::string::npos);
    bool is_up = false;
    pollfd waiting{client.descriptor(), POLLIN, 0};
    do {
        is_up = !is_up;
        set_link(is_up);
    } while (poll(&waiting, 1, 100) == 0);
    EXPECT_EQ(member(client.receive(), "path"), up_time_);
}

} // namespace
