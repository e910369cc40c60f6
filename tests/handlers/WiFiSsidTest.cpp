// SPDX-License-Identifier: Apache-2.0
// "Device.WiFi.SSID" on a fake device.
#include <filesystem>

#include "qsc_wifi.h"
#include "support/Outside.h"
#include "support/TemporaryFolder.h"
#include "uci/PrivateFolders.h"

using namespace test;

namespace
{

constexpr uint32_t kMqtt = QSC_COMMANDER_MQTT;

} // namespace

class WiFiSsid : public OutsideTest
{
  protected:
    static Answer get(int instance, const char* name, uint32_t commander = QSC_COMMANDER_CLI)
    {
        return OutsideTest::get(path_of(instance), name, commander);
    }

    /// The answer of a get that works.
    static Answer answer(const char* name, const std::string& value)
    {
        return Answers(std::string{R"({")"} + name + R"(":{"ParamValue":)" + value + R"(,"ParamId":0}})");
    }

    static Answer set(int instance, const char* name, const std::string& value,
                      uint32_t commander = QSC_COMMANDER_CLI)
    {
        return OutsideTest::set(path_of(instance), name, value, commander);
    }

    static std::string path_of(int instance) { return "Device.WiFi.SSID." + std::to_string(instance); }

    /// A topology dump with a name, and the copying that the library asks the shell for.
    static void put_dump(const std::string& text)
    {
        write_file("/tmp/dump.txt", text);
        outside().uci["mtkwireless.mesh.enable"] = "1";
        outside().on_command = [](const std::string& command) {
            if (command == "/bin/cp /tmp/dump.txt /tmp/dumptmep.txt") {
                write_file("/tmp/dumptmep.txt", read_file("/tmp/dump.txt"));
            }
        };
    }
};

TEST_F(WiFiSsid, InstancesAreAccessPointsOfTwoRadios)
{
    for (const int instance : {1, 8, 11, 18}) {
        const std::string section = instance < 10 ? "mtkwireless.ra0.enable" : "mtkwireless.rax0.enable";
        outside() = Outside{};
        outside().uci[section + std::to_string(instance % 10)] = "1";
        EXPECT_EQ(get(instance, "Enable"), answer("Enable", "1")) << instance;
        EXPECT_EQ(get(instance, "Enable", kMqtt), answer("Enable", "\"true\""));
    }
    for (const int instance : {0, 9, 10, 19, -1, INT32_MAX, INT32_MIN}) {
        outside().logs.clear();
        EXPECT_EQ(get(instance, "Enable"), Fails(EINVAL, R"({"Enable":{"ParamId":22}})")) << instance;
        EXPECT_EQ(outside().logs[0],
                  (LogLine{3, "[E] Instance number [" + std::to_string(instance) + "] error\n"}));
    }
    EXPECT_EQ(send("Device.WiFi.SSID.0x12", kGet, R"({"Enable":{}})"), answer("Enable", "1"))
        << "instance 18";
    EXPECT_EQ(send("Device.WiFi.SSID.010", kGet, R"({"Enable":{}})"), answer("Enable", "0")) << "instance 8";
    EXPECT_EQ(set(12, "Enable", "\"true\"", kMqtt), Succeeds());
    EXPECT_EQ(outside().done, Lines{"set mtkwireless.rax0.enable2=1"});
    EXPECT_EQ(outside().events, Lines{event("set WiFi SSID enabled flag 1 by MQTT")});
    for (const char* name : {"Status", "Name", "MACAddress"}) {
        EXPECT_EQ(get(9, name), Answers(std::string{R"({")"} + name + R"(":{}})"))
            << "says nothing, about nothing";
        EXPECT_EQ(set(1, name, "1"), Succeeds());
    }
    EXPECT_EQ(Qsc_DevWiFiSSID_Do_Status("x", nullptr, kGet, 8, 0, 0), Fails(EINVAL));
}

TEST_F(WiFiSsid, LowerLayersAreTheSwitchesOfBothRadios)
{
    const struct {
        const char* first;
        const char* second;
        const char* layers;
    } cases[] = {{"1", "1", "\"Device.WiFi.Radio.1,Device.WiFi.Radio.2\""},
                 {"1", "0", "\"Device.WiFi.Radio.1\""},
                 {"2", "1", "\"Device.WiFi.Radio.2\""},
                 {"0", "0", "\"\""}};
    for (const auto& [first, second, layers] : cases) {
        outside().uci = {{"mtkwireless.ra0.enable3", first}, {"mtkwireless.rax0.enable3", second}};
        EXPECT_EQ(get(3, "LowerLayers"), answer("LowerLayers", layers));
        EXPECT_EQ(get(13, "LowerLayers"), answer("LowerLayers", layers));
    }
    const struct {
        const char* value;
        Lines done;
        const char* shown;
    } sets[] = {
        {"\"Device.WiFi.Radio.2\"",
         {"set mtkwireless.ra0.enable1=0", "set mtkwireless.rax0.enable1=1"},
         "Device.WiFi.Radio.2"},
        {"\"Device.WiFi.Radio.2, Device.WiFi.Radio.1\"",
         {"set mtkwireless.ra0.enable1=1", "set mtkwireless.rax0.enable1=1"},
         "Device.WiFi.Radio.2, Device.WiFi.Radio.1"},
        {"\"\"", {"set mtkwireless.ra0.enable1=0", "set mtkwireless.rax0.enable1=0"}, "<empty>"},
        {"null", {"set mtkwireless.ra0.enable1=0", "set mtkwireless.rax0.enable1=0"}, "<empty>"},
    };
    for (const auto& [value, done, shown] : sets) {
        outside() = Outside{};
        outside().uci_codes["set mtkwireless.ra0.enable1"] = EIO;
        EXPECT_EQ(set(1, "LowerLayers", value), Succeeds()) << "the first radio's failure does not count";
        EXPECT_EQ(outside().done, done);
        EXPECT_EQ(outside().events, Lines{event(std::string{"set WiFi Lowerlayers "} + shown + " by CLI")});
    }
    outside().uci_codes["set mtkwireless.rax0.enable1"] = ENXIO;
    EXPECT_EQ(set(1, "LowerLayers", "\"\""), Fails(ENXIO));
    EXPECT_EQ(set(1, "LowerLayers", "[]"), Fails(EFAULT));
    EXPECT_EQ(send(path_of(1), kSet, R"({"LowerLayers":{}})"), Fails(EINVAL));
}

TEST_F(WiFiSsid, AddressAndCountersComeFromCommands)
{
    const std::string command = R"(iwconfig rax1 | sed -n 's/.*Access Point: \([0-9\:A-F]\{17\}\).*/\1/p')";
    outside().outputs[command] = "02:0C:43:26:60:01\nx\n";
    EXPECT_EQ(get(12, "BSSID"), answer("BSSID", "\"02:0C:43:26:60:01\""));
    outside().outputs.clear();
    EXPECT_EQ(get(12, "BSSID"), answer("BSSID", "\"\""));
    outside().wait_statuses[command] = 1 << 8;
    outside().logs.clear();
    EXPECT_EQ(get(12, "BSSID"), Fails(EFAULT, R"({"BSSID":{"ParamId":14}})"));
    EXPECT_EQ(outside().logs[0], (LogLine{4, "[W] " + command + " failed\n"}));
    EXPECT_EQ(set(12, "BSSID", "\"x\""), Fails(EFAULT));

    outside().outputs["/bin/cat /sys/class/net/ra0/statistics/tx_bytes"] = "18446744073709551615\n";
    outside().outputs["/bin/cat /sys/class/net/rax7/statistics/rx_bytes"] = "5\n";
    EXPECT_EQ(send("Device.WiFi.SSID.1.Stats", kGet, R"({"BytesSent":{}})"),
              answer("BytesSent", "\"18446744073709551615\""));
    EXPECT_EQ(send("Device.WiFi.SSID.18.Stats", kGet, R"({"BytesReceived":{}})"),
              answer("BytesReceived", "\"5\""));
    EXPECT_EQ(send("Device.WiFi.SSID.18.Stats", kSet, R"({"BytesReceived":{"ParamValue":"1"}})"),
              Fails(EFAULT));
    EXPECT_EQ(send("Device.WiFi.SSID.9.Stats", kGet, R"({"BytesReceived":{}})"), Fails(EINVAL));
}

TEST_F(WiFiSsid, NamesReachTheDriverExactly)
{
    const struct {
        const char* json;
        const char* quoted;
        const char* stored;
    } names[] = {
        {R"("plain name")", "plain name", "plain name"},
        {R"("a'b\"c$d`e\\f&g\u00e9")", "a'b\\\"c\\$d\\`e\\\\f&g\xC3\xA9", "a'b\"c$d`e\\f&g\xC3\xA9"},
        {R"("line\nbreak;reboot")", "line\nbreak;reboot", "line\nbreak;reboot"},
    };
    for (const auto& [json, quoted, stored] : names) {
        outside() = Outside{};
        outside().uci = {{"mtkwireless.mesh.enable", "0"},
                         {"mtkwireless.mesh.role", "1"},
                         {"mtkwireless.ra0.enable3", "1"},
                         {"mtkwireless.rax0.enable3", "1"}};
        EXPECT_EQ(set(3, "SSID", json), Succeeds());
        EXPECT_EQ(outside().uci["mtkwireless.ra0.ssid3"], stored);
        EXPECT_EQ(outside().uci.count("mtkwireless.rax0.ssid3"), 0u);
        EXPECT_EQ(outside().commands(),
                  (Lines{"system ifconfig ra2 up &>/dev/null",
                         std::string{"popen /usr/sbin/iwpriv ra2 set SSID=\""} + quoted + "\"",
                         "system ifconfig rax2 up &>/dev/null",
                         std::string{"popen /usr/sbin/iwpriv rax2 set SSID=\""} + quoted + "\""}));
    }
    EXPECT_EQ(outside().events.size(), 1u);
    const Outside device = outside();
    expect_each_failure_to_end(
        [&] {
            outside() = device;
            outside().events.clear();
        },
        [] { return set(3, "SSID", "\"x\""); });

    outside().uci["mtkwireless.ra0.enable3"] = "0";
    outside().uci["mtkwireless.rax0.enable3"] = "0";
    outside().done.clear();
    EXPECT_EQ(set(13, "SSID", "\"" + std::string(127, '"' - 1) + "\""), Succeeds());
    EXPECT_EQ(outside().done, Lines{"set mtkwireless.rax0.ssid3=" + std::string(127, '!')});
    outside().done.clear();
    EXPECT_EQ(set(13, "SSID", text_of(128)), Fails(EFAULT));
    EXPECT_EQ(set(13, "SSID", "\"\""), Fails(EFAULT));
    EXPECT_EQ(set(13, "SSID", "null"), Fails(EFAULT));
    EXPECT_EQ(set(13, "SSID", R"("a\u0000b")"), Fails(EFAULT));
    EXPECT_EQ(send(path_of(13), kSet, R"({"SSID":{}})"), Fails(EINVAL));
    EXPECT_TRUE(outside().done.empty());
    EXPECT_EQ(get(13, "SSID"), answer("SSID", "\"" + std::string(127, '!') + "\""));
    EXPECT_EQ(get(14, "SSID"), answer("SSID", "\"\""));
    // 127 characters that each need a backslash still are one name.
    outside().uci["mtkwireless.ra0.enable3"] = "1";
    std::string dollars(127, '$');
    EXPECT_EQ(set(3, "SSID", "\"" + dollars + "\""), Succeeds());
    EXPECT_EQ(outside().uci["mtkwireless.ra0.ssid3"], dollars);
}

TEST_F(WiFiSsid, TheMeshHasOneName)
{
    const struct {
        const char* mesh; // null: missing
        const char* role;
        Lines done;
    } cases[] = {
        {"1",
         "1",
         {"set mtkwireless.mesh.ssid=n", "set mtkwireless.mesh.resyncmesh=1",
          "popen /usr/bin/qrn_mesh_config.sh", "sync"}},
        {"1", "0", {"set mtkwireless.mesh.ssid=n"}},
        {"2", "1", {"set mtkwireless.mesh.ssid=n"}},
        {nullptr, "1", {"set mtkwireless.mesh.ssid=n"}},
    };
    for (const auto& [mesh, role, done] : cases) {
        outside() = Outside{};
        outside().uci = {{"mtkwireless.mesh.role", role}, {"mtkwireless.ra0.enable1", "1"}};
        if (mesh != nullptr) {
            outside().uci["mtkwireless.mesh.enable"] = mesh;
        }
        EXPECT_EQ(set(1, "SSID", "\"n\""), Succeeds());
        EXPECT_EQ(outside().done, done);
    }
    expect_each_failure_to_end(
        [] {
            outside() = Outside{};
            outside().uci = {{"mtkwireless.mesh.enable", "1"}, {"mtkwireless.mesh.role", "1"}};
        },
        [] { return set(1, "SSID", "\"n\""); });
}

TEST_F(WiFiSsid, ARunningMeshIsAskedForItsName)
{
    if (!enter_private_folders()) {
        GTEST_SKIP() << "no /tmp of its own";
    }
    const std::string head = R"({"topology information":[{"Radio Info":[{"BSSINFO":[{"SSID":"other"},)";
    put_dump(head + R"({"SSID":"mesh \"x\""}]}]}]})");
    write_file("/tmp/dumptmep.txt", "stale");
    EXPECT_EQ(get(1, "SSID"), answer("SSID", R"("mesh \"x\"")"));
    EXPECT_EQ(outside().done, (Lines{"sync", "system /bin/cp /tmp/dump.txt /tmp/dumptmep.txt"}));
    EXPECT_EQ(get(18, "SSID"), answer("SSID", R"("mesh \"x\"")"));

    const struct {
        std::string dump;
        const char* log;
    } broken[] = {
        {"", "read dump topology information fail\n"},
        {head, "read dump topology information fail\n"},
        {"{}", "Can't get topology information form mesh info\n"},
        {R"({"topology information":null})", "Can't get topology information form mesh info\n"},
        {"[]", "Can't get topology information form mesh info\n"},
        {R"({"topology information":[]})", "Can't get index 0 form topology information\n"},
        {R"({"topology information":{}})", "Can't get index 0 form topology information\n"},
        {R"({"topology information":[5]})", "Can't get Radio Info form mesh info\n"},
        {R"({"topology information":[{"Radio Info":[]}]})", "Can't get index 0 form Radio Info\n"},
        {R"({"topology information":[{"Radio Info":[{}]}]})", "Can't get BSSINFO form mesh info\n"},
        {R"({"topology information":[{"Radio Info":[{"BSSINFO":[{"SSID":"one"}]}]}]})",
         "Can't get Index form mesh info\n"},
        {head + "{}]}]}]}", "Can't get SSID form mesh info\n"},
        {head + R"({"SSID":[]}]}]}]})", "snprintf mesh client number fail\n"},
        {head + R"({"SSID":")" + std::string(128, 'n') + R"("}]}]}]})", "snprintf mesh client number fail\n"},
    };
    for (const auto& [dump, log] : broken) {
        put_dump(dump);
        outside().logs.clear();
        EXPECT_EQ(get(1, "SSID"), Fails(EFAULT, R"({"SSID":{"ParamId":14}})")) << dump;
        EXPECT_EQ(outside().logs[0], (LogLine{3, std::string{"[E] "} + log}));
    }
    put_dump(head + R"({"SSID":")" + std::string(127, 'n') + R"("}]}]}]})");
    EXPECT_EQ(get(1, "SSID"), answer("SSID", "\"" + std::string(127, 'n') + "\""));
    std::filesystem::remove("/tmp/dump.txt");
    outside().logs.clear();
    EXPECT_EQ(get(1, "SSID"), Fails(EFAULT));
    EXPECT_EQ(outside().logs[0], (LogLine{3, "[E] dump mesh topology information fail\n"}));
}

TEST_F(WiFiSsid, WhatOthersPutInTheWayOfTheTopologyIsNotFollowed)
{
    if (!enter_private_folders()) {
        GTEST_SKIP() << "no /tmp of its own";
    }
    const std::string dump =
        R"({"topology information":[{"Radio Info":[{"BSSINFO":[{},{"SSID":"mesh"}]}]}]})";
    const LogLine no_dump{3, "[E] dump mesh topology information fail\n"};
    const LogLine not_read{3, "[E] read dump topology information fail\n"};
    const LogLine not_locked{3, "[E] /tmp/.qsc-mesh.lock not locked, error 1\n"};
    const struct {
        std::function<void()> put;
        std::vector<LogLine> logs; // none: the name is answered all the same
    } cases[] = {
        {[] { std::filesystem::rename("/tmp/dump.txt", "/tmp/other"); }, {no_dump}},
        {[] {
             std::filesystem::rename("/tmp/dump.txt", "/tmp/other");
             std::filesystem::create_symlink("/tmp/other", "/tmp/dump.txt");
         },
         {no_dump}},
        {[&] { write_file("/tmp/dump.txt", dump + std::string(1024 * 1024, ' ')); }, {not_read}},
        {[] { std::filesystem::create_symlink("/tmp/precious", "/tmp/dumptmep.txt"); }, {}},
        {[] { std::filesystem::create_directories("/tmp/dumptmep.txt/full"); }, {not_read}},
        {[] { std::filesystem::permissions("/tmp/.qsc-mesh.lock", std::filesystem::perms{0644}); },
         {not_locked}},
        {[] {
             std::filesystem::remove("/tmp/.qsc-mesh.lock");
             std::filesystem::create_symlink("/tmp/precious", "/tmp/.qsc-mesh.lock");
         },
         {{3, "[E] /tmp/.qsc-mesh.lock not locked, error 40\n"}}},
    };
    for (const auto& [put, logs] : cases) {
        std::filesystem::remove_all("/tmp/dumptmep.txt");
        std::filesystem::remove("/tmp/dump.txt");
        put_dump(dump);
        write_file("/tmp/precious", "kept");
        put();
        outside().done.clear();
        outside().logs.clear();
        EXPECT_EQ(get(1, "SSID"), Fails(logs.empty() ? 0 : EFAULT));
        for (size_t i = 0; i < logs.size(); ++i) {
            EXPECT_EQ(outside().logs[i], logs[i]);
        }
        EXPECT_EQ(outside().commands().empty(), !logs.empty()) << "nothing is copied";
        EXPECT_EQ(read_file("/tmp/precious"), "kept");
    }
    std::filesystem::remove("/tmp/.qsc-mesh.lock");
}

TEST_F(WiFiSsid, ZoneAndVlanAreThoseOfTheInterface)
{
    outside().uci = {{"qrnnetworkzone.@zone[0].name", "lan"},
                     {"qrnnetworkzone.@zone[0].iface[0]", "ra1"},
                     {"qrnnetworkzone.@zone[1].name", "guest"},
                     {"qrnnetworkzone.lan.vid", "7"}};
    EXPECT_EQ(get(2, "X_QRN_NetworkZone"), answer("X_QRN_NetworkZone", "\"lan\""));
    EXPECT_EQ(get(2, "X_QRN_VLANID"), answer("X_QRN_VLANID", "7"));
    EXPECT_EQ(get(3, "X_QRN_NetworkZone"), Fails(EFAULT));
    EXPECT_EQ(get(3, "X_QRN_VLANID"), Fails(EFAULT));
    EXPECT_EQ(set(2, "X_QRN_VLANID", "20"), Succeeds());
    EXPECT_EQ(set(3, "X_QRN_VLANID", "20"), Fails(EFAULT));
    EXPECT_EQ(set(2, "X_QRN_NetworkZone", "\"nowhere\""), Fails(EFAULT));
    EXPECT_EQ(outside().done, Lines{"set qrnnetworkzone.lan.vid=20"});
    EXPECT_EQ(set(2, "X_QRN_NetworkZone", "\"guest\""), Succeeds());
    EXPECT_EQ(outside().events, (Lines{event("set WiFi SSID VLAN tag 20 by CLI"),
                                       event("set WiFi Network Zone guest by CLI")}));
    EXPECT_EQ(get(2, "X_QRN_VLANID"), answer("X_QRN_VLANID", "0")) << "the zone has none";
    EXPECT_EQ(outside().logs.back(), (LogLine{4, "[W] qrnnetworkzone.guest.vid not found\n"}));

    const std::pair<const char*, const char*> changes[] = {
        {"Enable", "1"}, {"X_QRN_VLANID", "20"}, {"X_QRN_NetworkZone", "\"guest\""}};
    for (const auto& [name, value] : changes) {
        expect_each_failure_to_end(
            [] {
                outside() = Outside{};
                outside().uci = {{"qrnnetworkzone.@zone[0].name", "lan"},
                                 {"qrnnetworkzone.@zone[0].iface[0]", "ra1"},
                                 {"qrnnetworkzone.@zone[0].iface[1]", "ra7"},
                                 {"qrnnetworkzone.@zone[1].name", "guest"}};
            },
            [&] { return set(2, name, value); });
    }
}
