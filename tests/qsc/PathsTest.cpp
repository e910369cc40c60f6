// SPDX-License-Identifier: Apache-2.0
// What a path on the command line leads to.
#include "tools/qsc/Paths.h"

#include <string>

#include <gtest/gtest.h>

#include "tools/qsc/Json.h"

using namespace qsc;

namespace
{

/// The objects of a path, one a line, and the parameter that it names; or what reading it ends with.
std::string objects_of(const char* path)
{
    Place place;
    JsonRef paths;
    if (read_place(path, place) != kDone || list_objects(Options{}, place, paths) != kDone) {
        return "none";
    }
    std::string all{place.parameter.view()};
    (void)for_each_text(paths.get(), [&](const char* each) {
        all += (all.empty() ? "" : " ") + std::string{each};
        return kDone;
    });
    return (place.reach == Place::kObject ? "one: " : "many: ") + all;
}

} // namespace

TEST(Paths, LeadToObjectsToOneParameterAndToAllBelow)
{
    const struct {
        const char* path;
        const char* objects;
    } cases[] = {
        {"Device.Time", "one: Device.Time"},
        {"Device.Time.", "many: Device.Time"},
        {"Device.Time.Enable", "one: Enable Device.Time"},
        {"syslog", "one: syslog"},
        {"syslog.level", "one: level syslog"},
        {"Device.WiFi.Radio", "many: Device.WiFi.Radio.1 Device.WiFi.Radio.2"},
        {"Device.WiFi.Radio.*", "many: Device.WiFi.Radio.1 Device.WiFi.Radio.2"},
        {"Device.WiFi.Radio.*.Channel", "many: Channel Device.WiFi.Radio.1 Device.WiFi.Radio.2"},
        {"Device.WiFi.SSID.3", "one: Device.WiFi.SSID.3"},
        {"Device.WiFi.SSID.3.Stats", "one: Device.WiFi.SSID.3.Stats"},
        {"Device.WiFi.SSID.3.SSID", "one: SSID Device.WiFi.SSID.3"},
        {"Device.WiFi.SSID.3.Stats.BytesSent", "one: BytesSent Device.WiFi.SSID.3.Stats"},
        {"Device.WiFi.AccessPoint.1.AssociatedDevice.2", "one: Device.WiFi.AccessPoint.1.AssociatedDevice.2"},
        {"Device.WiFi.AccessPoint.1.AssociatedDevice.2.Noise",
         "one: Noise Device.WiFi.AccessPoint.1.AssociatedDevice.2"},
        {"Device.WiFi.AccessPoint.1.X_QRN_ACLNotes.02:00:5e:00:53:0a.Note",
         "one: Note Device.WiFi.AccessPoint.1.X_QRN_ACLNotes.02:00:5e:00:53:0a"},
        {"Device.DNS.Client.Server.2", "one: Device.DNS.Client.Server.2"},
        {"Device.WiFi.SSID.3.", "many: Device.WiFi.SSID.3 Device.WiFi.SSID.3.Stats"},
        {"Device.WiFi.SSID.12.Stats.", "many: Device.WiFi.SSID.12.Stats"},
        {"Device.DHCPv4.Client.1", "one: Device.DHCPv4.Client.1"},
        {"Device.DHCPv4.Client.*", "many: Device.DHCPv4.Client.1"},
        {"Device.DHCPv4.Client.1.SentOption",
         "many: Device.DHCPv4.Client.1.SentOption.1 Device.DHCPv4.Client.1.SentOption.2"},
        {"Device.DHCPv4.Client.1.SentOption.*.Tag",
         "many: Tag Device.DHCPv4.Client.1.SentOption.1 Device.DHCPv4.Client.1.SentOption.2"},
        {"Device.DHCPv4.Client.", "many: Device.DHCPv4.Client.1 Device.DHCPv4.Client.1.ReqOption.1 "
                                  "Device.DHCPv4.Client.1.SentOption.1 Device.DHCPv4.Client.1.SentOption.2 "
                                  "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1 "
                                  "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.1 "
                                  "Device.DHCPv4.Client.1.X_QRN_RelaySentOption.1.Subcode.2"},
        {"", "none"},
        {"Device.Foo.", "none"},
        {"Device.WiFiFoo", "none"},
        {"Device.WiFi.Radio.x", "none"},
        {"Device.WiFi.AccessPoint.1.Security.2", "none"},
        {"Device.WiFi.AccessPoint.1.AssociatedDevice.x", "none"},
        {"Device.WiFi.AccessPoint.1.AssociatedDevice.2.3", "none"},
        {"Device.WiFi.Radio.2.Foo", "none"},
        {"Device..Time", "none"},
    };
    for (const auto& [path, objects] : cases) {
        EXPECT_EQ(objects_of(path), objects) << path;
    }
    EXPECT_TRUE(objects_of("Device.WiFi.SSID.*")
                    .ends_with(" Device.WiFi.SSID.8 Device.WiFi.SSID.11 "
                               "Device.WiFi.SSID.12 Device.WiFi.SSID.13 "
                               "Device.WiFi.SSID.14 Device.WiFi.SSID.15 "
                               "Device.WiFi.SSID.16 Device.WiFi.SSID.17 "
                               "Device.WiFi.SSID.18"));
    EXPECT_NE(objects_of("Device.").find(" Device.X_QRN_RemoteLog"), std::string::npos);
    EXPECT_EQ(objects_of(("Device.Time." + std::string(500, 'x')).c_str()), "none");
}
