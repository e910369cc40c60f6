// SPDX-License-Identifier: Apache-2.0
// "Device.DHCPv4.Client.1" and its options on a fake device.
#include <json-c/json.h>

#include "qsc_dhcpv4_client.h"
#include "qscbase.h"
#include "support/Outside.h"

using namespace test;

namespace
{

constexpr const char* kSent = "Device.DHCPv4.Client.1.SentOption.";

} // namespace

class DhcpV4Client : public OutsideTest
{
  protected:
    /// Changes are remembered until a commit: each test starts without any.
    void SetUp() override
    {
        OutsideTest::SetUp();
        call(Qsc_DhcpV4Client_Commit, kCommit, "{}");
        outside() = Outside{};
    }
};

TEST_F(DhcpV4Client, ClientParameters)
{
    outside().uci = {
        {"network.wan.proto", "dhcp"}, {"network.wan.username", "me"}, {"network.wan.password", "secret"}};
    EXPECT_EQ(
        send("Device.DHCPv4.Client.1", kGet, "{}"),
        Answers(R"({"Enable":{"ParamValue":"1","ParamId":0},"Broadcast":{"ParamValue":"0","ParamId":0},)"
                R"("SentOptionNumberOfEntries":{"ParamValue":"2","ParamId":0},)"
                R"("ReqOptionNumberOfEntries":{"ParamValue":"1","ParamId":0},)"
                R"("XQrnPppoeUsername":{"ParamValue":"me","ParamId":0},)"
                R"("XQrnPppoePassword":{"ParamValue":"","ParamId":0}})"));
    outside().uci["network.wan.broadcast"] = "yes";
    EXPECT_EQ(read("Device.DHCPv4.Client.1", "Broadcast"), Answers("\"yes\""));
    const struct {
        Qsc_Handler handler;
        const char* proto;
        const char* object;
        uint32_t code;
        const char* stored; // null: nothing
        const char* event;
    } cases[] = {
        {Qsc_DhcpV4Client_Do_Enable, "dhcp", R"({"ParamValue":0})", 0, "set network.wan.disabled=1",
         "set wan client enable 0 by CLI"},
        {Qsc_DhcpV4Client_Do_Enable, "dhcp", R"({"ParamValue":"1"})", 0, "set network.wan.disabled=0",
         "set wan client enable 1 by CLI"},
        {Qsc_DhcpV4Client_Do_Enable, "dhcp", R"({"ParamValue":2})", EFAULT, nullptr, nullptr},
        {Qsc_DhcpV4Client_Do_Broadcast, "dhcp", R"({"ParamValue":"1"})", 0, "set network.wan.broadcast=1",
         "set wan client broadcast 1 by CLI"},
        {Qsc_DhcpV4Client_Do_Broadcast, "dhcp", "{}", EINVAL, nullptr, nullptr},
        {Qsc_DhcpV4Client_Do_Broadcast, "dhcp", R"({"ParamValue":""})", EFAULT, nullptr, nullptr},
        {Qsc_DhcpV4Client_Do_Broadcast, "static", R"({"ParamValue":"1"})", 0,
         "set network.wan.broadcast=", "set wan client broadcast <empty> by CLI"},
        {Qsc_DhcpV4Client_Do_Broadcast, "", "{}", 0,
         "set network.wan.broadcast=", "set wan client broadcast <empty> by CLI"},
        {Qsc_DhcpV4Client_Do_XQrnPppoeUsername, "", R"({"ParamValue":"you"})", 0,
         "set network.wan.username=you", "set wan client pppoe username you by CLI"},
        {Qsc_DhcpV4Client_Do_XQrnPppoePassword, "", R"({"ParamValue":"word"})", 0,
         "set network.wan.password=word", "set wan client pppoe password by CLI"},
        {Qsc_DhcpV4Client_Do_XQrnPppoePassword, "", "{}", EINVAL, nullptr, nullptr},
        {Qsc_DhcpV4Client_Do_SentOptionNumberOfEntries, "", R"({"ParamValue":"3"})", EFAULT, nullptr,
         nullptr},
    };
    for (const auto& [handler, proto, object, code, stored, text] : cases) {
        outside() = Outside{};
        outside().uci["network.wan.proto"] = proto;
        EXPECT_EQ(call(handler, kSet, object), Fails(code)) << object;
        EXPECT_EQ(outside().done, stored != nullptr ? Lines{stored} : Lines{});
        EXPECT_EQ(outside().events, text != nullptr ? Lines{event(text)} : Lines{});
        if (code == 0) {
            expect_each_failure_to_end(
                [&] {
                    outside() = Outside{};
                    outside().uci["network.wan.proto"] = proto;
                },
                [&] { return call(handler, kSet, object); });
        }
    }
}

TEST_F(DhcpV4Client, AllInstancesAnswerAsChildren)
{
    const struct {
        const char* path;
        const char* label; // in warnings
        Lines sections;    // of its instances
        Lines tags;
        Lines parameters;
    } lists[] = {
        {kSent,
         "Sent Option",
         {"sent60", "sent61"},
         {"60", "61"},
         {"Tag", "Value", "Enable", "XQrnValueStr"}},
        {"Device.DHCPv4.Client.1.ReqOption.", "Req Option", {"req43"}, {"43"}, {"Tag", "Value", "Enable"}},
        {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.",
         "Relay Sent Option",
         {"relays82"},
         {"82"},
         {"Tag", "Enable", "Value", "XQrnValueStr"}},
        {"Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.",
         "Relay Sent Option Subcode",
         {"dorelay82sc1", "dorelay82sc2"},
         {"82", "82"},
         {"Subcode", "Tag", "Enable", "Value", "XQrnValueStr"}},
    };
    const std::map<std::string, std::string> options{
        {"Value", "input"}, {"Enable", "enable"}, {"XQrnValueStr", "instr"}};
    for (const auto& [path, label, sections, tags, parameters] : lists) {
        std::string all;
        for (size_t i = 0; i < sections.size(); ++i) {
            const std::string number = std::to_string(i + 1);
            std::string one;
            for (const std::string& parameter : parameters) {
                const auto option = options.find(parameter);
                std::string value = parameter == "Tag" ? tags[i] : "1";
                if (option != options.end()) {
                    value = sections[i] + " " + option->second;
                    outside().uci["qrndhcpopts." + sections[i] + "." + option->second] = value;
                }
                one += "\"" + parameter + R"(":{"ParamValue":")" + value + R"(","ParamId":0},)";
            }
            one = "{" + one + R"("ParamId":0})";
            EXPECT_EQ(send(path + number, kGet, "{}"), Answers(one));
            all += (all.empty() ? "{\"" : ",\"") + (path + number) + "\":" + one;
        }
        EXPECT_EQ(send(path, kGet, "{}"), Answers(all + "}"));
        EXPECT_EQ(send(std::string{path} + "*", kGet, "{}"), Answers(all + "}"));
        outside().logs.clear();
        EXPECT_EQ(set(std::string{path} + "1", "Tag", "\"1\""), Fails(EFAULT));
        EXPECT_EQ(outside().logs.at(1), (LogLine{4, std::string{"[W] Device_DHCPv4 Client 1 "} + label +
                                                        " 1 set Tag, error 14\n"}));
        const std::string beyond = path + std::to_string(sections.size() + 1);
        EXPECT_EQ(send(beyond, kGet, "{}"), Fails(EINVAL));
    }
    EXPECT_EQ(send("Device.DHCPv4.Client.1.ReqOption.1.", kGet, R"({"Tag":{}})"),
              Answers(R"({"Tag":{"ParamValue":"43","ParamId":0},"ParamId":0})"));

    outside().logs.clear();
    EXPECT_EQ(send(kSent, kSet, "{}"), Fails(EINVAL));
    EXPECT_EQ(outside().logs,
              (std::vector<LogLine>{{3, "[E] operation not support (0x2)\n"},
                                    {3, "[E] Device.DHCPv4.Client.1.SentOption. set  failed, error 22.\n"}}));
    // A child of the caller's stays whatever comes of it, and ends the walk.
    EXPECT_EQ(send(kSent, kGet, R"({"Device.DHCPv4.Client.1.SentOption.1":null})"),
              Fails(EINVAL, R"({"Device.DHCPv4.Client.1.SentOption.1":null})"));
}

TEST_F(DhcpV4Client, InstancesThatDoNotExistAreRefused)
{
    for (const char* index : {"0", "-1", "3", "4294967297", "1x", "1.Foo", "+1", "01x", "..", "1..", "**"}) {
        EXPECT_EQ(send(std::string{kSent} + index, kSet, R"({"Enable":{"ParamValue":"1"}})"), Fails(EINVAL))
            << index;
    }
    EXPECT_TRUE(outside().done.empty());
    for (const int32_t number : {0, -1, 3, INT32_MAX}) {
        QSCBase_ParamId record;
        QSCBase_ParamId_Init(&record);
        record.index[0] = number;
        EXPECT_EQ(call(Qsc_DhcpV4ClientSentOption_Do_Tag, kGet, "{}", reinterpret_cast<uintptr_t>(&record)),
                  Fails(EINVAL, R"({"ParamId":22})"));
        const Json object{"{}"};
        EXPECT_EQ(Qsc_DhcpV4ClientSentOption_Do_Index("", object.get(), kGet, 8, 0, 0, object.get(), &record),
                  Fails(EINVAL));
        EXPECT_EQ(Qsc_DhcpV4ClientSentOption_Do_Index("", nullptr, kGet, 8, 0, 0, nullptr, &record),
                  Fails(EINVAL));
        EXPECT_EQ(Qsc_DhcpV4ClientSentOption_Do_Index("", object.get(), kGet, 8, 0, 0, nullptr, nullptr),
                  Fails(EINVAL));
        EXPECT_EQ(object.text(), R"({"ParamId":22})");
    }
    EXPECT_EQ(Qsc_DhcpV4ClientSentOption_Do_All("", nullptr, kGet, 8, 0, 0), Fails(EINVAL));
    EXPECT_EQ(call(Qsc_DhcpV4ClientSentOption_Do_Tag, kGet, "{}"),
              Answers(R"({"ParamValue":"60","ParamId":0})"));
}

TEST_F(DhcpV4Client, OptionsAreStoredWhenTheyDiffer)
{
    outside().uci = {{"qrndhcpopts.sent61.enable", "1"}};
    const std::string path = std::string{kSent} + "2";
    EXPECT_EQ(
        send(path, kSet,
             R"({"Value":{"ParamValue":"a"},"Enable":{"ParamValue":1},"XQrnValueStr":{"ParamValue":""}})"),
        Succeeds());
    EXPECT_EQ(outside().done, (Lines{"set qrndhcpopts.sent61.input=a", "set qrndhcpopts.sent61.update=1"}));
    EXPECT_EQ(outside().events,
              (Lines{event("set DHCPv4 client sent option [2] value a by CLI"),
                     event("set DHCPv4 client sent option [2] enable 1 by CLI"),
                     event("set DHCPv4 client sent option [2] value string <empty> by CLI")}));

    const Outside device = outside();
    expect_each_failure_to_end(
        [&] {
            outside() = device;
            outside().events.clear();
        },
        [&] { return set(path, "Value", "\"b\""); });
    outside() = device;
    outside().logs.clear();
    EXPECT_EQ(send(path, kSet, R"({"Tag":{"ParamValue":"1"},"Value":{"ParamValue":"b"}})"), Fails(EFAULT));
    EXPECT_EQ(outside().uci["qrndhcpopts.sent61.input"], "a") << "the first failure ends the walk";
    EXPECT_EQ(outside().logs, (std::vector<LogLine>{
                                  {3, "[E] operation not support (0x2)\n"},
                                  {4, "[W] Device_DHCPv4 Client 1 Sent Option 2 set Tag, error 14\n"},
                                  {3, "[E] Device.DHCPv4.Client.1.SentOption.2 set 2 failed, error 14.\n"}}));
    for (const char* enable : {"true", "\"true\"", "\"\"", "2", "null", "\"01\""}) {
        EXPECT_EQ(set(path, "Enable", enable), Fails(EFAULT)) << enable;
    }
    EXPECT_EQ(set(path, "Value", text_of(510)), Succeeds());
    EXPECT_EQ(set(path, "Value", text_of(511)), Fails(EFAULT));
    EXPECT_EQ(read(path, "Value"), Answers(text_of(510)));

    outside().events.clear();
    set("Device.DHCPv4.Client.1.ReqOption.1", "Value", "\"x\"");
    set("Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1", "Enable", "0");
    set("Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.2", "XQrnValueStr", "\"y\"");
    EXPECT_EQ(outside().events,
              (Lines{event("set DHCPv4 client request option [1] value x by CLI"),
                     event("set DHCPv4 client relay sent option [1] enable 0 by CLI"),
                     event("set DHCPv4 client relay sent option subcode [2] value string y by CLI")}));
    EXPECT_EQ(outside().uci["qrndhcpopts.dorelay82sc2.update"], "1");
}

TEST_F(DhcpV4Client, CommitBringsTheTargetsInLine)
{
    constexpr const char* kClient = "Device.DHCPv4.Client.1";
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_Update(0), Succeeds());
    EXPECT_EQ(send(kClient, kCommit, "{}"), Answers(R"({"package":["qrndhcpopts"],"ParamId":0})"));
    EXPECT_EQ(outside().done, (Lines{"commit qrndhcpopts", "sync"})) << "nothing has changed";

    const auto change = [](const char* option, const char* parameter, const char* value) {
        EXPECT_EQ(set(std::string{"Device.DHCPv4.Client.1."} + option, parameter, value), Succeeds());
    };
    const auto change_all = [&] {
        outside() = Outside{};
        outside().uci = {{"qrndhcpopts.sent61.outputtype", "hex"},
                         {"qrndhcpopts.relays82.outputtype", "string"},
                         {"network.wan.reqopts", "1 3"}};
        change("SentOption.1", "Value", "\"router\"");
        change("SentOption.1", "Enable", "1");
        change("SentOption.2", "XQrnValueStr", "\"az\"");
        change("SentOption.2", "Enable", "1");
        change("ReqOption.1", "Enable", "1");
        change("X_QRN_RelaySentOption.1", "XQrnValueStr", "\"s\"");
        change("X_QRN_RelaySentOption.1", "Enable", "1");
        change("X_QRN_RelaySentOption.1.Subcode.1", "Value", "\"v\"");
        outside().events.clear();
        outside().done.clear();
    };
    const auto commit_both = [] {
        return send("Device.DHCPv4.Client.1", kCommit, R"({"package":["qrndhcpopts","network"]})");
    };
    expect_each_failure_to_end(change_all, commit_both);
    change_all();
    EXPECT_EQ(commit_both(), Succeeds());
    EXPECT_EQ(outside().done,
              (Lines{"set network.wan.reqopts=1 3 43", "set qrndhcpopts.req43.update=0",
                     "set network.wan.vendorid=router", "set qrndhcpopts.sent60.update=0",
                     "set network.wan.clientid=617A", "set qrndhcpopts.sent61.update=0",
                     "set qrndhcpopts.relays82.output=s", "set qrndhcpopts.relays82.update=0",
                     "set qrndhcpopts.dorelay82sc1.output=", "set qrndhcpopts.dorelay82sc1.update=0",
                     "commit qrndhcpopts", "commit network", "sync"}));

    change("ReqOption.1", "Enable", "0");
    change("SentOption.1", "Enable", "0");
    outside().uci_codes["set network.wan.vendorid"] = EIO;
    EXPECT_EQ(send(kClient, kCommit, "{}"), Fails(EIO));
    EXPECT_EQ(outside().uci["network.wan.reqopts"], "1 3");
    outside().uci_codes.clear();
    outside().done.clear();
    EXPECT_EQ(send(kClient, kCommit, "{}"), Succeeds()) << "what failed is tried again";
    EXPECT_EQ(outside().done, (Lines{"set network.wan.vendorid=", "set qrndhcpopts.sent60.update=0",
                                     "commit qrndhcpopts", "sync"}));
    const std::pair<uint32_t (*)(uint32_t), Lines> updates[] = {
        {_Qsc_DhcpV4ClientReqOption_Update, {"set qrndhcpopts.req43.update=0"}},
        {_Qsc_DhcpV4ClientSentOption_Update,
         {"set network.wan.vendorid=", "set qrndhcpopts.sent60.update=0", "set network.wan.clientid=617A",
          "set qrndhcpopts.sent61.update=0"}},
        {_Qsc_DhcpV4ClientRelaySentOption_Update,
         {"set qrndhcpopts.relays82.output=s", "set qrndhcpopts.relays82.update=0"}},
        {_Qsc_DhcpV4ClientRelaySentOptionSubcode_Update,
         {"set qrndhcpopts.dorelay82sc1.output=", "set qrndhcpopts.dorelay82sc1.update=0",
          "set qrndhcpopts.dorelay82sc2.output=", "set qrndhcpopts.dorelay82sc2.update=0"}},
    };
    for (const auto& [update, done] : updates) {
        outside().done.clear();
        EXPECT_EQ(update(0), Succeeds());
        EXPECT_EQ(outside().done, Lines{}) << "nothing has changed";
        EXPECT_EQ(update(1), Succeeds());
        EXPECT_EQ(outside().done, done) << "forced";
    }
}

TEST_F(DhcpV4Client, WhatCannotBeReadWholeIsNotWritten)
{
    const struct {
        const char* key;  // what cannot be read ...
        uint32_t failure; // ... and why; 0: it is too long
        const char* option;
    } cases[] = {
        {"network.wan.reqopts", 0, "ReqOption.1"},
        {"network.wan.reqopts", EIO, "ReqOption.1"},
        {"qrndhcpopts.req43.enable", EIO, "ReqOption.1"},
        {"qrndhcpopts.req43.update", EIO, "ReqOption.1"},
        {"qrndhcpopts.sent61.outputtype", EIO, "SentOption.2"},
        {"qrndhcpopts.sent61.input", EIO, "SentOption.2"},
        {"qrndhcpopts.sent61.input", 0, "SentOption.2"},
    };
    for (const auto& [key, failure, option] : cases) {
        outside() = Outside{};
        outside().uci["network.wan.clientid"] = "kept";
        EXPECT_EQ(
            send(std::string{"Device.DHCPv4.Client.1."} + option, kSet, R"({"Enable":{"ParamValue":"1"}})"),
            Succeeds());
        if (failure != 0) {
            outside().uci_codes[std::string{"get "} + key] = failure;
        } else {
            outside().uci[key] = std::string(2099, '7');
        }
        outside().done.clear();
        EXPECT_EQ(send("Device.DHCPv4.Client.1", kCommit, "{}"), Fails(failure != 0 ? failure : EFAULT))
            << key;
        EXPECT_EQ(outside().done, Lines{"sync"}) << key;
    }
}

TEST_F(DhcpV4Client, OnlyAMissingOptionEqualsTheEmptyValue)
{
    constexpr const char* kKey = "qrndhcpopts.sent60.input";
    const auto set_empty = [&] {
        outside().done.clear();
        EXPECT_EQ(send(std::string{kSent} + "1", kSet, R"({"Value":{"ParamValue":""}})"), Succeeds());
        return outside().done;
    };
    const Lines written{"set qrndhcpopts.sent60.input=", "set qrndhcpopts.sent60.update=1"};
    EXPECT_EQ(set_empty(), Lines{}) << "missing";
    outside().uci[kKey] = std::string(600, 'v');
    EXPECT_EQ(set_empty(), written) << "too long";
    outside().uci[kKey] = "";
    EXPECT_EQ(set_empty(), Lines{}) << "empty";
    outside().uci_codes[std::string{"get "} + kKey] = EIO;
    EXPECT_EQ(set_empty(), written) << "not to be read";
    // Whether there is DHCP at all decides what a broadcast flag is worth.
    outside().uci_codes["get network.wan.proto"] = EIO;
    outside().done.clear();
    EXPECT_EQ(call(Qsc_DhcpV4Client_Do_Broadcast, kSet, R"({"ParamValue":"1"})"), Fails(EIO));
    EXPECT_EQ(outside().done, Lines{});
}

TEST_F(DhcpV4Client, ExistenceIsAskedOfTheConfiguration)
{
    constexpr const char* kCommand = "/sbin/uci -q get network.wan";
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(1, 0), Succeeds());
    outside().outputs[kCommand] = "\n";
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(1, 0), Succeeds());
    outside().outputs[kCommand] = "interface\n";
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(2, 0), 1u);
    EXPECT_EQ(outside().commands(), Lines(3, std::string{"popen "} + kCommand));
    outside().uci["qrndhcpopts.sent61.instr"] = "x";
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(1, 2), Succeeds());
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(2, 2), 1u);
    for (const uint32_t instance : {0u, 3u, 0x80000001u, UINT32_MAX}) {
        EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(instance, 2), Succeeds());
    }
    EXPECT_EQ(_Qsc_DhcpV4ClientSentOption_CheckExist(2, 1), Succeeds());
}

TEST_F(DhcpV4Client, ServicePassesTheActionOn)
{
    EXPECT_EQ(send("Device.DHCPv4.Client.1", kService, R"({"action":"restart now"})"), Succeeds());
    EXPECT_EQ(outside().commands(), Lines{"popen /etc/init.d/network restart now"});
    EXPECT_EQ(send("Device.DHCPv4.Client.1", kService, R"({"action":"a\nb"})"), Fails(EFAULT));
    outside().wait_statuses["/etc/init.d/network stop"] = 2 << 8;
    EXPECT_EQ(send("Device.DHCPv4.Client.1", kService, R"({"action":"stop"})"), Fails(EFAULT));
}
