// SPDX-License-Identifier: Apache-2.0
// The built-in commands, called as a host does.
#include <json-c/json.h>

#include "qsc_dhcpv4_client.h"
#include "qsc_handlers.h"
#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

json_object* g_served; // by the call under test

/// Records an event, with the code that is in the object by then.
uint64_t record_event(uint64_t event, uint64_t)
{
    outside().done.push_back(
        "callback " + std::to_string(event) + " with ParamId " +
        std::to_string(json_object_get_int(json_object_object_get(g_served, "ParamId"))));
    return 0;
}

} // namespace

class BuiltIn : public OutsideTest
{
};

TEST_F(BuiltIn, EveryHandlerEndsWithItsCodeAndOneEvent)
{
    g_QSysCmdHalCb = record_event;
    const Lines event{"callback 4 with ParamId 0"};
    const struct {
        Qsc_Handler handler;
        Lines done;
    } cases[] = {
        {Qsc_FunHelp_Do_List, event},
        {Qsc_Version_Do_HalVer, event},
        {Qsc_SysLog_Do_Level, event},
        {Qsc_SysLog_Do_Property, event},
        {Qsc_Dev_X_QRN_Remote_Log_Do_Port, event},
        {Qsc_Dev_X_QRN_Remote_Log_Commit, {"commit system", event[0]}},
        {Qsc_DhcpV4Client_Commit, {"commit qrndhcpopts", event[0], "sync"}},
    };
    for (const auto& [handler, done] : cases) {
        outside().done.clear();
        const Json object{R"({"function":[],"ParamId":9})"};
        g_served = object.get();
        EXPECT_EQ(handler("x", object.get(), kGet, 8, 0, 0), Succeeds());
        EXPECT_EQ(outside().done, done);
        for (const char* wrong : {"null", "[]", "\"x\""}) {
            outside().done.clear();
            const Json value{wrong};
            EXPECT_EQ(handler("x", value.get(), kGet, 8, 0, 0), Fails(EINVAL));
            EXPECT_TRUE(outside().done.empty()) << "neither commits nor tells the host";
        }
    }
    const Json object{R"({"ParamId":9})"};
    g_served = object.get();
    outside().done.clear();
    EXPECT_EQ(Qsc_Dev_X_QRN_Remote_Log_Service("x", object.get()), Fails(EFAULT));
    EXPECT_EQ(object.text(), R"({"ParamId":14})");
    EXPECT_EQ(outside().done, Lines{"callback 4 with ParamId 14"});
    EXPECT_EQ(Qsc_Dev_X_QRN_Remote_Log_Service("x", nullptr), Fails(EINVAL));
}

TEST_F(BuiltIn, HandlersRefuseOperationsTheyDoNotServe)
{
    EXPECT_EQ(call(Qsc_Version_Do_FwVer, kSet, "{}"), Fails(EFAULT, R"({"ParamId":14})"));
    EXPECT_EQ(call(Qsc_SysLog_Do_Level, kCommit, "{}"), Fails(EFAULT, R"({"ParamId":14})"));
    EXPECT_EQ(call(Qsc_Dev_X_QRN_Remote_Log_Do_Port, 0x4, "{}"), Fails(EFAULT, R"({"ParamId":14})"));
    EXPECT_EQ(call(Qsc_FunHelp_Do_List, kSet, "{}"), Fails(EINVAL, R"({"ParamId":22})"))
        << "help alone answers 22";
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] operation not support (0x2)\n"},
                                                    {3, "[E] operation not support (0x40000)\n"},
                                                    {3, "[E] operation not support (0x4)\n"},
                                                    {3, "[E] operation not support (0x2)\n"}}));
}

TEST_F(BuiltIn, HelpListsEverySubtree)
{
    for (const char* empty :
         {R"({"list":{}})", R"({"list":{"function":[]}})", R"({"list":{"function":[5,{}]}})",
          R"({"list":{"function":[{"name":"","id":-1}]}})"}) {
        const Json object{empty};
        EXPECT_EQ(request("help", kGet, object.get()), Succeeds()) << empty;
        json_object* const list =
            json_object_object_get(json_object_object_get(object.get(), "list"), "function");
        const size_t length = json_object_array_length(list);
        ASSERT_GE(length, 61u) << empty;
        EXPECT_STREQ(json_object_to_json_string_ext(json_object_array_get_idx(list, length - 1), 0),
                     R"({"id":60,"name":"Device.X_QRN_nDPI"})");
        EXPECT_STREQ(json_object_to_json_string_ext(json_object_array_get_idx(list, length - 61), 0),
                     R"({"id":0,"name":"help"})");
    }
}

TEST_F(BuiltIn, HelpCompletesElements)
{
    const struct {
        const char* list;
        Answer answer;
    } cases[] = {
        {R"([{"name":"Device.DeviceInfo.MemoryStatus"}])",
         Answers(R"([{"name":"Device.DeviceInfo.MemoryStatus","id":9}])")},
        {R"([{"name":"Device.X_QRN_VPN.3","id":-1}])", Answers(R"([{"name":"Device.X_QRN_VPN.3","id":51}])")},
        {R"([{"id":0,"name":""},7,null])", Answers(R"([{"id":0,"name":"help"},7,null])")},
        {R"([{"id":null,"name":"version"}])", Answers(R"([{"name":"version","id":1}])")},
        {R"([{"id":2,"name":null}])", Answers(R"([{"id":2,"name":"syslog"}])")},
        {R"([{"id":7}])", Answers(R"([{"id":7,"name":"Device.DeviceInfo"}])")},
        {R"([{"id":99,"name":"left alone"}])", Answers(R"([{"id":99,"name":"left alone"}])")},
        {R"([{"id":4},{"name":"Device.Foo"},{"id":5}])",
         Fails(EFAULT, R"([{"id":4,"name":"Device.Time"},{"name":"Device.Foo"},{"id":5}])")},
        {R"([{"id":61}])", Fails(EFAULT, R"([{"id":61}])")},
        {R"([{"id":4294967295}])", Fails(EFAULT, R"([{"id":4294967295}])")},
        {R"([{"id":-2}])", Fails(EFAULT, R"([{"id":-2}])")},
        {R"([{"id":"4"}])", Fails(EFAULT, R"([{"id":"4"}])")},
        {R"({"id":4})", Fails(EINVAL, R"({"id":4})")},
        {R"(null)", Fails(EINVAL, R"(null)")},
    };
    for (const auto& [list, answer] : cases) {
        const Json object{std::string{R"({"function":)"} + list + "}"};
        const uint32_t code = Qsc_FunHelp_Do_List("help", object.get(), kGet, 8, 0, 0);
        EXPECT_EQ((Answer{code, Answer{code, object.text()}.member("function")}), answer);
    }
}

TEST_F(BuiltIn, VersionsComeFromTheEntryThenTheHost)
{
    Qsc_CommandEntry& row = g_QSysCmdHalCmd[1];
    EXPECT_EQ(call(Qsc_Version_Do_HalVer, kGet, R"({"version":"old"})"),
              Answers(R"({"version":"0.0.1","ParamId":0})"));
    EXPECT_EQ(call(Qsc_Version_Do_FwVer, kGet, R"({"version":5})"), Answers(R"({"version":"","ParamId":0})"));

    const Qsc_VersionRecord record{"fw 1", nullptr};
    row.reserved = reinterpret_cast<uintptr_t>(&record);
    EXPECT_EQ(call(Qsc_Version_Do_FwVer, kGet, "{}"), Answers(R"({"version":"fw 1","ParamId":0})"));
    EXPECT_EQ(call(Qsc_Version_Do_ProgVer, kGet, "{}"), Answers(R"({"version":"","ParamId":0})"));
    EXPECT_EQ(call(Qsc_Version_Do_FwVer, kGet, "{}", reinterpret_cast<uintptr_t>("own")),
              Answers(R"({"version":"own","ParamId":0})"));
    EXPECT_EQ(call(Qsc_Version_Do_FwVer, kGet, "{}", reinterpret_cast<uintptr_t>("")),
              Answers(R"({"version":"fw 1","ParamId":0})"));
    const Json all{"{}"};
    EXPECT_EQ(request("version", kGet, all.get()), Succeeds());
    EXPECT_EQ(all.text(), R"({"halver":{"version":"0.0.1","ParamId":0},"progver":{"version":"","ParamId":0},)"
                          R"("fwver":{"version":"fw 1","ParamId":0}})");
    row.reserved = 0;
}

TEST_F(BuiltIn, LogSettingsTakeNumbersBelowEight)
{
    const struct {
        const char* value;
        Answer answer;
        uint32_t level;
    } cases[] = {
        {"6", Answers(R"({"ParamValue":6,"ParamId":0})"), 6},
        {"\"+7\"", Answers(R"({"ParamValue":"+7","ParamId":0})"), 7},
        {"true", Answers(R"({"ParamValue":true,"ParamId":0})"), 1},
        {"8", Fails(EFAULT, R"({"ParamValue":8,"ParamId":14})"), 1},
        {"-1", Fails(EFAULT, R"({"ParamValue":-1,"ParamId":14})"), 1},
        {"4294967297", Fails(EFAULT, R"({"ParamValue":4294967297,"ParamId":14})"), 1},
        {"\"07\"", Fails(EFAULT, R"({"ParamValue":"07","ParamId":14})"), 1},
        {"\"0x3\"", Fails(EFAULT, R"({"ParamValue":"0x3","ParamId":14})"), 1},
        {"\"\"", Fails(EFAULT, R"({"ParamValue":"","ParamId":14})"), 1},
        {"2.0", Fails(EFAULT, R"({"ParamValue":2.0,"ParamId":14})"), 1},
        {"null", Fails(EFAULT, R"({"ParamValue":null,"ParamId":14})"), 1},
        {"[3]", Fails(EFAULT, R"({"ParamValue":[3],"ParamId":14})"), 1},
    };
    for (const auto& [value, answer, level] : cases) {
        EXPECT_EQ(call(Qsc_SysLog_Do_Level, kSet, value_of(value)), answer);
        EXPECT_EQ(Qslog_GetLogLevel(), level) << value;
    }
    EXPECT_EQ(call(Qsc_SysLog_Do_Level, kSet, "{}"), Fails(EINVAL, R"({"ParamId":22})"));
    EXPECT_EQ(call(Qsc_SysLog_Do_Property, kSet, R"({"ParamValue":3})"),
              Answers(R"({"ParamValue":3,"ParamId":0})"));
    EXPECT_EQ(call(Qsc_SysLog_Do_Property, kGet, R"({"ParamValue":"text"})"),
              Answers(R"({"ParamValue":3,"ParamId":0})"));
    EXPECT_EQ(outside().events, (Lines{R"("Status":"n","Msg":"set log level 6 by CLI")",
                                       R"("Status":"n","Msg":"set log level 7 by CLI")",
                                       R"("Status":"n","Msg":"set log level 1 by CLI")",
                                       R"("Status":"n","Msg":"set log property 0x3 by CLI")"}));
}

TEST_F(BuiltIn, RemoteLogReadsMissingKeysAsEmpty)
{
    outside().uci = {{"system.@system[0].log_remote", "1"},
                     {"system.@system[0].log_ip", std::string(127, 'x')}};
    const Json object{"{}"};
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kGet, object.get()), Succeeds());
    const auto answer = [&](const char* name) {
        return std::string{json_object_get_string(
            json_object_object_get(json_object_object_get(object.get(), name), "ParamValue"))};
    };
    EXPECT_EQ(answer("Enable"), "1");
    EXPECT_EQ(answer("Server"), std::string(127, 'x'));
    EXPECT_EQ(answer("Protocol") + answer("Port") + answer("Prefix"), "");
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{4, "[W] system.@system[0].log_proto not found\n"},
                                                    {4, "[W] system.@system[0].log_port not found\n"},
                                                    {4, "[W] system.@system[0].log_prefix not found\n"}}));
}

TEST_F(BuiltIn, RemoteLogSetStoresAndRecords)
{
    const Json object{
        R"({"Prefix":{"ParamValue":""},"Server":{"ParamValue":"192.0.2.7"},"Port":{"ParamValue":514}})"};
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kSet, object.get(), 0x3), Succeeds());
    EXPECT_EQ(outside().done,
              (Lines{"set system.@system[0].log_ip=192.0.2.7", "set system.@system[0].log_port=514",
                     "set system.@system[0].log_prefix="}));
    EXPECT_EQ(outside().events, (Lines{R"("Status":"n","Msg":"set Remote Log Server 192.0.2.7 by UNKNOWN")",
                                       R"("Status":"n","Msg":"set Remote Log Port 514 by UNKNOWN")",
                                       R"("Status":"n","Msg":"set Remote Log Prefix  by UNKNOWN")"}));
    outside().events.clear();
    const Json unnamed{R"({"ParamValue":"1"})"};
    EXPECT_EQ(Qsc_Dev_X_QRN_Remote_Log_Do_Enable(nullptr, unnamed.get(), kSet, 0x80, 0, 0), Succeeds());
    EXPECT_EQ(outside().events, Lines{R"("Status":"n","Msg":"set Remote Log <empty> 1 by MQTT")"});
}

TEST_F(BuiltIn, RemoteLogRefusalsStoreNothing)
{
    const auto set = [](const std::string& value) {
        const Json object{R"({"Server":)" + value + "}"};
        return request("Device.X_QRN_RemoteLog", kSet, object.get());
    };
    const auto text = [](size_t length) { return R"({"ParamValue":")" + std::string(length, 'x') + "\"}"; };
    EXPECT_EQ(set(text(126)), Succeeds());
    EXPECT_EQ(outside().done.size(), 1u);
    outside().done.clear();
    EXPECT_EQ(set(text(127)), Fails(EFAULT));
    EXPECT_EQ(set("{}"), Fails(EINVAL));
    EXPECT_EQ(set("null"), Fails(EINVAL));
    EXPECT_EQ(set("5"), Fails(EINVAL));
    EXPECT_EQ(set(R"({"ParamValue":null})"), Fails(EFAULT));
    EXPECT_EQ(set(R"({"ParamValue":{"a":1}})"), Fails(EFAULT));
    EXPECT_EQ(set(R"({"ParamValue":"a\u0000b"})"), Fails(EFAULT)) << "a text that would be stored in part";
    EXPECT_TRUE(outside().done.empty());

    outside().uci_codes["set system.@system[0].log_ip"] = EIO;
    outside().events.clear();
    outside().logs.clear();
    EXPECT_EQ(set(text(1)), Fails(EIO));
    EXPECT_TRUE(outside().events.empty());
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{3, "[E] Device.X_QRN_RemoteLog set Server failed, error 5.\n"}}));
}

TEST_F(BuiltIn, RemoteLogCommitsSystemOnceWhateverThePackages)
{
    const Json object{R"({"package":["network",5,"system"]})"};
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kCommit, object.get()), Succeeds());
    EXPECT_EQ(outside().done, Lines{"commit system"});
    outside().uci_codes["commit system"] = EFAULT;
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kCommit, object.get()), Fails(EFAULT));
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{3, "[E] Device.X_QRN_RemoteLog commit failed, error 14.\n"}}));
}

TEST_F(BuiltIn, RemoteLogServiceRunsBothScriptsUntilOneFails)
{
    const Json object{R"({"action":"restart"})"};
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kService, object.get()), Succeeds());
    EXPECT_EQ(outside().done,
              (Lines{"popen /etc/init.d/log restart", "sync", "popen /etc/init.d/system restart", "sync"}));
    outside().done.clear();
    outside().wait_statuses["/etc/init.d/log restart"] = 1 << 8;
    EXPECT_EQ(request("Device.X_QRN_RemoteLog", kService, object.get()), Fails(EFAULT));
    EXPECT_EQ(outside().done, (Lines{"popen /etc/init.d/log restart", "sync"}));
}

TEST_F(BuiltIn, ServiceActionsThatCouldRunMoreAreRefused)
{
    const auto service = [](const std::string& action) {
        const Json object{R"({"action":)" + action + "}"};
        return request("Device.X_QRN_RemoteLog", kService, object.get());
    };
    for (const char character : std::string{"`;|&{}$<>"}) {
        EXPECT_EQ(service(std::string{"\"restart"} + character + "reboot\""), Fails(EFAULT)) << character;
    }
    for (const char* action : {R"("a\nreboot")", R"("a\u0001")", R"("a\u007f")", R"("a\u0000b")", "\"\"",
                               "null", "5", "[\"restart\"]", "{}"}) {
        EXPECT_EQ(service(action), Fails(EFAULT)) << action;
    }
    const size_t longest = 126 - std::string{"/etc/init.d/log "}.size();
    EXPECT_EQ(service('"' + std::string(longest + 1, 'x') + '"'), Fails(EFAULT));
    EXPECT_TRUE(outside().done.empty());

    EXPECT_EQ(service(R"("start now")"), Succeeds()) << "blanks pass as they stand";
    EXPECT_EQ(outside().commands().front(), "popen /etc/init.d/log start now");
    outside().done.clear();
    EXPECT_EQ(service('"' + std::string(longest, 'x') + '"'), Fails(EFAULT))
        << "fits the first script's command alone";
    EXPECT_EQ(outside().commands().size(), 1u);
}
