// SPDX-License-Identifier: Apache-2.0
// Many requests and connections: what the daemon holds afterwards is what it held before. QSC_STRESS_ROUNDS
// makes it longer: 20 are a million requests and ten thousand connections.
#include "qscd/Running.h"

using test::Connection;

namespace
{

class Soak : public test::RunningWithTools
{
  protected:
    void SetUp() override
    {
        write_tool("iwconfig", "echo 'Access Point: 02:0C:43:26:60:00'\n");
        write_tool("date", "exit 0\n");
        start();
    }
};

/// The memory of a process that is its own, in KiB.
long resident(pid_t pid)
{
    const std::string status = test::read_file("/proc/" + std::to_string(pid) + "/status");
    const size_t place = status.find("RssAnon:");
    return place == std::string::npos ? 0 : std::stol(status.substr(place + 8));
}

void ask_much(const std::string& path, int requests, int connections)
{
    const std::string lines[] = {
        R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"path":"syslog.level"}})",
        R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"paths":["syslog","help"],"types":true}})",
        R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"path":"Nowhere"}})",
        R"({"jsonrpc":"2.0","id":1,"method":"list"})",
        R"({"jsonrpc":"2.0","id":1,"method":"set","params":{"values":{"syslog.level":6}}})",
        R"({"jsonrpc":"2.0","id":1,"method":"subscribe","params":{"path":"syslog.level"}})",
        R"({"jsonrpc":"2.0","id":1,"method":"stats"})",
        "nonsense",
    };
    // Tools take long, so every fourth connection has one started, by a get or by a set.
    const std::string with_tools[] = {
        R"({"jsonrpc":"2.0","id":1,"method":"get","params":{"path":"Device.WiFi.SSID.1.BSSID"}})",
        R"({"jsonrpc":"2.0","id":1,"method":"set","params":{"values":{"Device.Time.CurrentLocalTime":"2026-01-02 03:04:05"}}})",
    };
    for (int i = 0; i < connections; ++i) {
        Connection client{path};
        if (i % 4 == 0) {
            const std::string& line = with_tools[static_cast<size_t>(i / 4) % std::size(with_tools)];
            ASSERT_NE(client.ask(line).find("\"result\""), std::string::npos);
        }
        for (int j = 0; j < requests / connections; ++j) {
            ASSERT_NE(client.ask(lines[static_cast<size_t>(i + j) % std::size(lines)]), "(closed)");
        }
    }
}

TEST_F(Soak, NeitherRequestsNorConnectionsLeaveAnythingBehind)
{
    const char* const given = getenv("QSC_STRESS_ROUNDS");
    const int rounds = given != nullptr ? std::max(1, atoi(given)) : 0;
    const int requests = rounds != 0 ? rounds * 50000 : 1600;
    const int connections = rounds != 0 ? rounds * 500 : 40;
    // What is made once is made.
    ask_much(path(), 1600, 40);
    const long before = resident(pid_);
    ask_much(path(), requests, connections);
    const long growth = resident(pid_) - before;
    printf("%d requests, %d connections: %ld KiB more than %ld\n", requests, connections, growth, before);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LE(growth, 256);
#endif
}

} // namespace
