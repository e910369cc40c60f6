// SPDX-License-Identifier: Apache-2.0
// Who may what, as the daemon judges it.
#include <grp.h>
#include <sys/stat.h>

#include "qscd/Running.h"

using test::Connection;

namespace
{

constexpr uid_t kStranger = 54321;
constexpr gid_t kGroup = 54322;

class Access : public test::Running
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root becomes somebody else";
        }
        chmod(folder_.operator/("").c_str(), 0755);
    }

    void allow(const std::string& rules, mode_t mode = 0644)
    {
        test::write_file(folder_ / "access", rules);
        chmod((folder_ / "access").c_str(), mode);
        if (pid_ > 0) {
            EXPECT_EQ(stop(), 0);
        }
        ASSERT_TRUE(start());
    }

    /// What a stranger is answered.
    std::string ask_as_stranger(const std::string& line)
    {
        int out[2];
        EXPECT_EQ(pipe(out), 0);
        const pid_t child = fork();
        if (child == 0) {
            const gid_t groups[] = {kGroup};
            if (setgroups(1, groups) == 0 && setgid(kStranger) == 0 && setuid(kStranger) == 0) {
                const std::string answer = Connection{path()}.ask(line);
                (void)!write(out[1], answer.data(), answer.size());
            }
            _exit(0);
        }
        close(out[1]);
        std::string answer(8192, '\0');
        answer.resize(static_cast<size_t>(std::max<ssize_t>(0, read(out[0], answer.data(), answer.size()))));
        close(out[0]);
        waitpid(child, nullptr, 0);
        return answer;
    }

    std::string as_stranger(const std::string& method, const std::string& params)
    {
        const std::string answer = ask_as_stranger(R"({"jsonrpc":"2.0","id":1,"method":")" + method +
                                                   R"(","params":)" + params + "}");
        const size_t start =
            answer.find(answer.find("\"error\"") != std::string::npos ? "\"code\"" : "\"result\"");
        return start == std::string::npos ? answer : answer.substr(start);
    }
};

TEST_F(Access, WithoutARuleNobodyElseMayAnything)
{
    allow("");
    EXPECT_NE(as_stranger("log", "{}").find("no rule of the access file speaks of you"), std::string::npos);
    EXPECT_NE(Connection{path()}.call("log", "{}").find("\"result\""), std::string::npos) << "root may";
}

TEST_F(Access, ADenialNamesTheRightThatIsMissing)
{
    allow("# who what\n"
          "user:54321  syslog.level        get,set,as:WEB\n"
          "group:54322 Device.WiFi.Radio.1 get # a comment\n"
          "*           Device.Time         commit\n");
    const std::string get_level = R"({"path":"syslog.level"})";
    EXPECT_EQ(as_stranger("get", get_level), R"("result":{"values":{"syslog.level":6}}})");
    const struct {
        const char* method;
        const char* params;
        const char* right;
        const char* path;
    } denied[] = {
        {"get", R"({"path":"syslog"})", "get", "syslog"},
        {"get", R"({"path":"syslog.levels"})", "get", "syslog.levels"},
        {"get", R"({"paths":["syslog.level","syslog.property"]})", "get", "syslog.property"},
        {"get", R"({"path":"Device."})", "get", "Device"},
        {"get", R"({"path":"Device.WiFi.Radio.10.Channel"})", "get", "Device.WiFi.Radio.10.Channel"},
        {"get", R"({"path":"Device.WiFi.Radio.*"})", "get", "Device.WiFi.Radio.*"},
        {"set", R"({"values":{"Device.WiFi.Radio.1.Channel":1}})", "set", "Device.WiFi.Radio.1.Channel"},
        {"set", R"({"values":{"syslog.level":7},"commander":"CLI"})", "as:CLI", "syslog.level"},
        {"service", R"({"path":"Device.Time","action":"restart"})", "service", "Device.Time"},
        {"request", R"({"path":"syslog.level","operation":262144,"request":{}})", "commit", "syslog.level"},
        {"request", R"({"path":"syslog.level","operation":16,"request":{}})", "get", "syslog.level"},
        {"log", "{}", "get", "syslog"},
    };
    for (const auto& [method, params, right, path] : denied) {
        const std::string data = std::string{R"("data":{"right":")"} + right + R"(","path":")" + path + "\"";
        const std::string answer = as_stranger(method, params);
        if (std::string_view{right} == "get" && std::string_view{method} == "request") {
            EXPECT_EQ(answer.substr(0, 13), R"("code":-32001)") << params;
        } else {
            EXPECT_NE(answer.find(data), std::string::npos) << params << ": " << answer;
        }
    }
    EXPECT_EQ(as_stranger("set", R"({"values":{"syslog.level":6},"commander":"WEB"})"),
              R"("result":{"set":1}})");
    EXPECT_NE(as_stranger("get", R"({"path":"Device.WiFi.Radio.1.Channel"})").find("\"result\""),
              std::string::npos);
}

TEST_F(Access, AFileThatOthersMayWriteOrThatIsWrongAllowsNothing)
{
    const std::string rule = "user:54321 * all\n";
    const std::string ask = R"({"path":"syslog.level"})";
    allow(rule);
    EXPECT_NE(as_stranger("get", ask).find("result"), std::string::npos);
    allow(rule, 0666);
    EXPECT_EQ(as_stranger("get", ask).find("result"), std::string::npos);
    for (const char* wrong : {"user:nobody-of-that-name * get", "user:1 * fly", "user:1 *", "user:1",
                              "all * get", "user:1 * get more", "user:1 * as:NOBODY"}) {
        allow(rule + wrong + "\n");
        EXPECT_EQ(as_stranger("get", ask).find("result"), std::string::npos) << wrong;
        while (log().find("access: line 2: ") == std::string::npos) {
            usleep(1000);
        }
        truncate(log_path().c_str(), 0);
    }
}

TEST_F(Access, IsReadAnewAfterSighup)
{
    allow("");
    test::write_file(folder_ / "access", "user:54321 * get\n");
    kill(pid_, SIGHUP);
    EXPECT_NE(Connection{path()}.call("log", "{}").find("\"result\""), std::string::npos);
    while (log().find("opened anew") == std::string::npos) {
        usleep(1000);
    }
    EXPECT_NE(as_stranger("get", R"({"path":"syslog.level"})").find("result"), std::string::npos);
}

} // namespace
