// SPDX-License-Identifier: Apache-2.0
// Who may make changes as one and decide on them, and what the daemon takes for a request of that.
#include <sched.h>
#include <sys/mount.h>

#include "qscd/Running.h"

using test::Connection;

namespace
{

/// A daemon with an /etc and a /var/run of its own, where a change of user 4243 waits.
class Applies : public test::Running
{
  protected:
    void SetUp() override
    {
        if (geteuid() != 0) {
            GTEST_SKIP() << "only root can become somebody else";
        }
        chmod((folder_ / "").c_str(), 0755);
        test::write_file(folder_ / "access", "user:4242 Device.X_QRN_RemoteLog get,set\n"
                                             "user:4243 Device.X_QRN_RemoteLog set,commit,service\n");
        chmod((folder_ / "access").c_str(), 0644);
        ASSERT_TRUE(start());
    }

    void prepare_child() override
    {
        const std::string boot = test::read_file("/proc/sys/kernel/random/boot_id").substr(0, 36);
        if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("none", "/etc", "tmpfs", 0, nullptr) != 0 ||
            mount("none", "/var/run", "tmpfs", 0, nullptr) != 0 || mkdir("/etc/qsyscmdhal", 0700) != 0) {
            _exit(126);
        }
        test::write_file(
            "/etc/qsyscmdhal/checkpoint",
            R"({"id":"a","ids":{"a":null},"user":4243,"peer":"user 4243","commander":2,"state":"open",)"
            R"("seconds":60,"deadline":9007199254740991,"packages":{},"files":{},"boot":")" +
                boot + "\"}");
    }

    /// What a user is answered, up to where the data begins.
    std::string ask(uid_t user, const std::string& method, const std::string& params)
    {
        EXPECT_EQ(seteuid(user), 0);
        Connection client{path()};
        EXPECT_EQ(seteuid(0), 0);
        const std::string answer = client.call(method, params);
        return answer.substr(0, answer.find(",\"data\""));
    }
};

std::string refusal(int code, const std::string& message)
{
    return R"("error":{"code":)" + std::to_string(code) + R"(,"message":")" + message + "\"";
}

TEST_F(Applies, NeedTheRightsToSetCommitAndRestartEachPath)
{
    const std::string values = R"({"values":{"Device.X_QRN_RemoteLog.Port":99})";
    const std::string lacks = "; rules for users and groups stand in the access file";
    for (const char* method : {"apply", "plan"}) {
        EXPECT_EQ(
            ask(4242, method, values + "}"),
            refusal(-32001, R"(you lack the right \"commit\" for Device.X_QRN_RemoteLog.Port)" + lacks));
        EXPECT_EQ(ask(4243, method, R"({"changes":[{"path":"Device.Time","commit":{}}]})"),
                  refusal(-32001, R"(you lack the right \"set\" for Device.Time)" + lacks));
    }
    EXPECT_EQ(
        ask(4243, "apply", values + R"(,"checks":["dns","true"]})") + "}",
        refusal(-32001,
                "only root may name a program as a check; others may use gateway, dns and url:ADDRESS") +
            "}}");
    EXPECT_EQ(ask(4243, "apply", values + R"(,"commander":"CLI"})"),
              refusal(-32001, R"(you lack the right \"as:CLI\" for Device.X_QRN_RemoteLog.Port)" + lacks));
    // Everyone has these rights, but not while another commander's change waits.
    EXPECT_EQ(ask(4243, "apply", values + "}"),
              refusal(-32000, "apply: an unconfirmed change of WEB (a) is open for 4294967295 s"));
}

TEST_F(Applies, AreDecidedOnByTheirOwnerAndByRoot)
{
    for (const char* method : {"confirm", "extend", "cancel"}) {
        EXPECT_EQ(ask(4242, method, R"({"id":"a","seconds":5})").substr(0, 23),
                  std::string{method} == "extend" ? R"("error":{"code":-32001,)"
                                                  : R"("error":{"code":-32602,)");
        EXPECT_EQ(ask(4242, method,
                      std::string{method} == "extend" ? R"({"id":"a","seconds":5})" : R"({"id":"a"})"),
                  refusal(-32001, "only the user who has made the change, or root, decides on it") + "}");
    }
    EXPECT_EQ(ask(0, "extend", R"({"id":"a","seconds":70})"), R"("result":{"extended":"a","seconds":70})");
    EXPECT_EQ(ask(4243, "confirm", R"({"id":"a"})"), R"("result":{"confirmed":"a"})");
    EXPECT_EQ(ask(4243, "confirm", R"({"id":"a"})"), refusal(-32000, "a: nothing waits to be confirmed"));
}

TEST_F(Applies, AreRefusedWhereTheyAreNoRequests)
{
    const std::string form =
        R"(changes: a list of {\"path\": text, and one of \"set\", \"commit\" and \"service\": object})";
    const struct {
        const char* method;
        const char* params;
        std::string message;
    } cases[] = {
        {"apply", "{}", R"(values: an object such as {\"Device.X_QRN_RemoteLog.Port\": 514})"},
        {"apply", R"({"changes":[]})", "values: an object, or changes: a list"},
        {"apply", R"({"changes":[7]})", form},
        {"apply", R"({"changes":[{"path":"Device.Time"}]})", form},
        {"plan", R"({"changes":[{"path":"Device.Time","set":{},"commit":{}}]})", form},
        {"plan", R"({"values":{"Device.Time.Enable":1},"confirm":5})",
         R"(there is no parameter \"confirm\" of this method)"},
        {"confirm", "{}", "id: that of the change, as pending shows it"},
        {"extend", R"({"id":"a"})", "seconds: counted from now"},
        {"extend", R"({"id":"a","seconds":604801})", "seconds: a number from 0 to 604800"},
    };
    for (const auto& [method, params, message] : cases) {
        EXPECT_EQ(ask(0, method, params), refusal(-32602, message) + "}") << params;
    }
    EXPECT_EQ(ask(0, "apply", R"({"changes":[{"path":"Nowhere","set":{}}]})"),
              refusal(-32000, "Nowhere: there is no such path"));
}

} // namespace
