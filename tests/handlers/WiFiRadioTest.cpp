// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.Radio" on a fake device.
#include <cstring>

#include <json-c/json.h>

#include "qsc_wifi.h"
#include "qslog.h"
#include "support/Outside.h"

using namespace test;

namespace
{

constexpr uint32_t kMqtt = QSC_COMMANDER_MQTT;
constexpr uint32_t kCli = QSC_COMMANDER_CLI;

} // namespace

class WiFiRadio : public OutsideTest
{
};

TEST_F(WiFiRadio, RegulatoryTablesHaveTheLayoutThatHostsReadBytewise)
{
    EXPECT_EQ(sizeof(Qsc_BgRegion), 38u);
    EXPECT_EQ(sizeof(Qsc_ARegion), 130u);
    const auto bytes_of = [](const auto& row) {
        return std::string(reinterpret_cast<const char*>(&row), sizeof row);
    };
    EXPECT_EQ(bytes_of(BG_Region_CH_Table[11]), std::string(38, '\0'));
    EXPECT_EQ(bytes_of(A_Region_CH_Table[15]), std::string(130, '\0'));
    EXPECT_EQ(bytes_of(Country_Region_Table[3].country), "GB" + std::string(6, '\0'));
    EXPECT_EQ(bytes_of(*Country_Region_Table[3].bg), bytes_of(BG_Region_CH_Table[1]));
}

TEST_F(WiFiRadio, InstancesStandInThePath)
{
    outside().uci = {{"mtkwireless.ra0.txpower", "1"}, {"mtkwireless.rax0.txpower", "2"}};
    const struct {
        const char* path;
        const char* answer; // null: no such instance
    } cases[] = {
        {"Device.WiFi.Radio.1", "1"},       {"Device.WiFi.Radio.2", "2"},
        {"Device.WiFi.Radio.0x2", "2"},     {"Device.WiFi.Radio.02", "2"},
        {"Device.WiFi.Radio.2.Stats", "2"}, {"Device.WiFi.Radio.3", nullptr},
        {"Device.WiFi.Radio.010", nullptr}, {"Device.WiFi.Radio.-1", nullptr},
        {"Device.WiFi.Radio.", nullptr},    {"Device.WiFi.Radio", nullptr},
        {"Device.WiFi.Radio.x", nullptr},   {"Device.WiFi.Radio.4294967297", nullptr},
    };
    for (const auto& [path, answer] : cases) {
        EXPECT_EQ(read(path, "TransmitPower"), answer != nullptr ? Answers(answer) : Fails(EINVAL, ""))
            << path;
    }
    outside().logs.clear();
    EXPECT_EQ(set("Device.WiFi.Radio.9", "PossibleChannels", "1"), Fails(EINVAL))
        << "the instance comes before the operation";
    EXPECT_EQ(outside().logs[0], (LogLine{3, "[E] Instance number [9] error\n"}));
    EXPECT_EQ(set("Device.WiFi.Radio.1", "PossibleChannels", "1"), Fails(EFAULT));
    EXPECT_EQ(set("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber5G", "1"), Fails(EFAULT));
    for (const char* path : {"", static_cast<const char*>(nullptr)}) {
        const Json object{"{}"};
        EXPECT_EQ(Qsc_DevWiFiRadio_Do_Enable(path, object.get(), kGet, 8, 0, 0), Fails(EINVAL));
        EXPECT_EQ(object.text(), R"({"ParamId":22})");
    }
    EXPECT_EQ(Qsc_DevWiFiRadio_Do_Enable("Device.WiFi.Radio.1", nullptr, kGet, 8, 0, 0), Fails(EINVAL));
}

TEST_F(WiFiRadio, NumbersAreReadAsTheyAreStored)
{
    const struct {
        const char* name;
        const char* option;
        const char* stored; // null: missing
        const char* answer; // null: refused
        const char* mqtt;
    } cases[] = {
        {"Enable", "radioOn", "1", "1", "\"true\""},
        {"Enable", "radioOn", "2", "2", "\"false\""},
        {"Enable", "radioOn", nullptr, "0", "\"false\""},
        {"TransmitPower", "txpower", "0x64", "100", "100"},
        {"IEEE80211hEnabled", "doth", "1", "1", "\"enable\""},
        {"IEEE80211hEnabled", "doth", "0", "0", "\"disable\""},
        {"X_QRN_ZeroWaitDFS", "zerowaitdfs", "1", "1", "1"},
        {"X_QRN_ATF", "atf", "1", "1", "\"true\""},
        {"X_QRN_THOLD", "rssithold", "-70", "-70", "-70"},
        {"X_QRN_ExplicitBeamforming", "etxbfen", "1", "1", "1"},
        {"X_QRN_ImplicitBeamforming", "itxbfen", "", "0", "0"},
        {"AutoChannelEnable", "channel", "0", "1", "\"true\""},
        {"AutoChannelEnable", "channel", "36", "0", "\"false\""},
        {"AutoChannelEnable", "channel", "1;6;11", "0", "\"false\""},
        {"AutoChannelEnable", "channel", nullptr, "0", "\"false\""},
        {"X_QRN_AutoChannelSkipList", "channel", "1;6;11", "\"1;6;11\"", "\"1;6;11\""},
        {"X_QRN_AutoChannelSkipList", "channel", "36", "\"\"", "\"\""},
        {"OperatingStandards", "band", "17", "\"a,n,ac,ax\"", "\"ax\""},
        {"OperatingStandards", "band", "16", "\"b,g,n,ax\"", "\"ax\""},
        {"OperatingStandards", "band", "1", nullptr, nullptr},
        {"OperatingStandards", "band", nullptr, "\"\"", "\"\""},
        {"OperatingChannelBandwidth", "bandwidth", "3", "3", "\"160MHz\""},
        {"OperatingChannelBandwidth", "bandwidth", nullptr, "0", "\"20MHz\""},
        {"OperatingChannelBandwidth", "bandwidth", "4", nullptr, nullptr},
        {"OperatingChannelBandwidth", "bandwidth", "-1", nullptr, nullptr},
        {"RegulatoryDomain", "country", "us", "\"US\"", "\"US\""},
        {"RegulatoryDomain", "country", nullptr, "\"\"", "\"\""},
        {"PossibleChannels", "country", "CA",
         "\"36,40,44,48,52,56,60,64,100,104,108,112,116,132,136,140,144,149,153,157,161,165\"",
         "\"36,40,44,48,52,56,60,64,100,104,108,112,116,132,136,140,144,149,153,157,161,165\""},
        {"PossibleChannels", "country", "ca", nullptr, nullptr},
        {"PossibleChannels", "country", "", nullptr, nullptr},
        {"PossibleChannels", "country", nullptr, nullptr, nullptr},
    };
    const auto answered = [](const char* text) {
        return text != nullptr ? Answers(text) : Fails(EFAULT, "");
    };
    for (const auto& [name, option, stored, answer, mqtt] : cases) {
        outside() = Outside{};
        const std::string key = std::string{"mtkwireless.rax0."} + option;
        if (stored != nullptr) {
            outside().uci[key] = stored;
        }
        EXPECT_EQ(read("Device.WiFi.Radio.2", name), answered(answer)) << name;
        const LogLine missing{4, "[W] " + key + " not found\n"};
        EXPECT_EQ(stored == nullptr, !outside().logs.empty() && outside().logs[0] == missing) << name;
        EXPECT_EQ(read("Device.WiFi.Radio.2", name, kMqtt), answered(mqtt)) << name;
        EXPECT_TRUE(outside().commands().empty());
    }
    outside().logs.clear();
    EXPECT_EQ(read("Device.WiFi.Radio.1", "IEEE80211hEnabled"), Answers("0"));
    EXPECT_TRUE(outside().logs.empty()) << "nobody misses it on 2.4 GHz";
    outside().uci["mtkwireless.ra0.country"] = "CA";
    EXPECT_EQ(read("Device.WiFi.Radio.1", "PossibleChannels"), Answers("\"1,2,3,4,5,6,7,8,9,10,11\""));
}

TEST_F(WiFiRadio, SetsStoreDriveAndRecordInOrder)
{
    const auto iwpriv = [](const std::string& rest) { return "popen /usr/sbin/iwpriv " + rest; };
    const std::string up = "system ifconfig rax0 up > /dev/null 2>&1";
    const struct {
        const char* name;
        const char* value;
        uint32_t commander;
        Lines done; // without the sync after each command
        const char* event;
    } cases[] = {
        {"Enable", "0", kCli, {"set mtkwireless.rax0.radioOn=0"}, "Radio enabled flag 0 by CLI"},
        {"Enable", "\"true\"", kMqtt, {"set mtkwireless.rax0.radioOn=1"}, "Radio enabled flag 1 by MQTT"},
        {"Enable", "\"1\"", kMqtt, {"set mtkwireless.rax0.radioOn=0"}, "Radio enabled flag 0 by MQTT"},
        {"Enable", "1", kMqtt, {"set mtkwireless.rax0.radioOn=1"}, "Radio enabled flag 1 by MQTT"},
        {"TransmitPower",
         "\"50\"",
         kCli,
         {"set mtkwireless.rax0.txpower=50", up, iwpriv("rax0 set TxPower=50")},
         "TX power 50 by CLI"},
        {"IEEE80211hEnabled",
         "\"enable\"",
         kMqtt,
         {"set mtkwireless.rax0.doth=1", up, iwpriv("rax0 set IEEE80211H=1")},
         "DFS enabled flag 1 by MQTT"},
        {"IEEE80211hEnabled",
         "\"true\"",
         kMqtt,
         {"set mtkwireless.rax0.doth=0", up, iwpriv("rax0 set IEEE80211H=0")},
         "DFS enabled flag 0 by MQTT"},
        {"X_QRN_ZeroWaitDFS",
         "1",
         kCli,
         {"set mtkwireless.rax0.zerowaitdfs=1"},
         "ignore CAC enabled flag 1 by CLI"},
        {"X_QRN_ATF",
         "1",
         kCli,
         {"set mtkwireless.rax0.atf=1", up, iwpriv("rax0 set vow_airtime_fairness_en=1")},
         "Airtime fairness enabled 1 by CLI"},
        {"X_QRN_ATF",
         "\"false\"",
         kMqtt,
         {"set mtkwireless.mesh.coordatf=0", "set mtkwireless.rax0.atf=0", up,
          iwpriv("rax0 set vow_airtime_fairness_en=0")},
         "Airtime fairness enabled 0 by MQTT"},
        {"X_QRN_THOLD",
         "-70",
         kCli,
         {"set mtkwireless.rax0.rssithold=-70"},
         "Radio RSSI threshold -70 by CLI"},
        {"X_QRN_ExplicitBeamforming",
         "1",
         kCli,
         {"set mtkwireless.rax0.etxbfen=1", up, iwpriv("rax0 set ETxBfEnCond=1")},
         "Radio explicit beamforming 1 by CLI"},
        {"X_QRN_ImplicitBeamforming",
         "1",
         kCli,
         {"set mtkwireless.rax0.itxbfen=1", up, iwpriv("rax0 set ITxBfEn=1")},
         "Radio implicit beamforming 1 by CLI"},
        {"Channel",
         "36",
         kCli,
         {"set mtkwireless.rax0.channel=36", "system ifconfig rax0 up >/dev/null 2>&1",
          iwpriv("rax0 set Channel=36")},
         "Channel 36 by CLI"},
        {"Channel",
         "\"auto\"",
         kMqtt,
         {"set mtkwireless.rax0.channel=0", "system ifconfig rax0 up >/dev/null 2>&1",
          iwpriv("rax0 set Channel=0")},
         "Channel 0 by MQTT"},
        {"Channel",
         "\"0x24\"",
         kMqtt,
         {"set mtkwireless.rax0.channel=36", "system ifconfig rax0 up >/dev/null 2>&1",
          iwpriv("rax0 set Channel=36")},
         "Channel 36 by MQTT"},
        {"AutoChannelEnable",
         "1",
         kCli,
         {"set mtkwireless.rax0.channel=0", "system echo 1 > /tmp/.rax0_ACS_renew"},
         "Auto Channel enabled flag 1 by CLI"},
        {"AutoChannelEnable", "0", kCli, {}, "Auto Channel enabled flag 0 by CLI"},
        {"X_QRN_AutoChannelSkipList",
         "\"36;40\"",
         kCli,
         {"set mtkwireless.rax0.channel=36;40", "system echo 1 > /tmp/.rax0_ACS_renew"},
         "skip channel list 36;40 by CLI"},
        {"X_QRN_AutoChannelSkipList",
         "\"\"",
         kCli,
         {"set mtkwireless.rax0.channel=", "system echo 1 > /tmp/.rax0_ACS_renew"},
         "skip channel list <empty> by CLI"},
        {"OperatingChannelBandwidth",
         "0",
         kCli,
         {"set mtkwireless.rax0.bandwidth=0", up, iwpriv("rax0 set VhtBw=0"), iwpriv("rax0 set HtBw=0")},
         "BandWidth 20MHz by CLI"},
        {"OperatingChannelBandwidth",
         "\"40MHz\"",
         kMqtt,
         {"set mtkwireless.rax0.bandwidth=1", up, iwpriv("rax0 set VhtBw=0"), iwpriv("rax0 set HtBw=1")},
         "BandWidth 40MHz by MQTT"},
        {"OperatingChannelBandwidth",
         "2",
         kMqtt,
         {"set mtkwireless.rax0.bandwidth=2", up, iwpriv("rax0 set VhtBw=1"), iwpriv("rax0 set HtBw=1")},
         "BandWidth 80MHz by MQTT"},
        {"OperatingChannelBandwidth",
         "3",
         kCli,
         {"set mtkwireless.rax0.bandwidth=3", up, iwpriv("rax0 set VhtBw=2"), iwpriv("rax0 set HtBw=1")},
         "BandWidth 160MHz by CLI"},
        {"RegulatoryDomain",
         "\"us\"",
         kCli,
         {"set mtkwireless.rax0.country=US", "set mtkwireless.rax0.regionidx=13"},
         "country US by CLI"},
    };
    for (const auto& [name, value, commander, done, text] : cases) {
        outside() = Outside{};
        outside().uci["mtkwireless.rax0.radioOn"] = "1";
        EXPECT_EQ(set("Device.WiFi.Radio.2", name, value, commander), Succeeds()) << name << value;
        std::erase(outside().done, "sync");
        EXPECT_EQ(outside().done, done) << name;
        EXPECT_EQ(outside().events, Lines{event(std::string{"set WiFi "} + text)});

        expect_each_failure_to_end(
            [] {
                outside() = Outside{};
                outside().uci["mtkwireless.rax0.radioOn"] = "1";
            },
            [&] { return set("Device.WiFi.Radio.2", name, value, commander); });

        // A radio that is off is only configured; it is on when its switch is 1, not 2.
        for (const char* radio_on : {"0", "2"}) {
            outside() = Outside{};
            outside().uci["mtkwireless.rax0.radioOn"] = radio_on;
            EXPECT_EQ(set("Device.WiFi.Radio.2", name, value, commander), Succeeds()) << name;
            EXPECT_EQ(outside().commands().empty(), std::string{name} != "X_QRN_AutoChannelSkipList") << name;
        }
    }
}

TEST_F(WiFiRadio, StandardsReachEveryAccessPoint)
{
    outside().uci["mtkwireless.ra0.radioOn"] = "1";
    EXPECT_EQ(set("Device.WiFi.Radio.1", "OperatingStandards", "\"b,g,n\""), Succeeds());
    Lines expected;
    for (int i = 0; i < 8; ++i) {
        const std::string interface = "ra" + std::to_string(i);
        expected.push_back("system ifconfig " + interface + " up > /dev/null 2>&1");
        expected.push_back("popen /usr/sbin/iwpriv " + interface + " set WirelessMode=9");
    }
    EXPECT_EQ(outside().commands(), expected);
    EXPECT_EQ(outside().events, Lines{event("set WiFi band support b,g,n by CLI")});
    expect_each_failure_to_end(
        [] {
            outside() = Outside{};
            outside().uci["mtkwireless.ra0.radioOn"] = "1";
        },
        [] { return set("Device.WiFi.Radio.1", "OperatingStandards", "\"802.11ax\"", kMqtt); });
    outside().uci = {{"mtkwireless.ra0.radioOn", "2"}};
    outside().done.clear();
    EXPECT_EQ(set("Device.WiFi.Radio.1", "OperatingStandards", "\"b,g,n,ax\""), Succeeds());
    EXPECT_EQ(outside().done, Lines{"set mtkwireless.ra0.band=16"});

    for (const char* wrong : {"\"a,n,ac\"", "\"b,g,n,\"", "\"B,G\"", "\"\"", "9"}) {
        EXPECT_EQ(set("Device.WiFi.Radio.1", "OperatingStandards", wrong), Fails(EFAULT)) << wrong;
    }
    EXPECT_EQ(set("Device.WiFi.Radio.2", "OperatingStandards", "\"b,g\""), Fails(EFAULT));
    EXPECT_EQ(set("Device.WiFi.Radio.2", "OperatingStandards", "\"a,n\"", kMqtt), Fails(EFAULT))
        << "MQTT sends names";
    EXPECT_EQ(outside().uci["mtkwireless.ra0.band"], "16");
}

TEST_F(WiFiRadio, RefusedSets)
{
    const struct {
        const char* name;
        const char* value;
        uint32_t commander;
        uint32_t code;
        Lines done;
    } cases[] = {
        {"TransmitPower", "\"high\"", kCli, EFAULT, {}},
        {"TransmitPower", "4294967296", kCli, EFAULT, {}},
        {"Channel", "\"auto\"", kCli, EFAULT, {}},
        {"Channel", "\"6x\"", kMqtt, EFAULT, {}},
        {"AutoChannelEnable", "2", kCli, EFAULT, {}},
        {"AutoChannelEnable", "-1", kCli, EFAULT, {}},
        {"OperatingChannelBandwidth", "4", kCli, EFAULT, {}},
        {"OperatingChannelBandwidth", "-1", kCli, EFAULT, {}},
        {"OperatingChannelBandwidth", "\"80\"", kMqtt, EFAULT, {}},
        {"RegulatoryDomain", "\"USA\"", kCli, EINVAL, {}},
        {"RegulatoryDomain", "\"\"", kCli, EINVAL, {}},
        {"RegulatoryDomain", "12", kCli, EINVAL, {}},
        {"RegulatoryDomain", "null", kCli, EINVAL, {}},
        {"RegulatoryDomain", "\"DE\"", kCli, EFAULT, {"set mtkwireless.ra0.country=DE"}},
        // A radio whose switch is missing may be on: that is not ignored.
        {"AutoChannelEnable", "1", kCli, EFAULT, {"set mtkwireless.ra0.channel=0"}},
    };
    for (const auto& [name, value, commander, code, done] : cases) {
        outside() = Outside{};
        EXPECT_EQ(set("Device.WiFi.Radio.1", name, value, commander), Fails(code)) << name << value;
        EXPECT_EQ(outside().done, done) << name << value;
        EXPECT_TRUE(outside().events.empty());
    }
    // Each radio takes the row of its own band.
    for (const auto& [path, region] : {std::pair{"Device.WiFi.Radio.1", "set mtkwireless.ra0.regionidx=1"},
                                       {"Device.WiFi.Radio.2", "set mtkwireless.rax0.regionidx=0"}}) {
        EXPECT_EQ(set(path, "RegulatoryDomain", "\"CN\""), Succeeds());
        EXPECT_EQ(outside().done.back(), region);
    }
    const std::string longest = text_of(127, ';');
    EXPECT_EQ(set("Device.WiFi.Radio.1", "X_QRN_AutoChannelSkipList", longest), Succeeds());
    EXPECT_EQ(set("Device.WiFi.Radio.1", "X_QRN_AutoChannelSkipList", text_of(128, ';')), Fails(EFAULT));
    EXPECT_EQ(read("Device.WiFi.Radio.1", "X_QRN_AutoChannelSkipList"), Answers(longest));
    const struct {
        int status;
        uint32_t code;
    } ends[] = {{0, 0}, {3 << 8, 3}, {9, EFAULT}, {-1, EFAULT}};
    for (const auto& [status, code] : ends) {
        outside().wait_statuses["echo 1 > /tmp/.ra0_ACS_renew"] = status;
        EXPECT_EQ(set("Device.WiFi.Radio.1", "X_QRN_AutoChannelSkipList", "\"1;6\""), Fails(code));
    }
    outside().uci_codes["set mtkwireless.mesh.coordatf"] = EIO;
    EXPECT_EQ(set("Device.WiFi.Radio.1", "X_QRN_ATF", "0"), Fails(EIO));
    Qslog_SetLogLevel(6);
    outside().done.clear();
    outside().logs.clear();
    EXPECT_EQ(send("Device.WiFi.Radio.1", kSet, R"({"X_QRN_ZeroWaitDFS":{"ParamValue":1}})"),
              Answers(R"({"X_QRN_ZeroWaitDFS":{"ParamValue":1}})"));
    const LogLine only_5ghz{6, "[I] DFS only works in WiFi 5GHz\n"};
    EXPECT_EQ(outside().logs, std::vector<LogLine>{only_5ghz});
    EXPECT_EQ(read("Device.WiFi.Radio.1", "IEEE80211hEnabled"), Answers("0"));
    EXPECT_EQ(outside().logs, std::vector<LogLine>(2, only_5ghz));
    EXPECT_TRUE(outside().done.empty());
}

TEST_F(WiFiRadio, ChannelIsAskedOfTheDriver)
{
    const auto command = [](const char* interface) {
        return std::string{"iwconfig "} + interface +
               R"( 2>/dev/null | awk -F" " '/Channel:/{print $2;}' | cut -d: -f 2)";
    };
    const struct {
        std::map<std::string, std::string> uci;
        uint32_t commander;
        const char* asked; // null: no command
        const char* answer;
    } cases[] = {
        {{{"radioOn", "1"}, {"enable1", "1"}, {"channel", "36"}}, kCli, "rax0", "44"},
        {{{"radioOn", "1"}, {"enable3", "1"}, {"channel", "36"}}, kCli, "rax2", "44"},
        {{{"radioOn", "1"}, {"enable8", "2"}, {"channel", "36"}}, kCli, "rax8", "44"},
        {{{"radioOn", "1"}, {"channel", "36"}}, kCli, nullptr, "0"},
        {{{"radioOn", "0"}, {"enable1", "1"}, {"channel", "36"}}, kCli, nullptr, "0"},
        {{{"radioOn", "1"}, {"enable1", "1"}, {"channel", "36"}}, kMqtt, nullptr, "0"},
        {{{"radioOn", "1"}, {"enable1", "1"}, {"channel", "0"}}, kMqtt, nullptr, "\"auto\""},
        {{{"mesh", "1"}, {"channel", "36"}}, kMqtt, "rax8", "44"},
        {{{"mesh", "1"}, {"enable2", "1"}, {"channel", "0"}}, kMqtt, "rax1", "\"auto\""},
    };
    for (const auto& [uci, commander, asked, answer] : cases) {
        outside() = Outside{};
        for (const auto& [option, value] : uci) {
            outside().uci[option == "mesh" ? "mtkwireless.mesh.enable" : "mtkwireless.rax0." + option] =
                value;
        }
        if (asked != nullptr) {
            outside().outputs[command(asked)] = "44\nmore\n";
        }
        EXPECT_EQ(read("Device.WiFi.Radio.2", "Channel", commander), Answers(answer));
        EXPECT_EQ(outside().commands(), asked != nullptr ? Lines{"popen " + command(asked)} : Lines{});
    }
    outside().outputs.clear();
    EXPECT_EQ(read("Device.WiFi.Radio.2", "Channel"), Answers("0")) << "a driver that says nothing";
}

TEST_F(WiFiRadio, StationsAreCountedByTheRadio)
{
    outside().outputs["/usr/bin/qrnstainfo -a"] = "3\n";
    outside().outputs["/usr/bin/qrnstainfo -b"] = "12 of\n40";
    EXPECT_EQ(read("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber5G"), Answers("\"3\""));
    EXPECT_EQ(read("Device.WiFi.Radio.2", "X_QRN_AssociatedNumber2G"), Answers("\"12 of\""));
    outside().outputs["/usr/bin/qrnstainfo -a"] = "";
    EXPECT_EQ(read("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber2G"), Answers("\"\""));
    outside().wait_statuses["/usr/bin/qrnstainfo -a"] = 1 << 8;
    EXPECT_EQ(read("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber2G"), Fails(EFAULT));
    outside().wait_statuses["/usr/bin/qrnstainfo -a"] = -1;
    EXPECT_EQ(read("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber2G"), Fails(EFAULT));
}
