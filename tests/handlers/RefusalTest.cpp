// SPDX-License-Identifier: Apache-2.0
// What people read when a handler refuses something.
#include "qsc_describe.h"
#include "support/Outside.h"

using namespace test;

class HandlerRefusals : public OutsideTest
{
};

TEST_F(HandlerRefusals, SayWhatIsWrong)
{
    const struct {
        const char* path;
        const char* name;
        std::string value;
        const char* sentence; // after path and parameter
    } cases[] = {
        {"Device.WiFi.Radio.2", "OperatingChannelBandwidth", "9", "9 is not 0 to 3"},
        {"Device.WiFi.Radio.2", "OperatingStandards", "\"b\"", "'b' is none of the radio's standards"},
        {"Device.WiFi.Radio.2", "RegulatoryDomain", "\"USA\"", "a country is two characters"},
        {"Device.WiFi.Radio.2", "RegulatoryDomain", "\"de\"", "no channels are known for the country 'DE'"},
        {"Device.WiFi.Radio.2", "AutoChannelEnable", "7", "7 is neither 0 nor 1"},
        {"Device.WiFi.Radio.3", "Enable", "1", "there is no such instance"},
        {"Device.WiFi.Radio.1", "TransmitPower", "5", "the driver refused TxPower=5"},
        {"Device.WiFi.Radio.1", "X_QRN_AutoChannelSkipList", "\"1;6\"",
         "the driver could not be asked for another channel"},
        {"Device.WiFi.SSID.9", "Enable", "1", "there is no such instance"},
        {"Device.WiFi.SSID.1", "SSID", "\"\"", "a network name is not empty"},
        {"Device.WiFi.SSID.1", "SSID", "\"n\"", "the driver refused the name"},
        {"Device.WiFi.SSID.1", "X_QRN_NetworkZone", "\"x\"", "there is no network zone 'x'"},
        {"Device.WiFi.SSID.1", "X_QRN_VLANID", "1", "the interface ra0 is in no network zone"},
        {"Device.Time", "XQrnTimeZoneLocation", "\"Nowhere\"", "there is no time zone 'Nowhere'"},
        {"Device.Time", "CurrentLocalTime", "\"1-2-3-4\"",
         "a time has at most 126 characters and two dashes"},
        {"Device.Time", "CurrentLocalTime", "\"$\"", "a time holds none of `;|&{}$<>"},
        {"Device.Time", "CurrentLocalTime", "\"x\"", "the clock could not be set"},
        {"Device.DHCPv4.Client.1", "Enable", "2", "2 is neither 0 nor 1"},
        {"Device.DHCPv4.Client.1", "Broadcast", "\"\"", "it must not be empty"},
    };
    outside().uci = {{"mtkwireless.mesh.enable", "0"},
                     {"mtkwireless.ra0.enable1", "1"},
                     {"mtkwireless.ra0.radioOn", "1"},
                     {"network.wan.proto", "dhcp"}};
    outside().wait_statuses = {{"/usr/sbin/iwpriv ra0 set TxPower=5", 1 << 8},
                               {"/usr/sbin/iwpriv ra0 set SSID=\"n\"", 1 << 8},
                               {"echo 1 > /tmp/.ra0_ACS_renew", 1 << 8},
                               {"date -s \"x\"", 1 << 8}};
    for (const auto& [path, name, value, sentence] : cases) {
        EXPECT_NE(set(path, name, value).code, 0u) << sentence;
        EXPECT_EQ(QSysCmdHal_LastError(), std::string{path} + ": " + name + ": " + sentence);
    }
    outside().uci["mtkwireless.ra0.channel"] = "1";
    outside().wait_statuses["/usr/bin/qrnstainfo -a"] = 1 << 8;
    EXPECT_EQ(get("Device.WiFi.Radio.1", "X_QRN_AssociatedNumber2G"), Fails(EFAULT));
    EXPECT_STREQ(QSysCmdHal_LastError(),
                 "Device.WiFi.Radio.1: X_QRN_AssociatedNumber2G: /usr/bin/qrnstainfo -a failed");
    EXPECT_EQ(get("Device.WiFi.Radio.1", "Channel"), Succeeds());
    EXPECT_STREQ(QSysCmdHal_LastError(), "");
}
