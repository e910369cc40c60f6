// SPDX-License-Identifier: Apache-2.0
// Static routes: which are right beside each other, how they are stored, and whether the kernel has them.
#include <cstring>

#include <sched.h>
#include <unistd.h>

#include <arpa/inet.h>
#include <net/if.h>
#include <net/route.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kRoutes = "Device.Routing.Router.1.IPv4Forwarding.";
constexpr const char* kInterfaces = "config interface 'lan'\n\toption ipaddr '192.168.1.1'\n"
                                    "config interface 'wan'\n\tlist ipaddr '192.0.2.1/24'\n";
/// The first has a mask as a length and no number of its own.
constexpr const char* kTwo =
    "config route\n\toption target '10.5.0.0'\n\toption netmask '16'\n"
    "\toption gateway '192.168.1.5'\nconfig route 'own'\n\toption target '10.6.0.0'\n"
    "\toption netmask '255.255.0.0'\n\toption interface 'wan'\n\toption metric '7'\n"
    "\toption disabled '1'\n\toption qrn_index '1'\n";

class Routing : public EffectTest
{
  protected:
    static void store(const std::string& routes)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", kInterfaces + routes);
        put("qrnnetworkzone", "config zone 'guest'\nconfig zone 'lan'\n");
    }

    /// The options of the routes, without the first lines of their sections.
    static Lines stored()
    {
        Lines lines = committed("network");
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("config "); });
        lines.erase(lines.begin(), lines.begin() + 2);
        return lines;
    }
};

} // namespace

TEST_F(Routing, RoutesAreAnsweredAndStoredWithWhatTheyNeed)
{
    constexpr const char* kAll =
        "DestIPAddress DestSubnetMask GatewayIPAddress Interface ForwardingMetric Enable "
        "Status StaticRoute Origin";
    store(kTwo);
    EXPECT_EQ(
        values("Device.Routing.Router.1", "Enable Status IPv4ForwardingNumberOfEntries X_QRN_Instances"),
        "1 \"Enabled\" 2 \"1,2\"");
    EXPECT_EQ(values(kRoutes + "1", kAll), "\"10.6.0.0\" \"255.255.0.0\" \"\" \"Device.IP.Interface.1\" 7 0 "
                                           "\"Disabled\" 1 \"Static\"");
    EXPECT_EQ(values(kRoutes + "2", kAll),
              "\"10.5.0.0\" \"255.255.0.0\" \"192.168.1.5\" \"\" -1 1 \"Error\" 1 \"Static\"");
    const struct {
        const char* words;
        Lines stored;
    } cases[] = {
        {"DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.2",
         {"option qrn_index '1'", "option disabled '1'", "option target '10.1.0.0'",
          "option netmask '255.255.0.0'", "option gateway '192.168.1.2'"}},
        {"DestIPAddress=10.1.0.1 Interface=Device.X_QRN_NetworkZone.2. ForwardingMetric=0 Enable=1",
         {"option qrn_index '1'", "option target '10.1.0.1'", "option interface 'lan'", "option metric '0'",
          "option disabled '0'"}},
        {"DestIPAddress= GatewayIPAddress=192.168.1.2",
         {"option qrn_index '1'", "option disabled '1'", "option target '0.0.0.0'",
          "option netmask '0.0.0.0'", "option gateway '192.168.1.2'"}},
        {"DestIPAddress=0.0.0.0 DestSubnetMask=0.0.0.0 Interface=Device.IP.Interface.1 ForwardingMetric=-1",
         {"option qrn_index '1'", "option disabled '1'", "option target '0.0.0.0'",
          "option netmask '0.0.0.0'", "option interface 'wan'"}},
    };
    for (const auto& one : cases) {
        store("");
        (void)effect("network", kRoutes + "1", std::string{"X_QRN_Add=1 "} + one.words);
        EXPECT_TRUE(tells_of("route [1]"));
        EXPECT_EQ(stored(), one.stored) << one.words;
    }
    EXPECT_EQ(change(kRoutes + "1", "Interface= GatewayIPAddress=192.168.1.9"), "");
    EXPECT_EQ(values(kRoutes + "1", "Interface GatewayIPAddress"), "\"\" \"192.168.1.9\"");
}

TEST_F(Routing, WhatCannotBeRoutedIsRefusedAndNothingIsWritten)
{
    const struct {
        const char* number;
        const char* words;
        const char* sentence;
    } cases[] = {
        {"1", "DestIPAddress=10.1.0.1", "DestIPAddress: the destination has bits outside its mask"},
        {"1", "DestSubnetMask=255.0.0.0", "DestSubnetMask: the destination has bits outside its mask"},
        {"1", "DestSubnetMask=255.255.255.0", ""},
        {"1", "DestSubnetMask=255.0.255.0", "DestSubnetMask: '255.0.255.0' is no contiguous netmask"},
        {"1", "DestIPAddress=0.0.0.0 DestSubnetMask=255.0.0.0",
         "DestIPAddress: the default route has the mask 0.0.0.0"},
        {"1", "Interface=", "Interface: a route needs a gateway or an interface"},
        {"1", "Interface= GatewayIPAddress=192.168.1.5", ""},
        {"2", "GatewayIPAddress=", "GatewayIPAddress: a route needs a gateway or an interface"},
        {"2", "GatewayIPAddress=192.168.1.1", "GatewayIPAddress: the gateway is the router itself"},
        {"2", "GatewayIPAddress=192.0.2.1", "GatewayIPAddress: the gateway is the router itself"},
        {"1", "Interface=Device.X_QRN_NetworkZone.3", "Interface: there is no such interface"},
        {"1", "Interface=Device.X_QRN_NetworkZone.1", ""},
        {"1", "Interface=wan", "Interface: there is no such interface"},
        {"1", "ForwardingMetric=-2", "ForwardingMetric: -2 is not -1 to 2147483647"},
        {"2",
         "DestIPAddress=10.6.0.0 GatewayIPAddress=0.0.0.0 Interface=Device.IP.Interface.1 ForwardingMetric=7",
         "DestIPAddress: there is such a route already"},
        {"2",
         "DestIPAddress=10.6.0.0 GatewayIPAddress=0.0.0.0 Interface=Device.IP.Interface.1 ForwardingMetric=8",
         ""},
        {"2", "DestIPAddress=10.6.0.0 ForwardingMetric=7", ""},
        {"2", "DestIPAddress=10.7.0.0 GatewayIPAddress= Interface=Device.IP.Interface.1 ForwardingMetric=7",
         ""},
        {"2", "Origin=RIP", "Origin: it cannot be set"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.number} + ": " + one.words);
        store(kTwo);
        EXPECT_EQ(change(kRoutes + one.number, one.words), one.sentence);
        EXPECT_EQ(read_file("/tmp/.uci/network").empty(), *one.sentence != '\0');
    }
    EXPECT_EQ(change("Device.Routing.Router.1", "Enable=0"), "Enable: the router cannot be switched off");
    EXPECT_EQ(change("Device.Routing.Router.1", "Enable=1"), "");
}

TEST_F(Routing, TheKernelsRoutesAreLookedUpByAllThatIsAskedFor)
{
    if (unshare(CLONE_NEWNET) != 0) {
        GTEST_SKIP() << "the kernel allows no private network here";
    }
    const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP;
    ASSERT_EQ(ioctl(socket, SIOCSIFFLAGS, &loopback), 0);
    const auto add = [&](const char* destination, const char* mask, short metric,
                         const char* gateway = nullptr, unsigned long request = SIOCADDRT) {
        const auto address = [](const char* text) {
            sockaddr_in in{};
            in.sin_family = AF_INET;
            inet_pton(AF_INET, text, &in.sin_addr);
            sockaddr plain{};
            std::memcpy(&plain, &in, sizeof in);
            return plain;
        };
        rtentry route{};
        route.rt_dst = address(destination);
        route.rt_genmask = address(mask);
        route.rt_flags = static_cast<unsigned short>(RTF_UP | (gateway != nullptr ? RTF_GATEWAY : 0));
        route.rt_gateway = address(gateway != nullptr ? gateway : "0.0.0.0");
        route.rt_metric = static_cast<short>(metric + 1);
        route.rt_dev = loopback.ifr_name;
        ASSERT_EQ(ioctl(socket, request, &route), 0) << destination;
    };
    add("10.6.0.0", "255.255.0.0", 7);
    add("10.8.0.0", "255.255.255.0", 0);
    const struct {
        const char* target;
        const char* netmask;
        const char* more;
        const char* status;
    } cases[] = {
        {"10.6.0.0", "16", "\toption metric '7'\n", "Enabled"},
        {"10.6.0.0", "16", "", "Enabled"},
        {"10.6.0.0", "16", "\toption metric '8'\n", "Error"},
        {"10.6.0.0", "16", "\toption gateway '192.168.1.5'\n", "Error"},
        {"10.6.0.0", "255.255.255.0", "\toption metric '7'\n", "Error"},
        {"10.7.0.0", "16", "\toption metric '7'\n", "Error"},
        {"10.8.0.0", "24", "", "Enabled"},
        {"0.0.0.0", "0", "", "Error"},
        {"10.6.0.0", "16", "\toption metric '7'\n\toption disabled '1'\n", "Disabled"},
    };
    for (const auto& one : cases) {
        store(std::string{"config route\n\toption target '"} + one.target + "'\n\toption netmask '" +
              one.netmask + "'\n" + one.more);
        EXPECT_EQ(values(kRoutes + "1", "Status"), std::string{"\""} + one.status + "\"")
            << one.target << " " << one.netmask << one.more;
    }
    // The default route of the WAN's device answers where nothing else knows the gateway.
    const auto gateway = [] { return values("Device.IP.Interface.1", "X_QRN_DefaultGateway"); };
    const auto use = [](const char* device) {
        put("network",
            std::string{"config interface 'wan'\n\toption proto 'dhcp'\n\toption device '"} + device + "'\n");
    };
    use("lo");
    EXPECT_EQ(gateway(), "\"\"");
    add("0.0.0.0", "0.0.0.0", 0, "10.8.0.1");
    EXPECT_EQ(gateway(), "\"10.8.0.1\"");
    use("eth7");
    EXPECT_EQ(gateway(), "\"\"");
    add("0.0.0.0", "0.0.0.0", 0, "10.8.0.1", SIOCDELRT);
    close(socket);
}
