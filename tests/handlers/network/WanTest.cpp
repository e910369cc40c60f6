// SPDX-License-Identifier: Apache-2.0
// The interface to the provider: what is configured beside what is live, what waits, and what cannot be.
#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kWan = "Device.IP.Interface.1";
const std::string kSix = "Device.IP.Interface.1.IPv6";
const std::string kDns = "Device.DNS.Client.Server.";
const std::string kWanted = "Device.DNS.Client.Server.X_QRN_Custom";

constexpr const char* kLive = R"({"up":true,"uptime":61,"l3_device":"pppoe-wan","device":"eth1",
    "ipv4-address":[{"address":"203.0.113.17","mask":20}],
    "route":[{"target":"0.0.0.0","mask":1,"nexthop":"203.0.113.9"},{"target":"::","mask":0,"nexthop":"fe80::1"},
        {"target":"0.0.0.0","mask":0,"nexthop":"203.0.113.1"}],
    "dns-server":["203.0.113.53","2001:db8::53"]})";
constexpr const char* kLiveSix = R"({"up":true,"ipv6-address":[{"address":"2001:db8::2a","mask":64}],
    "ipv6-prefix":[{"address":"2001:db8:100::","mask":56}],"dns-server":["2001:db8::54"],
    "route":[{"target":"2001:db8::","mask":0,"nexthop":"fe80::9"},{"target":"0.0.0.0","mask":0,"nexthop":"203.0.113.1"},{"target":"::","mask":0,"nexthop":"fe80::1"}]})";

class Wan : public EffectTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        answer(kLive, kLiveSix);
        store("\toption proto 'dhcp'\n");
    }

    /// Has the network daemon say this of the two interfaces; empty: there is none.
    static void answer(const std::string& wan, const std::string& six)
    {
        outside().programs["ubus"] = "case $2 in *.wan) text='" + wan + "' ;; *) text='" + six +
                                     "' ;; esac; [ -n \"$text\" ] || exit 4; echo \"$text\"";
    }

    /// The options of "wan" after its device, and what comes after it.
    static void store(const std::string& more)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", "config interface 'lan'\n\toption ipaddr '192.168.1.1'\n\toption netmask '24'\n"
                       "config interface 'wan'\n\toption device 'eth1'\n" +
                           more);
    }

    static std::string stored()
    {
        std::string text;
        const Lines lines = committed("network");
        for (size_t i = 5; i < lines.size(); ++i) {
            text += (i == 5 ? "" : "; ") + lines[i];
        }
        return text;
    }

    struct Case {
        const std::string& path;
        const char* before;
        const char* words;
        const char* after; ///< what is stored, or after "!" why not
    };
    static void expect(const Case& one)
    {
        SCOPED_TRACE(std::string{one.before} + ": " + one.words);
        store(one.before);
        const std::string made = effect("network", one.path, one.words);
        EXPECT_EQ(tells_of(one.path == kWan   ? "wan"
                           : one.path == kSix ? "wan ipv6"
                                              : "custom dns"),
                  !made.starts_with('!'));
        EXPECT_EQ(made.starts_with('!') ? made : stored(), one.after);
    }
};

constexpr const char* kStatic = "\toption proto 'static'\n\toption ipaddr '198.51.100.7'\n"
                                "\toption netmask '255.255.255.0'\n\toption gateway '198.51.100.1'\n";
constexpr const char* kStaticSix = "\toption proto 'dhcp'\nconfig interface 'wan6'\n\toption proto 'static'\n"
                                   "\tlist ip6addr '2001:db8::7/64'\n\toption ip6gw 'fe80::1'\n";

} // namespace

TEST_F(Wan, WhatIsLiveIsAnsweredUnlessItIsFixed)
{
    constexpr const char* kNames = "X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway Name LastChange "
                                   "X_QRN_DNSServers X_QRN_VLANID MaxMTUSize Status";
    EXPECT_EQ(values(kWan, kNames), "\"203.0.113.17\" \"255.255.240.0\" \"203.0.113.1\" \"pppoe-wan\" 61 "
                                    "\"203.0.113.53,2001:db8::53\" 0 1500 \"Up\"");
    store(kStatic);
    EXPECT_EQ(values(kWan, "X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway X_QRN_AddressingType"),
              "\"198.51.100.7\" \"255.255.255.0\" \"198.51.100.1\" \"Static\"");
    store("\toption proto 'static'\n\tlist ipaddr '198.51.100.7/25'\n\tlist ipaddr '198.51.100.9/24'\n");
    EXPECT_EQ(values(kWan, "X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway"),
              "\"198.51.100.7\" \"255.255.255.128\" \"\"");
    store("\toption proto 'pppoe'\nconfig interface 'wan6'\n\toption proto 'dhcpv6'\n");
    EXPECT_EQ(values(kWan, "MaxMTUSize X_QRN_AddressingType Enable"), "1492 \"PPPoE\" 1");
    constexpr const char* kSixNames = "IPv6Enable X_QRN_IPAddress X_QRN_PrefixLength X_QRN_DefaultGateway "
                                      "X_QRN_DelegatedPrefix X_QRN_DNSServers X_QRN_PrefixRequest Status";
    EXPECT_EQ(values(kSix, kSixNames),
              "1 \"2001:db8::2a\" 64 \"fe80::1\" \"2001:db8:100::/56\" \"2001:db8::54\" \"auto\" \"Up\"");
    store(kStaticSix);
    EXPECT_EQ(values(kSix, "X_QRN_IPAddress X_QRN_PrefixLength X_QRN_DefaultGateway X_QRN_AddressingType"),
              "\"2001:db8::7\" 64 \"fe80::1\" \"Static\"");
    // What is off is not asked for, and neither is what is missing.
    store("\toption proto 'dhcp'\n\toption disabled '1'\n");
    (void)steps();
    EXPECT_EQ(values(kWan, kNames), "\"\" \"\" \"\" \"eth1\" 0 \"\" 0 1500 \"Down\"");
    EXPECT_EQ(values(kSix, kSixNames), "0 \"\" 0 \"\" \"\" \"\" \"auto\" \"Down\"");
    EXPECT_EQ(steps(), Lines{});
}

TEST_F(Wan, TheStateIsToldInFewWords)
{
    const FakeFolder net{"/sys/class/net"};
    const char* const cases[][3] = {
        {R"({"up":true,"pending":true})", "0", "Up"},
        {R"({"up":false,"available":false})", "0", "NotPresent"},
        {R"({"pending":true})", "1", "NotPresent"},
        {R"({"available":true,"pending":true,"errors":[{}]})", "0", "LowerLayerDown"},
        {R"({"available":true,"pending":true})", "1", "Dormant"},
        {R"({"available":true,"pending":true,"errors":[{}]})", "1", "Error"},
        {R"({"available":true,"pending":false})", "", "Down"},
        {"nonsense", "1", "Unknown"},
    };
    for (const auto& [says, carrier, word] : cases) {
        answer(says, says);
        FakeFolder::put("/sys/class/net/eth1/carrier", std::string{carrier} + "\n");
        EXPECT_EQ(values(kWan, "Status Type"), std::string{"\""} + word + "\" \"Normal\"") << says;
    }
    // One that has to be ended is no missing one.
    outside().programs["ubus"] = "kill -9 $$";
    outside().logs.clear();
    EXPECT_EQ(read(kWan, "Status"), Fails(EFAULT));
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] ubus was ended by a signal\n"}));
}

TEST_F(Wan, TheKernelIsAskedWhereTheDaemonSaysNothing)
{
    answer("", "");
    put("network", "config interface 'wan'\n\toption device 'lo'\n\toption proto 'dhcp'\n");
    EXPECT_EQ(values(kWan, "X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway Status Name"),
              "\"127.0.0.1\" \"255.0.0.0\" \"\" \"Up\" \"lo\"");
    put("network", "config interface 'wan'\n\toption device 'nosuch'\n\toption proto 'pppoe'\n");
    EXPECT_EQ(values(kWan, "X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway Status Name"),
              "\"\" \"\" \"\" \"Unknown\" \"pppoe-wan\"");
}

TEST_F(Wan, SetsAreStoredWhereTheyCountOrWait)
{
    const Case cases[] = {
        {kWan, "\toption proto 'dhcp'\n", "X_QRN_IPAddress=198.51.100.7 X_QRN_AddressingType=DHCP Enable=1",
         "option proto 'dhcp'; option qrn_ipaddr '198.51.100.7'"},
        {kWan,
         "\toption proto 'dhcp'\n\toption qrn_netmask '255.255.255.0'\n\toption qrn_gateway '198.51.100.1'\n",
         "X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7",
         "option proto 'static'; option ipaddr '198.51.100.7'; option netmask '255.255.255.0'; "
         "option gateway '198.51.100.1'"},
        {kWan, kStatic, "X_QRN_AddressingType=DHCP X_QRN_SubnetMask=255.255.0.0 Enable=0",
         "option proto 'dhcp'; option qrn_ipaddr '198.51.100.7'; option qrn_netmask '255.255.0.0'; "
         "option qrn_gateway '198.51.100.1'; option disabled '1'"},
        {kWan, kStatic, "X_QRN_SubnetMask=255.255.255.0 X_QRN_AddressingType=Static",
         "option proto 'static'; option ipaddr '198.51.100.7'; option netmask '255.255.255.0'; "
         "option gateway '198.51.100.1'"},
        {kWan, "\toption proto 'static'\n\tlist ipaddr '198.51.100.7/24'\n\toption gateway '198.51.100.1'\n",
         "X_QRN_SubnetMask=255.255.255.248 X_QRN_IPAddress=198.51.100.6",
         "option proto 'static'; option gateway '198.51.100.1'; list ipaddr '198.51.100.6/29'"},
        {kWan, "\toption proto 'dhcp'\n", "MaxMTUSize=1500", "option proto 'dhcp'"},
        {kWan, "\toption proto 'dhcp'\n", "MaxMTUSize=64", "option proto 'dhcp'; option mtu '64'"},
        {kWan, "\toption proto 'dhcp'\n\toption mtu '1500'\n\toption username 'a'\n",
         "MaxMTUSize=1492 X_QRN_AddressingType=PPPoE",
         "option proto 'pppoe'; option mtu '1492'; option username 'a'"},
        {kWan, "\toption proto 'dhcp'\nconfig device 'port'\n\toption name 'eth1'\n", "MaxMTUSize=1400",
         "option proto 'dhcp'; config device 'port'; option name 'eth1'; option mtu '1400'"},
        {kWan, "\toption proto 'dhcp'\nconfig device 'port'\n\toption name 'eth1'\n\toption mtu '1480'\n",
         "MaxMTUSize=1480",
         "option proto 'dhcp'; config device 'port'; option name 'eth1'; option mtu '1480'"},
        {kWan,
         "\toption proto 'pppoe'\n\toption username 'a'\nconfig device 'port'\n\toption name 'eth1'\n"
         "\toption mtu '1480'\n",
         "MaxMTUSize=1400",
         "option proto 'pppoe'; option username 'a'; option mtu '1400'; config device 'port'; option name "
         "'eth1'; "
         "option mtu '1480'"},
        {kSix, "\toption proto 'dhcp'\n", "IPv6Enable=0 X_QRN_AddressingType=DHCPv6 X_QRN_PrefixRequest=auto",
         "option proto 'dhcp'"},
        {kSix, "\toption proto 'dhcp'\n", "X_QRN_PrefixRequest=48",
         "option proto 'dhcp'; config interface 'wan6'; option device '@wan'; option proto 'dhcpv6'; "
         "option disabled '1'; option reqprefix '48'"},
        {kSix, "\toption proto 'dhcp'\n\toption peerdns '0'\n", "IPv6Enable=1",
         "option proto 'dhcp'; option peerdns '0'; config interface 'wan6'; option device '@wan'; "
         "option proto 'dhcpv6'; option disabled '0'; option peerdns '0'"},
        {kSix, kStaticSix, "IPv6Enable=0 X_QRN_IPAddress=2001:db8::8 X_QRN_AddressingType=DHCPv6",
         "option proto 'dhcp'; config interface 'wan6'; option proto 'dhcpv6'; "
         "option qrn_ip6addr '2001:db8::8/64'; option qrn_ip6gw 'fe80::1'; option disabled '1'"},
        {kSix, kStaticSix, "X_QRN_PrefixLength=0 X_QRN_AddressingType=DHCPv6",
         "option proto 'dhcp'; config interface 'wan6'; option proto 'dhcpv6'; "
         "option qrn_ip6addr '2001:db8::7'; option qrn_ip6gw 'fe80::1'"},
    };
    for (const Case& one : cases) {
        expect(one);
    }
    store("\toption proto 'dhcp'\nconfig interface 'wan6'\n\toption device 'eth1'\n");
    EXPECT_EQ(change(kWan, "X_QRN_VLANID=4094"), "");
    EXPECT_EQ(values(kWan, "X_QRN_VLANID"), "4094");
    EXPECT_EQ(committed("network")[4], "option device 'eth1.4094'");
    EXPECT_EQ(committed("network").back(), "option device 'eth1.4094'");
    EXPECT_EQ(messages().back(), "set wan X_QRN_VLANID 4094 by CLI");
}

TEST_F(Wan, WhatCannotBeIsRefusedAndNothingIsWritten)
{
    constexpr const char* kDhcp = "\toption proto 'dhcp'\n";
    constexpr const char* kWithSix =
        "\toption proto 'dhcp'\nconfig interface 'wan6'\n\toption proto 'dhcpv6'\n";
    const Case cases[] = {
        {kWan, kStatic, "X_QRN_DefaultGateway=198.51.100.254",
         "option proto 'static'; option ipaddr '198.51.100.7'; "
         "option netmask '255.255.255.0'; option gateway '198.51.100.254'"},
        {kWan, kStatic, "X_QRN_DefaultGateway=198.51.100.255",
         "!X_QRN_DefaultGateway: the gateway is none of a host in the network"},
        {kWan, kStatic, "X_QRN_DefaultGateway=198.51.101.1",
         "!X_QRN_DefaultGateway: the gateway is none of a host in the network"},
        {kWan, kStatic, "X_QRN_DefaultGateway=198.51.100.7",
         "!X_QRN_DefaultGateway: the gateway is the router itself"},
        {kWan, kStatic,
         "X_QRN_DefaultGateway=", "!X_QRN_DefaultGateway: Static needs an address, a mask and a gateway"},
        {kWan, kStatic,
         "X_QRN_SubnetMask=", "!X_QRN_SubnetMask: Static needs an address, a mask and a gateway"},
        {kWan, kStatic,
         "X_QRN_IPAddress=", "!X_QRN_IPAddress: Static needs an address, a mask and a gateway"},
        {kWan, kStatic, "X_QRN_IPAddress=198.51.100.0",
         "!X_QRN_IPAddress: the address is none of a host in its network"},
        {kWan, kStatic, "X_QRN_SubnetMask=255.255.255.255 X_QRN_DefaultGateway=203.0.113.1",
         "option proto 'static'; option ipaddr '198.51.100.7'; option netmask '255.255.255.255'; "
         "option gateway '203.0.113.1'"},
        {kWan, kStatic, "X_QRN_IPAddress=192.168.1.7 X_QRN_DefaultGateway=192.168.1.8",
         "!X_QRN_IPAddress: the network overlaps that of lan"},
        {kWan, kDhcp, "X_QRN_AddressingType=PPPoE",
         "!X_QRN_AddressingType: PPPoE needs a user name, which Device.DHCPv4.Client.1 has"},
        {kWan, "\toption proto 'pppoe'\n\toption username 'a'\n", "MaxMTUSize=1493",
         "!MaxMTUSize: the MTU is 1492 at most with PPPoE"},
        {kWan, "\toption proto 'dhcp'\n\toption username 'a'\n\toption mtu '1493'\n",
         "X_QRN_AddressingType=PPPoE", "!X_QRN_AddressingType: the MTU is 1492 at most with PPPoE"},
        {kWan, kWithSix, "MaxMTUSize=1279", "!MaxMTUSize: the MTU is 1280 at least with IPv6"},
        {kWan, kWithSix, "MaxMTUSize=1280",
         "option proto 'dhcp'; option mtu '1280'; config interface 'wan6'; option proto 'dhcpv6'"},
        {kWan, kDhcp, "MaxMTUSize=63", "!MaxMTUSize: 63 is not 64 to 65535"},
        {kWan, kDhcp, "X_QRN_VLANID=4095", "!X_QRN_VLANID: 4095 is not 0 to 4094"},
        {kWan, "\toption proto 'dhcp'\nconfig interface 'iptv'\n\toption device 'eth1.7'\n", "X_QRN_VLANID=7",
         "!X_QRN_VLANID: eth1.7 is the device of iptv"},
        {kSix, "\toption proto 'dhcp'\n\toption mtu '1279'\n", "IPv6Enable=1",
         "!IPv6Enable: the MTU is 1280 at least with IPv6"},
        {kSix, kDhcp, "X_QRN_AddressingType=Static",
         "!X_QRN_AddressingType: Static needs an address and a prefix length"},
        {kSix, kStaticSix, "X_QRN_PrefixLength=0",
         "!X_QRN_PrefixLength: Static needs an address and a prefix length"},
        {kSix, kStaticSix, "X_QRN_IPAddress=fe80::7", "!X_QRN_IPAddress: the address is none of a host"},
        {kSix, kStaticSix, "X_QRN_DefaultGateway=2001:db8::7",
         "!X_QRN_DefaultGateway: the gateway is none of another host"},
        {kSix, kStaticSix, "X_QRN_DefaultGateway=ff02::1",
         "!X_QRN_DefaultGateway: the gateway is none of another host"},
        {kSix, kDhcp, "X_QRN_PrefixRequest=65",
         "!X_QRN_PrefixRequest: it is neither auto nor no nor 48 to 64"},
        {kSix, kDhcp, "X_QRN_PrefixRequest=056",
         "!X_QRN_PrefixRequest: it is neither auto nor no nor 48 to 64"},
        {kSix, kDhcp, "X_QRN_PrefixRequest=", "!X_QRN_PrefixRequest: it is neither auto nor no nor 48 to 64"},
    };
    for (const Case& one : cases) {
        expect(one);
    }
    for (const auto& [device, sentence] :
         {std::pair{"verylongport", "X_QRN_VLANID: 'verylongport.4000' is too long for a device's name"},
          std::pair{"tenletters", ""},
          std::pair{"@lan", "X_QRN_VLANID: the interface has no device of its own"}}) {
        put("network", std::string{"config interface 'wan'\n\toption device '"} + device + "'\n");
        std::filesystem::remove_all("/tmp/.uci");
        EXPECT_EQ(change(kWan, "X_QRN_VLANID=4000"), sentence);
    }
}

TEST_F(Wan, ServersAreThoseOfTheInterfacesOrOnesOwn)
{
    store("\toption proto 'pppoe'\nconfig interface 'wan6'\n\toption proto 'dhcpv6'\n");
    EXPECT_EQ(values(kDns, "X_QRN_DNSServers"), "\"203.0.113.53,2001:db8::53,2001:db8::54\"");
    EXPECT_EQ(values(kDns + "1", "DNSServer Type Interface Status"),
              "\"203.0.113.53\" \"IPCP\" \"Device.IP.Interface.1\" \"Enabled\"");
    EXPECT_EQ(values(kDns + "2", "DNSServer Type"), "\"2001:db8::53\" \"RouterAdvertisement\"");
    EXPECT_EQ(values(kDns + "3.", "DNSServer Type"), "\"2001:db8::54\" \"DHCPv6\"");
    EXPECT_EQ(values(kDns + "4", "DNSServer") + values(kDns + "0", "Type"), "code 22code 22");
    store("\toption proto 'dhcp'\n\toption dns '1.1.1.1 203.0.113.53'\n"
          "config interface 'wan6'\n\toption proto 'static'\n\toption metric '-1'\n");
    EXPECT_EQ(values(kDns + "1", "DNSServer Type"), "\"2001:db8::54\" \"Static\"");
    EXPECT_EQ(values(kDns + "2", "Type"), "\"Static\"");
    constexpr const char* kBoth = "\toption proto 'dhcp'\nconfig interface 'wan6'\n\toption proto 'dhcpv6'\n";
    const Case cases[] = {
        {kWanted, kBoth, "DNSServer1=2001:db8::9 DNSServer2=9.9.9.9 Enable=1",
         "option proto 'dhcp'; list qrn_dns '2001:db8::9'; list qrn_dns '9.9.9.9'; list dns '9.9.9.9'; "
         "option peerdns '0'; config interface 'wan6'; option proto 'dhcpv6'; list dns '2001:db8::9'; "
         "option peerdns '0'"},
        {kWanted, kBoth, "DNSServer2=9.9.9.9",
         "option proto 'dhcp'; list qrn_dns ''; list qrn_dns '9.9.9.9'; config interface 'wan6'; "
         "option proto 'dhcpv6'"},
        {kWanted, "\toption proto 'dhcp'\n\toption peerdns '0'\n\toption dns '1.1.1.1 9.9.9.9'\n", "Enable=0",
         "option proto 'dhcp'; list qrn_dns '1.1.1.1'; list qrn_dns '9.9.9.9'"},
        {kWanted, "\toption proto 'dhcp'\n\toption dns '1.1.1.1'\n", "Enable=0",
         "option proto 'dhcp'; option dns '1.1.1.1'; list qrn_dns '1.1.1.1'"},
        // Without an interface of its own, IPv6 leaves all to the other one.
        {kWanted, "\toption proto 'dhcp'\n", "DNSServer1=9.9.9.9 DNSServer2=2001:db8::9 Enable=1",
         "option proto 'dhcp'; list qrn_dns '9.9.9.9'; list qrn_dns '2001:db8::9'; list dns '9.9.9.9'; "
         "list dns '2001:db8::9'; option peerdns '0'"},
        {kWanted,
         "\toption proto 'dhcp'\n\toption peerdns '0'\n\toption dns '1.1.1.1 1.0.0.1'\n\tlist qrn_dns "
         "'9.9.9.9'\n",
         "DNSServer2=9.9.9.10",
         "option proto 'dhcp'; option peerdns '0'; list qrn_dns '1.1.1.1'; list qrn_dns '9.9.9.10'; "
         "list dns '1.1.1.1'; list dns '9.9.9.10'"},
        {kWanted, kBoth,
         "DNSServer1=", "option proto 'dhcp'; config interface 'wan6'; option proto 'dhcpv6'"},
        {kWanted, kBoth, "Enable=1", "!Enable: it needs a server"},
        {kWanted, kBoth, "DNSServer1=9.9.9.9 DNSServer2=9.9.9.9", "!DNSServer1: both servers are the same"},
        {kWanted, kBoth, "DNSServer1=192.168.1.1", "!DNSServer1: it is the router itself"},
        {kWanted, kBoth, "DNSServer2=127.0.0.53", "!DNSServer2: it is the address of no server"},
        {kWanted, kBoth, "DNSServer2=::", "!DNSServer2: it is the address of no server"},
        {kWanted, "\toption peerdns '0'\n\toption dns '1.1.1.1'\n",
         "DNSServer1=", "!DNSServer1: it needs a server"},
    };
    for (const Case& one : cases) {
        expect(one);
    }
}
