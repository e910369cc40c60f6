// SPDX-License-Identifier: Apache-2.0
// LLDP and RIP: what is told to the daemons' scripts, and what neighbours call themselves.
#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kLldp = "Device.LLDP";
const std::string kRip = "Device.Routing.Rip.InterfaceSetting.1";

class Daemons : public EffectTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        put("lldpd", "config lldpd 'config'\n");
        put("ripd", "config ripd 'config'\n");
        put("qrnnetworkzone", "config zone 'lan'\nconfig zone 'guest'\n");
        FakeFolder::put("/sys/class/net/eth0/type", "1\n");
        FakeFolder::put("/sys/class/net/eth0/device/x", "");
    }

    /// Has the daemon say this of its neighbours.
    static void answer(const std::string& neighbours)
    {
        write_file("/tmp/neighbours", "{\"lldp\":[{\"interface\":" + neighbours + "}]}");
        outside().programs["lldpcli"] =
            "while read -r line || [ \"$line\" ]; do printf '%s\\n' \"$line\"; done </tmp/neighbours";
    }

    static std::string list() { return read(kLldp, "X_QRN_List").json; }

    /// A neighbour of that name.
    static std::string neighbour(const std::string& name)
    {
        return R"({"name":"eth0","chassis":[{"id":[{"value":"c"}],"name":[{"value":")" + name +
               R"("}]}],"port":[{"id":[{"value":"p"}]}]})";
    }

    FakeFolder net_{"/sys/class/net"};
};

} // namespace

TEST_F(Daemons, NeighboursAreListedUpToALimit)
{
    answer("[" + neighbour("switch") +
           R"(,{"name":"wlan0","chassis":[{"capability":[{"type":"Bridge","enabled":true},)"
           R"({"type":"Router","enabled":false},{"type":"Wlan","enabled":true}]}]}])");
    EXPECT_EQ(values(kLldp, "X_QRN_NeighborNumberOfEntries"), "2");
    const std::string both = list();
    for (const char* part :
         {R"({\"Interface\":\"Device.Ethernet.Interface.1\",\"ChassisID\":\"c\",\"PortID\":\"p\",)"
          R"(\"SystemName\":\"switch\",\"Capabilities\":\"\"})",
          R"({\"Interface\":\"wlan0\",\"ChassisID\":\"\",\"PortID\":\"\",\"SystemName\":\"\",)"
          R"(\"Capabilities\":\"Bridge,Wlan\"})"}) {
        EXPECT_NE(both.find(part), std::string::npos) << both;
    }
    // A text is cut between its characters.
    answer("[" + neighbour(std::string(254, 'x') + "\xC3\xA4y") + "]");
    EXPECT_NE(list().find("\\\"" + std::string(254, 'x') + "\\\""), std::string::npos);
    answer("[" + neighbour(std::string(300, 'x')) + "]");
    EXPECT_NE(list().find("\\\"" + std::string(255, 'x') + "\\\""), std::string::npos);
    std::string many = neighbour("x");
    for (int i = 1; i < 65; ++i) {
        many += "," + neighbour("x");
    }
    answer("[" + many + "]");
    EXPECT_EQ(values(kLldp, "X_QRN_NeighborNumberOfEntries"), "64");
    for (const char* broken : {"{}", "3", "[3]x"}) {
        answer(broken);
        EXPECT_EQ(values(kLldp, "X_QRN_NeighborNumberOfEntries X_QRN_List"), "0 \"[]\"") << broken;
    }
    answer("[" + neighbour("switch") + "]");
    put("lldpd", "config lldpd 'config'\n\toption enabled '0'\n");
    EXPECT_EQ(values(kLldp, "X_QRN_NeighborNumberOfEntries X_QRN_List"), "0 \"[]\"");
}

TEST_F(Daemons, InterfacesAreToldByTheirPaths)
{
    const char* const cases[][3] = {
        {"Device.IP.Interface.1,Device.X_QRN_NetworkZone.2,Device.Ethernet.Interface.1", "",
         "wan guest eth0"},
        {"eth1,!wlan*,br-lan.1,a_b", "", "eth1 !wlan* br-lan.1 a_b"},
        {"", "", ""},
        {"Device.Ethernet.Interface.1,eth0", "an interface is named twice", ""},
        {"Device.Ethernet.Interface.2", "there is no such interface", ""},
        {"Device.Ethernet.Interface.x", "there is no such interface", ""},
        {"Device.X_QRN_NetworkZone.3", "there is no such interface", ""},
        {"eth0;x", "there is no such interface", ""},
    };
    for (const auto& [words, sentence, stored] : cases) {
        SCOPED_TRACE(words);
        std::filesystem::remove_all("/tmp/.uci");
        put("lldpd", "config lldpd 'config'\n");
        EXPECT_EQ(change(kLldp, std::string{"X_QRN_Interfaces="} + words),
                  *sentence == '\0' ? "" : std::string{"X_QRN_Interfaces: "} + sentence);
        std::array<char, 256> items{};
        (void)QrnUci_GetString("lldpd.config.interface", items.data(), items.size());
        EXPECT_STREQ(items.data(), stored);
        if (*sentence == '\0') {
            EXPECT_EQ(values(kLldp, "X_QRN_Interfaces"), std::string{"\""} + words + "\"");
        }
    }
    EXPECT_EQ(
        values(kLldp, "X_QRN_TxInterval X_QRN_TxHold X_QRN_ReceiveOnly X_QRN_SystemDescription X_QRN_Enable"),
        "30 4 0 \"\" 1");
    EXPECT_EQ(effect("lldpd", kLldp,
                     "X_QRN_Interfaces=eth0,!wlan* X_QRN_TxInterval=10 X_QRN_TxHold=3 X_QRN_ReceiveOnly=1 "
                     "X_QRN_SystemDescription=Hall X_QRN_Enable=0"),
              "+lldpd: lldpd config interface=eth0 interface=!wlan* lldp_tx_interval=10 lldp_tx_hold=3 "
              "readonly_mode=1 lldp_description=Hall enabled=0");
    EXPECT_TRUE(tells_of("lldp"));
    const char* const others[][2] = {
        {"X_QRN_TxInterval=0", "X_QRN_TxInterval: 0 is not 1 to 3600"},
        {"X_QRN_TxInterval=3600", ""},
        {"X_QRN_TxHold=101", "X_QRN_TxHold: 101 is not 1 to 100"},
        {"X_QRN_TxHold=100", ""},
        {"X_QRN_SystemDescription=a'b", ""},
        {"X_QRN_SystemDescription=a\\\\b", "X_QRN_SystemDescription: it has a quote or a backslash"},
    };
    for (const auto& [words, sentence] : others) {
        EXPECT_EQ(change(kLldp, words), sentence);
    }
}

TEST_F(Daemons, TheScriptFollowsTheSwitchAndTheDaemonHearsWhatItLeavesOut)
{
    const FakeFolder run{"/var/run"};
    FakeFolder::put("/var/run/lldpd.socket", "");
    outside().programs = {{"/etc/init.d/lldpd", "exit 0"}, {"lldpcli", "[ $4 != tx-hold ]"}};
    const auto serve = [](const std::string& action) {
        (void)steps();
        const Answer answer = send(kLldp, kService, R"({"action":")" + action + "\"}");
        std::string all = answer.code == 0 ? "" : "code " + std::to_string(answer.code);
        for (const std::string& step : steps()) {
            all += step.starts_with("run ") ? step.substr(step.rfind('/') + 1) + ";" : "";
        }
        return all;
    };
    constexpr const char* kTold = "lldpd enable;lldpd restart;run lldpcli configure lldp tx-interval 10;"
                                  "run lldpcli configure lldp tx-hold 3;";
    const char* const cases[][3] = {
        {"", "start", kTold},
        {"1", "restart", kTold},
        {"on", "reload", kTold},
        {"1", "stop", "lldpd stop;lldpd disable;"},
        {"1", "status", "lldpd status;"},
        {"0", "restart", "lldpd stop;lldpd disable;"},
        {"0", "status", "lldpd stop;lldpd disable;"},
    };
    for (const auto& [enabled, action, wanted] : cases) {
        put("lldpd", std::string{"config lldpd 'config'\n\toption enabled '"} + enabled +
                         "'\n\toption lldp_tx_interval '10'\n\toption lldp_tx_hold '3'\n");
        EXPECT_EQ(serve(action), wanted) << enabled << action;
    }
    put("lldpd", "config lldpd 'config'\n");
    EXPECT_EQ(serve("start"), "lldpd enable;lldpd restart;");
    put("lldpd", "config lldpd 'config'\n\toption lldp_tx_interval '10'\n");
    FakeFolder::put("/etc/init.d/lldpd", "# knows lldp_tx_interval\n");
    EXPECT_EQ(serve("start"), "lldpd enable;lldpd restart;");
    for (const char* failing : {"enable", "restart"}) {
        outside().programs["/etc/init.d/lldpd"] = std::string{"[ $1 != "} + failing + " ]";
        EXPECT_EQ(serve("start").substr(0, 7), "code 14") << failing;
    }
}

TEST_F(Daemons, RipNeedsAnInterfaceAndItsDaemon)
{
    EXPECT_EQ(values(kRip, "Interface AcceptRA SendRA Enable Status"), "\"\" 1 1 0 \"Disabled\"");
    EXPECT_EQ(change(kRip, "Enable=1"), "Enable: it needs an interface");
    EXPECT_EQ(change(kRip, "Interface=lan"), "Interface: there is no such interface");
    EXPECT_EQ(change(kRip, "Interface=Device.X_QRN_NetworkZone.1. Enable=1 SendRA=0"), "");
    EXPECT_EQ(messages(), (Lines{"set rip Interface Device.X_QRN_NetworkZone.1. by CLI",
                                 "set rip SendRA 0 by CLI", "set rip Enable 1 by CLI"}));
    EXPECT_EQ(committed("ripd"), (Lines{"config ripd 'config'", "option interface 'lan'",
                                        "option send_ra '0'", "option enable '1'"}));
    EXPECT_EQ(change(kRip, "Interface="), "Interface: it needs an interface");
    EXPECT_EQ(change(kRip, "Interface= Enable=0"), "");
    std::filesystem::remove_all("/tmp/.uci");
    EXPECT_EQ(values(kRip, "Interface Status"), "\"Device.X_QRN_NetworkZone.1\" \"Error\"");
    put("ripd", "config ripd 'config'\n\toption interface 'gone'\n\toption enable '1'\n");
    EXPECT_EQ(values(kRip, "Interface Status"), "\"\" \"Error_Misconfigured\"");
}
