// SPDX-License-Identifier: Apache-2.0
// The dispatch engine, seen through subtrees whose tables this program replaces with its own: the dynamic
// linker gives the library the tables below.
#include <cstring>
#include <fstream>

#include <dlfcn.h>
#include <json-c/json.h>

#include "qsc_describe.h"
#include "qsc_handlers.h"
#include "qslog.h"
#include "qsyscmdhal.h"
#include "support/Outside.h"

using namespace test;

namespace
{

uint32_t g_failing_id = UINT32_MAX;
int g_views = 0; // of the configuration, during the last call of a handler

/// Records its call; `param` is the parameter's id. Fails for g_failing_id.
uint32_t probe(const char* name, json_object* value, uint32_t oper, uint32_t argument, int64_t context,
               uint64_t param)
{
    g_views = outside().views;
    outside().done.push_back(std::string{name} + "#" + std::to_string(param) + " " + std::to_string(oper) +
                             " " + std::to_string(argument) + " " + std::to_string(context));
    if (param == g_failing_id) {
        return 61;
    }
    json_object_object_add(value, "ParamValue", json_object_new_int64(static_cast<int64_t>(param)));
    return 0;
}

uint32_t act(const char* name, json_object* value, uint32_t oper, uint32_t argument, int64_t context,
             uint64_t param)
{
    auto* const whole = reinterpret_cast<json_object*>(static_cast<uintptr_t>(param));
    outside().done.push_back(std::string{name} + " in " + json_object_to_json_string_ext(whole, 0) + " as " +
                             json_object_to_json_string_ext(value, 0) + " " + std::to_string(oper) + " " +
                             std::to_string(argument) + " " + std::to_string(context));
    return std::strcmp(name, "fail") == 0 ? 61 : 0;
}

int g_objects_left = -1; // how many more can be made; negative: any number

constexpr Qsc_ParamEntry kEnd{QSC_TABLE_END, nullptr, nullptr, 0, 0};

} // namespace

extern "C" {

json_object* json_object_new_object(void)
{
    static auto* const next =
        reinterpret_cast<json_object* (*)()>(dlsym(RTLD_NEXT, "json_object_new_object"));
    g_objects_left -= g_objects_left > 0 ? 1 : 0;
    return g_objects_left == 0 ? nullptr : next();
}

const Qsc_ParamEntry g_QscDeviceLedsCmd[] = {
    {0, "One", probe, 0, 1}, {1, "Idle", nullptr, 0, 2}, {2, "Two", probe, 0, 3}, kEnd};
const Qsc_ParamEntry g_QscDeviceInfoCmd[] = {{0, "One", probe, 0, 1}, {1, "Two", probe, 0, 3}, kEnd};
const Qsc_ParamEntry g_QscEthIfaceCmd[] = {{0, "One", probe, 0, 1}, kEnd};
const Qsc_ParamEntry g_QscIpv4InterfaceCmd[] = {{0, "One", probe, 0, 1}, kEnd};
const Qsc_ParamEntry g_QscSiteSurveyNumcmd[] = {{0, "One", probe, 0, 1}, kEnd};
Qsc_ParamEntry g_QscSysUpgCmd[] = {
    {0, "go", act, 0, 0}, {1, "fail", act, 0, 0}, {2, "idle", nullptr, 0, 0}, kEnd};
}

class Dispatch : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        g_failing_id = UINT32_MAX;
        g_objects_left = -1;
    }
};

TEST_F(Dispatch, GetAnswersTheNamedParametersAlone)
{
    const Json object{R"({"Two":{},"Other":5})"};
    EXPECT_EQ(QSysCmdHal_Do_Device_Leds("Device.LEDs.1", object.get(), kGet | 0x10, 8, -7, 0), Succeeds());
    EXPECT_EQ(object.text(), R"({"Two":{"ParamValue":3},"Other":5})");
    EXPECT_EQ(outside().done, Lines{"Device.LEDs.1#3 17 8 -7"})
        << "all bits, argument and context go through";
}

TEST_F(Dispatch, ATableOfTheHostIsNotHeldUpByWhatOursWouldNeed)
{
    const Json object{R"({"One":{}})"};
    outside().uci_codes["begin network"] = EFAULT;
    EXPECT_EQ(request("Device.IP.Interface.1", kSet, object.get()), Succeeds());
    EXPECT_EQ(outside().done, Lines{"Device.IP.Interface.1#1 2 8 0"});
}

TEST_F(Dispatch, NamingAParameterWithoutHandlerIsNoAllGet)
{
    const Json object{R"({"Idle":{}})"};
    EXPECT_EQ(request("Device.LEDs", kGet, object.get()), Succeeds());
    EXPECT_EQ(object.text(), R"({"Idle":{}})");
    EXPECT_TRUE(outside().done.empty());
}

TEST_F(Dispatch, GetOfNothingKnownAnswersEverything)
{
    const Json object{R"({"Other":{}})"};
    EXPECT_EQ(request("Device.LEDs", kGet, object.get()), Succeeds());
    EXPECT_EQ(object.text(), R"({"Other":{},"One":{"ParamValue":1},"Two":{"ParamValue":3}})");
}

TEST_F(Dispatch, AGetIsAnsweredFromOneViewOfTheConfiguration)
{
    const Json object{R"({"One":{}})"};
    for (const auto& [oper, views] : {std::pair{kGet, 1}, std::pair{kSet, 0}}) {
        EXPECT_EQ(request("Device.LEDs", oper, object.get()), Succeeds());
        EXPECT_EQ(g_views, views);
        EXPECT_EQ(outside().views, 0) << "it has ended";
    }
    g_failing_id = 1;
    EXPECT_EQ(request("Device.LEDs", kGet, object.get()), Fails(ENODATA));
    EXPECT_EQ(outside().views, 0);
}

TEST_F(Dispatch, AllGetKeepsWhatWasAnsweredBeforeAFailure)
{
    g_failing_id = 3;
    const Json object{"{}"};
    EXPECT_EQ(request("Device.LEDs", kGet, object.get()), Fails(ENODATA));
    EXPECT_EQ(object.text(), R"({"One":{"ParamValue":1}})");
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] Device_Leds all get Two, error 61\n"}}));
}

TEST_F(Dispatch, AllGetWithoutMemoryEndsWithWhatIsAnswered)
{
    const Json object{"{}"};
    g_objects_left = 2;
    EXPECT_EQ(request("Device.LEDs", kGet, object.get()), Fails(ENOMEM));
    EXPECT_EQ(object.text(), R"({"One":{"ParamValue":1}})");
    EXPECT_TRUE(outside().logs.empty());
}

TEST_F(Dispatch, OneRequestIsOneOperation)
{
    outside().uci["system.@system[0].tzlocation"] = "Africa/Abidjan";
    const auto steps = [](const char* path, uint32_t oper) {
        outside().done.clear();
        EXPECT_EQ(send(path, oper, R"({"package":["p"],"action":"go"})"), Succeeds()) << path;
        std::erase(outside().done, "sync");
        return outside().done;
    };
    const struct {
        const char* path;
        const char* commit;
        const char* service;
        const char* label;
    } cases[] = {
        {"Device.Time", "commit p", "popen /etc/init.d/sysntpd go", "Device_Time commit, error 5\n"},
        {"Device.DHCPv4.Client.1", "commit p", "popen /etc/init.d/network go",
         "DHCPv4.Client.1 commit, error 5\n"},
        {"Device.X_QRN_RemoteLog", "commit system", "popen /etc/init.d/log go",
         "Device.X_QRN_RemoteLog commit failed, error 5.\n"},
    };
    for (const auto& [path, commit, service, label] : cases) {
        EXPECT_EQ(steps(path, kCommit | kService | 0x4), Lines{commit}) << "commit comes before service";
        EXPECT_EQ(steps(path, kService)[0], service);
        EXPECT_EQ(steps(path, kSet | kCommit | kService), Lines{}) << "and set before both";
        // Each of the two has its line when it fails.
        outside().uci_codes[commit] = EIO;
        outside().wait_statuses[std::string{service}.substr(6)] = 1 << 8;
        outside().logs.clear();
        EXPECT_EQ(send(path, kCommit, R"({"package":["p"]})"), Fails(EIO));
        EXPECT_EQ(send(path, kService, R"({"action":"go"})"), Fails(EFAULT));
        std::string of_service = label;
        of_service.replace(of_service.find(" commit"), 7, " service");
        of_service.replace(of_service.find("error 5"), 7, "error 14");
        EXPECT_EQ(outside().logs,
                  (std::vector<LogLine>{{3, std::string{"[E] "} + label}, {3, "[E] " + of_service}}));
        outside().uci_codes.clear();
    }
}

TEST_F(Dispatch, PrefixesAndRecordsNameTheLineThatDefinesTheHandler)
{
    Qslog_SetProperty(QSLOG_LONG_PREFIX);
    const auto line_of = [](const std::string& file, const std::string& definition) {
        std::ifstream source{QSC_SOURCE "/" + file};
        int number = 1;
        for (std::string line; std::getline(source, line) && line.find(definition) == std::string::npos;) {
            ++number;
        }
        return std::to_string(number);
    };
    const struct {
        const char* file;
        const char* module;
        const char* definition;
        const char* function;
        const char* path;
        const char* object;
    } cases[] = {
        {"handlers/wifi/QscDeviceWiFiRadio.cpp", "QscDeviceWiFiRadio", "QSC_HANDLER(",
         "Qsc_DevWiFiRadio_Do_TransmitPower", "Device.WiFi.Radio.1", R"({"TransmitPower":{"ParamValue":1}})"},
        {"handlers/wifi/QscDeviceWiFiSSID.cpp", "QscDeviceWiFiSSID", "QSC_HANDLER(",
         "Qsc_DevWiFiSSID_Do_SSID", "Device.WiFi.SSID.1", R"({"SSID":{"ParamValue":"n"}})"},
        {"handlers/network/QscDhcpV4Option.cpp", "QscDhcpV4Client", "QSC_INSTANCE_HANDLERS(",
         "Qsc_DhcpV4ClientSentOption_Do_Index", "Device.DHCPv4.Client.1.SentOption.1",
         R"({"Enable":{"ParamValue":2}})"},
        {"core/Dispatchers.cpp", "QSysCmdHal", "SUBTREE(", "QSysCmdHal_Do_Device_LLDP", "Device.LLDP",
         nullptr},
    };
    for (const auto& [file, module, definition, function, path, object] : cases) {
        outside().logs.clear();
        outside().event_places.clear();
        send(path, object != nullptr ? kSet : 0x4, object != nullptr ? object : "{}");
        const std::string place = line_of(file, std::string{definition} + function) + "(" + function + ")";
        ASSERT_FALSE(outside().logs.empty()) << function;
        EXPECT_TRUE(outside().logs[0].text.starts_with(std::string{module} + ":" + place))
            << outside().logs[0].text;
        for (const std::string& event : outside().event_places) {
            EXPECT_EQ(event, std::string{file} + ":" + place);
        }
    }
}

TEST_F(Dispatch, SetStopsAtTheFirstFailureAndHasNoAllForm)
{
    g_failing_id = 1;
    const Json both{R"({"Two":{},"One":{}})"};
    EXPECT_EQ(request("Device.LEDs", kSet | kCommit, both.get()), Fails(ENODATA));
    EXPECT_EQ(outside().done.size(), 1u) << "table order, not the request's";
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] Device_Leds set One, error 61\n"}}));

    outside().done.clear();
    const Json none{"{}"};
    EXPECT_EQ(request("Device.LEDs", kSet, none.get()), Succeeds());
    EXPECT_TRUE(outside().done.empty());
}

TEST_F(Dispatch, GetWinsOverSet)
{
    const Json object{R"({"One":{}})"};
    EXPECT_EQ(request("Device.LEDs", kGet | kSet, object.get()), Succeeds());
    EXPECT_EQ(outside().logs.size(), 0u);
    EXPECT_EQ(outside().done, Lines{"Device.LEDs#1 3 8 0"});
}

TEST_F(Dispatch, PathFormNamesThePathAndPassesTheParameterName)
{
    g_failing_id = 3;
    const Json object{R"({"One":{},"Two":{}})"};
    EXPECT_EQ(request("Device.DeviceInfo.X", kGet, object.get()), Fails(ENODATA));
    EXPECT_EQ(request("Device.DeviceInfo.X", kSet, object.get()), Fails(ENODATA));
    EXPECT_EQ(outside().done, (Lines{"One#1 1 8 0", "Two#3 1 8 0", "One#1 2 8 0", "Two#3 2 8 0"}));
    const Json empty{"{}"};
    EXPECT_EQ(request("Device.DeviceInfo.X", kGet, empty.get()), Fails(ENODATA));
    EXPECT_EQ(request("Device.DeviceInfo.X", 0x4, empty.get()), Fails(EINVAL));
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{
                                  {3, "[E] Device.DeviceInfo.X get Two failed, error 61.\n"},
                                  {3, "[E] Device.DeviceInfo.X set Two failed, error 61.\n"},
                                  {3, "[E] Device.DeviceInfo.X get Two failed, error 61.\n"},
                                  {3, "[E] Device.DeviceInfo.X operation not support (0x4).\n"},
                              }));
}

TEST_F(Dispatch, LabelsDifferByOperationWhereTheyMust)
{
    g_failing_id = 1;
    const Json object{R"({"One":{}})"};
    EXPECT_EQ(request("Device.X_QRN_SiteSurvey", kGet, object.get()), Fails(ENODATA));
    EXPECT_EQ(request("Device.X_QRN_SiteSurvey", kSet, object.get()), Fails(ENODATA));
    EXPECT_EQ(request("Device.X_QRN_SiteSurvey", kCommit, object.get()), Fails(EINVAL));
    EXPECT_EQ(request("Device.Ethernet.Interface.1", kGet, object.get()), Fails(ENODATA));
    EXPECT_EQ(request("Device.Ethernet.Interface.1", kSet, object.get()), Fails(ENODATA));
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{
                                  {3, "[E] SiteUurvey get One, error 61\n"},
                                  {3, "[E] Site Survey set One, error 61\n"},
                                  {3, "[E] Site Survey operation not support (0x40000)\n"},
                                  {3, "[E] Device.Ethernet.Interface.1 get One failed, error 61.\n"},
                                  {3, "[E] Ethernet.Interface set One, error 61\n"},
                              }));
}

TEST_F(Dispatch, UnsupportedOperations)
{
    const struct {
        const char* path;
        uint32_t oper;
        const char* line;
    } cases[] = {
        {"help", kSet, "[E] operation not support (0x2)\n"},
        {"version", kSet, "[E] Version operation not support (0x2)\n"},
        {"syslog", kService, "[E] SysLog operation not support (0x80000)\n"},
        {"Device.WiFi.SSID.2", 0x4, "[E] Device_WiFi_SSID operation not support (0x4)\n"},
        {"Device.DeviceInfo.MemoryStatus", kSet,
         "[E] Device.DeviceInfo.MemoryStatus operation not support (0x2).\n"},
        {"Device.X_QRN_Ndsctl", kGet, "[E] Device.X_QRN_Ndsctl operation not support (0x1).\n"},
        {"Device.X_QRN_Throughput.1", kSet, "[E] Device throughput operation not support (0x2)\n"},
        {"Device.LLDP", 0x4, "[E] Device.LLDP operation not support (0x4).\n"},
        {"Device.DHCPv4.Server.Pool.1", 0x4, "[E] DHCPv4.Server.Pool.1 operation not support (0x4)\n"},
        {"Device.DHCPv4.Server.Pool.1.StaticAddress.1", kCommit,
         "[E] Device.DHCPv4.Server.Pool.1.StaticAddress.1 operation not support (0x40000).\n"},
    };
    for (const auto& [path, oper, line] : cases) {
        const Json object{"{}"};
        outside().logs.clear();
        EXPECT_EQ(request(path, oper, object.get()), Fails(EINVAL)) << path;
        EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, line}}));
        EXPECT_EQ(object.text(), "{}");
    }
}

TEST_F(Dispatch, EverySubtreeHasItsLabelOrItsPathInItsLines)
{
    // Those that are not named say their path.
    const std::map<std::string_view, const char*> labels = {
        {"help", ""},
        {"version", "Version"},
        {"syslog", "SysLog"},
        {"Device.X_QRN_2ndStaticIp", "X_QRN_2ndStaticIp"},
        {"Device.Time", "Device_Time"},
        {"Device.LEDs", "Device_Leds"},
        {"Device.DHCPv4.Client.1", "DHCPv4.Client.1"},
        {"Device.DHCPv4.Server.Pool.1", "DHCPv4.Server.Pool.1"},
        {"Device.DNS.Client.Server.", "DNS_Client_Server"},
        {"Device.Ethernet.X_QRN_Custommac.", "Ethernet.CustomMac"},
        {"Device.WiFi.Radio", "Device_WiFi_Radio"},
        {"Device.WiFi.SSID", "Device_WiFi_SSID"},
        {"Device.WiFi.AccessPoint", "Device_WiFi_AP"},
        {"Device.WiFi.EndPoint.", "Device_WiFi_EP"},
        {"Device.WiFi.MultiAP", "Device_WiFi_MultiAP"},
        {"Device.WiFi", "Device_WiFi"},
        {"Device.IP.Interface.1", "IP_Interface"},
        {"Device.X_QRN_Throughput.", "Device throughput"},
        {"Device.Routing.Router.1", "Device_Routing Router 1"},
        {"Device.Routing.Rip.InterfaceSetting.1", "Device_Routing RIP interface setting 1"},
        {"Device.Users.User.1", "Device Users User 1"},
        {"Device.X_QRN_SiteSurvey", "Site Survey"},
        {"Device.X_QRN_NetworkZone", "X_QRN_NetworkZone"},
        {"Device.DynamicDNS.Client.1.", "DDNS"},
        {"Device.X_QRN_Firewall.PortForwarding.", "Port forwarding"},
        {"Device.X_QRN_Firewall.PortTriggering.", "Port Trigger"},
        {"Device.X_QRN_NewZone.", "New zone"},
        {"Device.X_QRN_AutoReboot", "AutoReboot"},
        {"Device.IP.Diagnostics.X_QRN_Speedtest.", "Speedtest"},
        {"Device.X_QRN_VPN.1", "X_QRN_VPN_1"},
        {"Device.X_QRN_VPN.2", "X_QRN_VPN_2"},
        {"Device.X_QRN_VPN.3", "X_QRN_VPN_3"},
        {"Device.X_QRN_VPN.4", "X_QRN_VPN_4"},
        {"Device.X_QRN_VPN.5", "X_QRN_VPN_5"},
        {"Device.X_QRN_VPN.6", "X_QRN_VPN_6"},
        {"Device.X_QRN_VPN", "X_QRN_VPN"},
        {"Device.QoS", "Device_QoS"},
        {"Device.X_QRN_Firewall.ParentalControl.", "Parental control"},
        {"Device.X_QRN_SNMP", "SNMP"},
        {"Device.X_QRN_DMZ", "DMZ"},
        {"Device.X_QRN_nDPI", "nDPI"},
    };
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        const Json object{"{}"};
        const auto label = labels.find(entry->path);
        const bool is_path = label == labels.end();
        const std::string begin = is_path ? entry->path : label->second;
        outside().logs.clear();
        EXPECT_EQ(entry->dispatcher(entry->path, object.get(), 0x4, 8, 0, 0), Fails(EINVAL));
        if (std::strcmp(entry->path, "SysUpg") != 0) {
            EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E] " + begin + (begin.empty() ? "" : " ") +
                                                                    "operation not support (0x4)" +
                                                                    (is_path ? ".\n" : "\n")}}));
        }
    }
}

TEST_F(Dispatch, PackagesAndScriptsAreThoseOfTheSubtree)
{
    const struct {
        const char* path;
        Lines packages;
        Lines scripts; ///< none: it serves by itself
    } cases[] = {
        {"Device.X_QRN_2ndStaticIp", {"network"}, {"network"}},
        {"Device.LEDs", {"system"}, {"led"}},
        {"Device.DeviceInfo", {"system"}, {"system"}},
        {"Device.IP.Interface.1", {"network"}, {"network"}},
        {"Device.Routing.Router.1", {"network"}, {"network"}},
        {"Device.Users.User.1", {"users"}, {}},
        {"Device.X_QRN_RemoteAccess.Telnet", {"telnetd"}, {"telnetd"}},
        {"Device.X_QRN_RemoteAccess.SSH", {"dropbear", "firewall"}, {"dropbear", "firewall"}},
        {"Device.X_QRN_AutoReboot", {"autoreboot"}, {}},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.path);
        const auto steps = [&](uint32_t oper) {
            outside().done.clear();
            EXPECT_EQ(send(one.path, oper, R"({"action":"go"})"), Succeeds());
            std::erase(outside().done, "sync");
            return outside().done;
        };
        Lines commits;
        Lines runs;
        for (const std::string& package : one.packages) {
            commits.push_back("commit " + package);
        }
        EXPECT_EQ(steps(kCommit), commits);
        if (one.scripts.empty()) {
            continue;
        }
        for (const std::string& script : one.scripts) {
            outside().programs["/etc/init.d/" + script] = "";
            runs.push_back("run /etc/init.d/" + script + " go");
        }
        Lines done = steps(kService);
        std::erase(done, "system /etc/init.d/qrnmsgupd updinfo > /dev/null 2>&1 &");
        std::erase(done, "peripherals led on");
        EXPECT_EQ(done, runs);
    }
    outside().uci_codes["commit autoreboot"] = EIO;
    EXPECT_EQ(send("Device.X_QRN_AutoReboot", kCommit, "{}"), Fails(EIO));
    EXPECT_EQ(outside().logs.back(), (LogLine{3, "[E] Autoreboot commit, error 5\n"}));
}

TEST_F(Dispatch, WhatFollowsAServiceStartsOnceItHasSucceeded)
{
    constexpr const char* kUpdate = "/etc/init.d/qrnmsgupd updinfo > /dev/null 2>&1 &";
    const auto serve = [] { return send("Device.IP.Interface.1", kService, R"({"action":"restart"})"); };
    EXPECT_EQ(serve(), Fails(EFAULT)) << "there is no script";
    EXPECT_EQ(outside().commands(), Lines{});
    outside().programs["/etc/init.d/network"] = "";
    outside().logs.clear();
    EXPECT_EQ(serve(), Succeeds());
    EXPECT_EQ(outside().commands(), Lines{std::string{"system "} + kUpdate});
    EXPECT_EQ(outside().logs, std::vector<LogLine>{});
    outside().wait_statuses[kUpdate] = -1;
    EXPECT_EQ(serve(), Succeeds());
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{4, std::string{"[W] "} + kUpdate + " not started, ignoring\n"}}));
}

TEST_F(Dispatch, SentencesAreTextThatNoTerminalObeys)
{
    EXPECT_EQ(send("Device.LEDs\x1b[2J\xc3", 0x4, "{}"), Fails(EINVAL));
    EXPECT_STREQ(QSysCmdHal_LastError(), "Device.LEDs?[2J?: the operation 0x4 is not served");
    const std::string list = "Device.DHCPv4.Server.Pool.1.StaticAddress.";
    EXPECT_EQ(send(list + std::string(60, 'x'), kGet, "{}"), Fails(EINVAL));
    EXPECT_EQ(QSysCmdHal_LastError(), list + std::string(60, 'x') + ": " + std::string(60, 'x') + ": '" +
                                          std::string(40, 'x') + "' is no instance number");
}

TEST_F(Dispatch, WhatIsNoObjectIsRefused)
{
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        EXPECT_EQ(entry->dispatcher(entry->path, nullptr, kGet, 8, 0, 0), Fails(EINVAL)) << entry->path;
    }
    EXPECT_TRUE(outside().logs.empty());
    for (const Qsc_CommandEntry* entry = g_QSysCmdHalCmd; entry->id != QSC_TABLE_END; ++entry) {
        for (const char* wrong : {"[]", "\"One\"", "5", "true"}) {
            const Json value{wrong};
            for (const uint32_t oper : {kGet, kSet, kCommit, kService}) {
                EXPECT_EQ(entry->dispatcher(nullptr, value.get(), oper, 8, 0, 0), Fails(EINVAL))
                    << entry->path;
            }
            EXPECT_EQ(value.text(), wrong);
        }
    }
    EXPECT_TRUE(outside().done.empty());
}

TEST_F(Dispatch, HandlersThatNoRowDescribesAreToldAsFarAsTheyAreKnown)
{
    Qsc_ObjectInfo object;
    Qsc_ParameterInfo parameter;
    ASSERT_EQ(QSysCmdHal_FindObject("Device.LEDs", &object), Succeeds());
    EXPECT_EQ(object.parameters, 3u);
    ASSERT_EQ(QSysCmdHal_DescribeParameter(&object, 0, &parameter), Succeeds());
    EXPECT_STREQ(parameter.name, "One");
    EXPECT_STREQ(parameter.type, "string");
    EXPECT_EQ(parameter.access, kGet | kSet);
    EXPECT_EQ(QSysCmdHal_DescribeParameter(&object, 3, &parameter), Fails(EFAULT));
}

TEST_F(Dispatch, NullAndEmptyPathsReachTheHandlers)
{
    const Json object{R"({"level":{}})"};
    EXPECT_EQ(QSysCmdHal_Do_SysLog(nullptr, object.get(), kGet, 8, 0, 0), Succeeds());
    EXPECT_EQ(QSysCmdHal_Do_SysLog("", object.get(), kGet, 8, 0, 0), Succeeds());
    EXPECT_EQ(QSysCmdHal_Do_DeviceInfo(nullptr, object.get(), 0x4, 8, 0, 0), Fails(EINVAL));
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{{3, "[E]  operation not support (0x4).\n"}}));
}

TEST_F(Dispatch, ActionFormCallsTheNamedAction)
{
    const Json object{R"({"Action":{"ParamValue":"go"}})"};
    EXPECT_EQ(QSysCmdHal_Do_SysUpg("SysUpg", object.get(), 0, 4, 9, 0), Succeeds())
        << "the operation is not examined";
    EXPECT_EQ(outside().done, Lines{R"(go in {"Action":{"ParamValue":"go"}} as {"ParamValue":"go"} 0 4 9)"});
    EXPECT_EQ(g_QscSysUpgCmd[0].param, reinterpret_cast<uintptr_t>(object.get()));

    const struct {
        const char* object;
        uint32_t code;
        std::vector<LogLine> logs;
    } cases[] = {
        {R"({"Action":{"ParamValue":"fail"}})", 61, {{3, "[E] fail fail, error 61\n"}}},
        {R"({"Action":{"ParamValue":"g"}})", 22, {}},
        {R"({"Action":{"ParamValue":"idle"}})", 22, {}},
        {R"({"Action":{}})", 22, {{3, "[E] SysUpg, get 1st action parameter failed.\n"}}},
        {R"({"Action":{"ParamValue":null}})", 22, {{3, "[E] SysUpg, get 1st action parameter failed.\n"}}},
        {R"({"Action":null})", 22, {{3, "[E] SysUpg, get 1st action object failed.\n"}}},
        {R"({"Action":"go"})", 22, {{3, "[E] SysUpg, get 1st action object failed.\n"}}},
        {R"({})", 22, {{3, "[E] SysUpg, get 1st action object failed.\n"}}},
    };
    for (const auto& [text, code, logs] : cases) {
        const Json wrong{text};
        outside().logs.clear();
        EXPECT_EQ(request("SysUpg", kSet, wrong.get()), code) << text;
        EXPECT_EQ(outside().logs, logs) << text;
    }
}

TEST_F(Dispatch, ListFormTakesAllOrOneInstance)
{
    const std::string prefix = "Device.DHCPv4.Server.Pool.1.StaticAddress.";
    for (const char* rest : {"", "*"}) {
        EXPECT_EQ(send(prefix + rest, kGet, "{}"), Answers("{}")) << rest;
        EXPECT_TRUE(outside().logs.empty());
    }
    for (const char* rest : {"1", "12."}) {
        EXPECT_EQ(send(prefix + rest, kGet, R"({"Enable":{}})"),
                  Fails(EINVAL, R"({"Enable":{"ParamId":22},"ParamId":22})"))
            << rest;
    }
    for (const char* rest : {"1x", "-1", "+1", "*.", ".", "1.Foo", "4294967297", "2147483648", " 1"}) {
        outside().logs.clear();
        EXPECT_EQ(send(prefix + rest, kGet, "{}"), Fails(EINVAL, "{}")) << rest;
        EXPECT_EQ(outside().logs.size(), 1u) << rest;
    }
    const Json object{"{}"};
    EXPECT_EQ(QSysCmdHal_Do_Device_DHCPv4_ServerPool_1_StaticAddr(nullptr, object.get(), kGet, 8, 0, 0),
              Fails(EINVAL));
}
