// SPDX-License-Identifier: Apache-2.0
// A second address in the LAN: what it may be beside the others, and what is made of it.
#include "support/DeviceTest.h"

using namespace test;

namespace
{

constexpr const char* kPath = "Device.X_QRN_2ndStaticIp";
constexpr const char* kAll = "IPAddress SubnetMask Enable Status";
constexpr const char* kOthers =
    "config interface 'lan'\n\toption ipaddr '192.168.1.1'\n\toption netmask '255.255.255.0'\n"
    "config interface 'guest'\n\tlist ipaddr '172.16.0.1/12'\n\tlist ipaddr '198.51.100.1/32'\n"
    "config interface 'any'\n\toption ipaddr '203.0.113.9'\n"
    "config interface 'length'\n\toption ipaddr '11.9.0.1'\n\toption netmask '16'\n";

class SecondStaticIp : public DeviceTest
{
  protected:
    static void store(const std::string& options)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", kOthers + (options.empty() ? "" : "config interface 'lan2'\n" + options));
    }

    static Lines stored()
    {
        Lines lines = committed("network");
        const auto begin = std::ranges::find(lines, "config interface 'lan2'");
        return {begin == lines.end() ? begin : begin + 1, lines.end()};
    }
};

} // namespace

TEST_F(SecondStaticIp, ANewOneIsCompleteAndWaitsUntilItIsEnabled)
{
    const struct {
        const char* before;
        const char* words;
        Lines stored;
        const char* values;
    } cases[] = {
        {"", "", {}, "\"\" \"\" 0 \"Disabled\""},
        {"",
         "IPAddress=192.168.7.1 SubnetMask=255.255.255.0",
         {"option ipaddr '192.168.7.1'", "option proto 'static'", "option device '@lan'",
          "option disabled '1'", "option netmask '255.255.255.0'"},
         "\"192.168.7.1\" \"255.255.255.0\" 0 \"Disabled\""},
        {"",
         "Enable=1 SubnetMask=255.0.0.0 IPAddress=10.0.0.1",
         {"option ipaddr '10.0.0.1'", "option proto 'static'", "option device '@lan'", "option disabled '0'",
          "option netmask '255.0.0.0'"},
         "\"10.0.0.1\" \"255.0.0.0\" 1 \"Error\""},
        {"",
         "Enable=0",
         {"option disabled '1'", "option proto 'static'", "option device '@lan'"},
         "\"\" \"\" 0 \"Disabled\""},
        {"\toption proto 'static'\n\toption ipaddr '10.0.0.1'\n\toption netmask '24'\n",
         "SubnetMask=255.255.0.0",
         {"option proto 'static'", "option ipaddr '10.0.0.1'", "option netmask '255.255.0.0'"},
         "\"10.0.0.1\" \"255.255.0.0\" 1 \"Error\""},
        {"\toption proto 'static'\n\toption ipaddr '127.0.0.1'\n\toption disabled '0'\n",
         "",
         {"option proto 'static'", "option ipaddr '127.0.0.1'", "option disabled '0'"},
         "\"127.0.0.1\" \"\" 1 \"Enabled\""}, // which the router has for certain
        {"\toption proto 'static'\n\toption ipaddr '127.0.0.1'\n\toption disabled '1'\n",
         "",
         {"option proto 'static'", "option ipaddr '127.0.0.1'", "option disabled '1'"},
         "\"127.0.0.1\" \"\" 0 \"Disabled\""},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.before} + one.words);
        store(one.before);
        EXPECT_EQ(change(kPath, one.words), "");
        EXPECT_EQ(values(kPath, kAll), one.values);
        EXPECT_EQ(stored(), one.stored);
    }
    store("");
    steps();
    messages();
    EXPECT_EQ(change(kPath, "IPAddress=192.168.7.1 SubnetMask=255.255.255.0"), "");
    EXPECT_EQ(messages(), (Lines{"set second static ip IPAddress 192.168.7.1 by CLI",
                                 "set second static ip SubnetMask 255.255.255.0 by CLI"}));
    for (const std::string& step : steps()) {
        store("");
        outside().uci_codes = {{step.substr(0, step.find('=')), uint32_t{EIO}}};
        const Answer answer = send(kPath, kSet, named("IPAddress=192.168.7.1 SubnetMask=255.255.255.0"));
        EXPECT_EQ(answer.code, step.starts_with("add ") ? 14u : 5u) << step;
        outside().uci_codes.clear();
    }
}

TEST_F(SecondStaticIp, AddressesThatTheRouterCannotHaveAreRefused)
{
    constexpr const char* kNeeds = "it needs an address and a mask";
    constexpr const char* kNoHost = "the address is none of a host in its network";
    constexpr const char* kOn =
        "\toption proto 'static'\n\toption ipaddr '10.0.0.1'\n\toption netmask '24'\n";
    const struct {
        const char* before;
        const char* words;
        std::string sentence;
    } cases[] = {
        {"", "Enable=1", std::string{"Enable: "} + kNeeds},
        {"", "Enable=1 IPAddress=10.0.0.1", std::string{"IPAddress: "} + kNeeds},
        {"", "Enable=1 SubnetMask=255.0.0.0", std::string{"SubnetMask: "} + kNeeds},
        {"", "IPAddress=10.0.0.1", ""},
        {kOn, "IPAddress=", std::string{"IPAddress: "} + kNeeds},
        {kOn, "SubnetMask=", std::string{"SubnetMask: "} + kNeeds},
        {kOn, "IPAddress= Enable=0", ""},
        {kOn, "IPAddress=10.0.0.2", ""},
        {kOn, "IPAddress=10.0.0.255", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=10.0.0.0 SubnetMask=255.255.255.0", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=10.0.0.255 SubnetMask=255.255.255.0", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=10.0.0.255 SubnetMask=255.255.255.254", ""},
        {"", "IPAddress=10.0.0.0 SubnetMask=255.255.255.255", ""},
        {"", "IPAddress=10.0.0.3 SubnetMask=255.255.255.252", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=223.255.255.1 SubnetMask=255.0.0.0", ""},
        {"", "IPAddress=224.0.0.1 SubnetMask=255.0.0.0", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=0.0.0.1 SubnetMask=255.0.0.0", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=127.0.0.1 SubnetMask=255.0.0.0", std::string{"IPAddress: "} + kNoHost},
        {"", "IPAddress=192.168.1.77 SubnetMask=255.255.255.252",
         "IPAddress: the network overlaps that of lan"},
        {"", "IPAddress=192.168.9.1 SubnetMask=255.255.0.0", "IPAddress: the network overlaps that of lan"},
        {"", "IPAddress=192.168.0.254 SubnetMask=255.255.255.0", ""},
        {"", "IPAddress=172.31.0.1 SubnetMask=255.255.255.0",
         "IPAddress: the network overlaps that of guest"},
        {"", "IPAddress=172.32.0.1 SubnetMask=255.255.255.0", ""},
        {"", "IPAddress=198.51.100.2 SubnetMask=255.255.255.0",
         "IPAddress: the network overlaps that of guest"},
        {"", "IPAddress=203.0.113.8 SubnetMask=255.255.255.255", ""},
        {"", "IPAddress=203.0.113.9 SubnetMask=255.255.255.255",
         "IPAddress: the network overlaps that of any"},
        {"", "IPAddress=11.9.7.1 SubnetMask=255.255.255.0", "IPAddress: the network overlaps that of length"},
        {kOn, "IPAddress=10.0.0.2 SubnetMask=255.255.255.0", ""}, // its own is none of others
        {"", "SubnetMask=255.0.255.0", "SubnetMask: '255.0.255.0' is no contiguous netmask"},
        {"", "Status=Enabled", "Status: it cannot be set"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.before} + one.words);
        store(one.before);
        EXPECT_EQ(change(kPath, one.words), one.sentence);
        EXPECT_EQ(std::filesystem::exists("/tmp/.uci/network"), one.sentence.empty());
    }
}
