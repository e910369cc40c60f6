// SPDX-License-Identifier: Apache-2.0
// The daemon on a real bus, asked by ubus's own program.
#include <sys/stat.h>

#include "qscd/Running.h"

#ifndef QSC_UBUSD
#define QSC_UBUSD ""
#define QSC_UBUS ""
#endif

namespace
{

class Ubus : public test::Running
{
  protected:
    void SetUp() override
    {
        if (*QSC_UBUSD == '\0') {
            GTEST_SKIP() << "the daemon is built without ubus, or there is no ubusd";
        }
        start_bus();
        ASSERT_TRUE(start({"--ubus", bus_path(), "--deadline", "1"}));
        EXPECT_EQ(ask("-t 30 wait_for qsc"), "");
    }

    void TearDown() override
    {
        Running::TearDown();
        if (bus_ > 0) {
            stop_bus();
        }
    }

    void start_bus()
    {
        bus_ = fork();
        if (bus_ == 0) {
            execl(QSC_UBUSD, QSC_UBUSD, "-s", bus_path().c_str(), nullptr);
            _exit(127);
        }
        struct stat status {
        };
        while (stat(bus_path().c_str(), &status) != 0) {
            usleep(1000);
        }
    }

    void stop_bus()
    {
        kill(bus_, SIGKILL);
        waitpid(bus_, nullptr, 0);
        unlink(bus_path().c_str());
        bus_ = -1;
    }

    /// What the program prints and ends with.
    [[nodiscard]] std::string ask(const std::string& command) const
    {
        FILE* const pipe = popen((QSC_UBUS " -S -s " + bus_path() + " " + command + " 2>&1").c_str(), "r");
        std::string said;
        char part[4096];
        for (size_t count = 0; (count = fread(part, 1, sizeof part, pipe)) > 0;) {
            said.append(part, count);
        }
        const int status = WEXITSTATUS(pclose(pipe));
        return status == 0 ? said : said + "status " + std::to_string(status) + "\n";
    }

    [[nodiscard]] std::string call(const std::string& method, const std::string& params) const
    {
        return ask("call qsc " + method + " '" + params + "'");
    }

    [[nodiscard]] std::string bus_path() const { return folder_ / "bus"; }

    pid_t bus_ = -1;
};

TEST_F(Ubus, AnswersAsOverTheSocket)
{
    const struct {
        const char* method;
        const char* params;
        const char* answer;
    } cases[] = {
        {"get", R"({"path":"syslog"})", R"({"values":{"syslog.level":6,"syslog.property":1}})"},
        {"get", R"({"paths":["syslog.property","syslog.level"],"types":true})",
         R"({"values":{"syslog.property":1,"syslog.level":6},)"
         R"("types":{"syslog.property":"unsignedInt","syslog.level":"unsignedInt"}})"},
        {"get", R"({"path":"syslog","limit":20})",
         R"({"values":{"syslog.level":6},"next":"syslog.property"})"},
        {"set", R"({"values":{"syslog.level":5},"commander":"WEB"})", R"({"set":1})"},
        {"log", "{}", R"({"level":5,"properties":1})"},
        {"get", R"({"path":"syslog.nope"})",
         R"({"error":{"code":-32000,"message":"syslog.nope: there is no such parameter","data":{"failed":[{)"
         R"("path":"syslog.nope","message":"there is no such parameter","code":22,"cwmp":9005,"usp":7026}]}}})"
         "\nstatus 9"},
        {"get", R"({"path":7})",
         R"({"error":{"code":-32602,"message":"path: a text such as \"Device.Time\", or paths: a list of them"}})"
         "\nstatus 2"},
        {"get", R"({"path":"syslog","depth":1.5})",
         R"({"error":{"code":-32602,"message":"depth: a number from 0 to 64"}})"
         "\nstatus 2"},
        {"get", R"({"nested":[[{"a":[null,true,-1,5000000000,"x"]}]]})",
         R"({"error":{"code":-32602,"message":"there is no parameter \"nested\" of this method"}})"
         "\nstatus 2"},
    };
    for (const auto& [method, params, answer] : cases) {
        EXPECT_EQ(call(method, params), answer + std::string{"\n"}) << params;
    }
}

TEST_F(Ubus, IsJoinedAgainWhenItComesBack)
{
    for (int i = 0; i < 2; ++i) {
        stop_bus();
        EXPECT_EQ(test::Connection{path()}.call("get", R"({"path":"syslog.level"})"),
                  R"("result":{"values":{"syslog.level":6}})")
            << "without it the socket goes on";
        start_bus();
        EXPECT_EQ(ask("-t 30 wait_for qsc"), "");
        EXPECT_EQ(call("get", R"({"path":"syslog.level"})"), "{\"values\":{\"syslog.level\":6}}\n");
    }
}

} // namespace
