// SPDX-License-Identifier: Apache-2.0
// The clients for programs of others, against a daemon: the C header, and the Python module where there is
// Python.
#include "qscd/Running.h"
#include "tools/client/qsc_client.h"

namespace
{

using Header = test::Running;

TEST_F(Header, CallsAndKeepsWhatComesInBetween)
{
    QscClient client;
    const char* line = nullptr;
    ASSERT_EQ(QscClient_Open(&client, path().c_str()), 0);
    ASSERT_EQ(QscClient_Call(&client, "subscribe", R"({"path":"syslog.level"})", 5000, &line), 0);
    EXPECT_STREQ(
        line,
        R"({"jsonrpc":"2.0","id":1,"result":{"subscription":1,"sequence":0,"values":{"syslog.level":6}}})");
    unsigned long id = 0;
    ASSERT_EQ(QscClient_Send(&client, "set", R"({"values":{"syslog.level":5},"commander":"WEB"})", &id), 0);
    // The answer of the set and the event come before the answer that is waited for here.
    std::string before;
    do {
        ASSERT_EQ(QscClient_Call(&client, "get", R"({"path":"syslog.level"})", 5000, &line), 0);
        before = line;
    } while (before.find(R"("syslog.level":5)") == std::string::npos);
    std::vector<std::string> others;
    while (others.size() < 2) {
        ASSERT_EQ(QscClient_Receive(&client, 5000, &line), 0);
        others.emplace_back(line);
    }
    std::sort(others.begin(), others.end());
    EXPECT_EQ(others[0], R"({"jsonrpc":"2.0","id":2,"result":{"set":1}})");
    EXPECT_EQ(others[1],
              R"({"jsonrpc":"2.0","method":"event","params":{"subscription":1,"sequence":1,"type":"changed",)"
              R"("path":"syslog.level","old":6,"new":5,"by":"WEB"}})");
    EXPECT_EQ(QscClient_Receive(&client, 0, &line), EAGAIN);
    pollfd waiting{QscClient_Fd(&client), POLLIN, 0};
    ASSERT_EQ(QscClient_Send(&client, "log", nullptr, &id), 0);
    EXPECT_EQ(poll(&waiting, 1, 5000), 1);
    EXPECT_EQ(QscClient_Receive(&client, 0, &line), 0);
    EXPECT_EQ(QscClient_Send(&client, "get", "{\n}", &id), EINVAL);
    EXPECT_EQ(stop(), 0);
    int code = 0;
    while ((code = QscClient_Receive(&client, 5000, &line)) == 0) {
    }
    EXPECT_EQ(code, EPIPE);
    QscClient_Close(&client);
    EXPECT_EQ(QscClient_Open(&client, path().c_str()), ENOENT);
    QscClient_Close(&client);
}

TEST_F(Header, TakesAnswersOfEveryLength)
{
    QscClient client;
    const char* line = nullptr;
    ASSERT_EQ(QscClient_Open(&client, path().c_str()), 0);
    for (int i = 0; i < 100; ++i) {
        unsigned long id = 0;
        ASSERT_EQ(QscClient_Send(&client, i % 2 == 0 ? "list" : "log", nullptr, &id), 0);
        ASSERT_EQ(QscClient_Call(&client, i % 3 == 0 ? "list" : "log", nullptr, 5000, &line), 0);
        EXPECT_NE(strstr(line, i % 3 == 0 ? "\"tables\"" : "\"level\""), nullptr);
        ASSERT_EQ(QscClient_Receive(&client, 5000, &line), 0);
        EXPECT_NE(strstr(line, i % 2 == 0 ? "\"tables\"" : "\"level\""), nullptr);
    }
    QscClient_Close(&client);
}

TEST_F(Header, ThePythonModuleSpeaksToIt)
{
    const std::string script = R"(
import sys, qsc
with qsc.Client(sys.argv[1], timeout=20, commander="WEB") as router:
    assert router.get("syslog.level") == {"syslog.level": 6}
    assert router.types("syslog.level").keys() == {"syslog.level"}
    snapshot = router.subscribe("syslog.level")
    assert snapshot["values"] == {"syslog.level": 6}, snapshot
    assert router.set({"syslog.level": 4}) == {"set": 1}
    event = next(router.events(timeout=20))
    assert (event["old"], event["new"], event["by"]) == (6, 4, "WEB"), event
    assert router.log(level=6)["level"] == 6
    assert router.stats()["subscriptions"] == 1
    router.unsubscribe(snapshot["subscription"])
    assert list(router.events(timeout=0)) == []
    assert [table["path"] for table in router.list("syslog")] == ["syslog"]
    try:
        router.get("Nowhere")
        assert False
    except qsc.Error as error:
        assert error.code == -32000 and error.failed[0]["cwmp"] == 9005, error
print("fine")
)";
    test::write_file(folder_ / "client.py", script);
    if (system("python3 -c 'import json' 2>/dev/null") != 0) {
        GTEST_SKIP() << "there is no Python";
    }
    FILE* const pipe = popen(("PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=" QSC_SOURCE "/tools/python python3 " +
                              (folder_ / "client.py") + " " + path() + " 2>&1")
                                 .c_str(),
                             "r");
    char said[2048] = {};
    (void)!fread(said, 1, sizeof said - 1, pipe);
    pclose(pipe);
    EXPECT_STREQ(said, "fine\n");
}

} // namespace
