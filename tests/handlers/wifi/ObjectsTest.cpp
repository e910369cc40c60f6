// SPDX-License-Identifier: Apache-2.0
// What the objects of the Wi-Fi answer and store, parameter by parameter, and what their live parts say.
#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kAp = "Device.WiFi.AccessPoint.";

class WifiObjects : public EffectTest
{
  protected:
    void SetUp() override
    {
        EffectTest::SetUp();
        store("");
    }

    static void store(const std::string& more)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("mtkwireless", "config wifi-device 'ra0'\n\toption radioOn '1'\n\toption enable1 '1'\n"
                           "config wifi-device 'rax0'\n\toption radioOn '1'\n" +
                               more);
    }

    /// A list as JSON, not as the JSON of a text.
    static std::string list(const std::string& path)
    {
        std::string text = values(path, "X_QRN_List");
        std::erase(text, '\\');
        return text;
    }

    /// Has the driver's tool print this table of stations.
    static void answer(const std::string& table)
    {
        write_file("/tmp/stations", table);
        outside().programs["/usr/bin/qrnstainfo"] =
            "while read -r line; do printf '%s\\n' \"$line\"; done </tmp/stations";
    }

    FakeFolder devices_{"/sys/class/net"};
};

constexpr const char* kSecurity =
    "EncryptionMode KeyPassphrase PreSharedKey SAEPassphrase RekeyingInterval RadiusServerIPAddr "
    "RadiusServerPort RadiusSecret SecondaryRadiusServerIPAddr SecondaryRadiusServerPort "
    "SecondaryRadiusSecret MFPConfig ModeEnabled";
constexpr const char* kAccounting =
    "ServerIPAddr ServerPort Secret SecondaryServerIPAddr SecondaryServerPort SecondarySecret "
    "InterimInterval Enable";
constexpr const char* kEndPoint =
    "X_QRN_SSID X_QRN_BSSID X_QRN_Radio X_QRN_KeyPassphrase X_QRN_ModeEnabled Enable Status "
    "SSIDReference X_QRN_SignalStrength X_QRN_LastDataDownlinkRate X_QRN_LastDataUplinkRate";

} // namespace

TEST_F(WifiObjects, AnswerWhatADriverTakesForAMissingOption)
{
    const std::string cases[][3] = {
        {"Device.WiFi",
         "RadioNumberOfEntries SSIDNumberOfEntries AccessPointNumberOfEntries EndPointNumberOfEntries",
         "2 16 16 1"},
        {kAp + "12",
         "SSIDAdvertisementEnabled IsolationEnable MaxAllowedAssociations WMMEnable UAPSDEnable "
         "AllowedMACAddress "
         "MACAddressControlEnabled Enable Status SSIDReference WMMCapability UAPSDCapability "
         "AssociatedDeviceNumberOfEntries",
         "1 0 0 1 1 \"\" 0 0 \"Disabled\" \"Device.WiFi.SSID.12\" 1 1 0"},
        {kAp + "12.Security", kSecurity,
         "\"AES\" \"\" \"\" \"\" 3600 \"\" 1812 \"\" \"\" 1812 \"\" \"Disabled\" \"None\""},
        {kAp + "12.Security", "ModesSupported",
         "\"None,WPA-Personal,WPA2-Personal,WPA3-Personal,WPA-WPA2-Personal,WPA3-Personal-Transition,WPA-"
         "Enterprise,WPA2-Enterprise,WPA3-Enterprise,WPA-WPA2-Enterprise,OWE\""},
        {kAp + "12.Accounting", kAccounting, "\"\" 1813 \"\" \"\" 1813 \"\" 0 0"},
        {kAp + "12.WPS",
         "ConfigMethodsSupported ConfigMethodsEnabled PIN Enable Status Version X_QRN_PushButton",
         "\"PushButton,PIN\" \"PushButton\" \"\" 0 \"Disabled\" \"2.0\" 0"},
        {kAp + "12.X_QRN_ACLNotes", "List Mode Note", "\"\" \"Off\" "},
        {"Device.WiFi.EndPoint.", kEndPoint, "\"\" \"\" 1 \"\" \"None\" 0 \"Disabled\" \"\" 0 0 0"},
        {"Device.WiFi.MultiAP",
         "X_QRN_Role X_QRN_SSID X_QRN_BackhaulBand X_QRN_Enable APDeviceNumberOfEntries",
         "\"Auto\" \"\" \"Auto\" 0 0"},
        {"Device.WiFi.MultiAP.X_QRN_MeshTopo", "X_QRN_List", "\"[]\""},
        {"Device.X_QRN_SiteSurvey", "Radio DiagnosticsState X_QRN_List", "1 \"None\" \"[]\""},
    };
    for (const auto& [path, names, wanted] : cases) {
        EXPECT_EQ(values(path, names), wanted) << path;
    }
}

TEST_F(WifiObjects, StoreEachValueUnderItsOwnKey)
{
    const std::string key(64, 'a');
    const std::string cases[][3] = {
        {kAp + "12.Security",
         "EncryptionMode=TKIP,AES KeyPassphrase=longenough SAEPassphrase=alsolong RekeyingInterval=600 "
         "RadiusServerIPAddr=192.0.2.1 RadiusServerPort=1 RadiusSecret=x "
         "SecondaryRadiusServerIPAddr=2001:db8::1 "
         "SecondaryRadiusServerPort=2 SecondaryRadiusSecret=y MFPConfig=Optional ModeEnabled=WPA2-Enterprise",
         "+mtkwireless: wifi-device rax0 radioOn=1 encr2=TKIP,AES psk2=longenough sae2=alsolong rekey2=600 "
         "radius2=192.0.2.1 radiusport2=1 radiuskey2=x radius2_2=2001:db8::1 radiusport2_2=2 radiuskey2_2=y "
         "mfp2=Optional auth2=WPA2-Enterprise"},
        {kAp + "12.Security", "PreSharedKey=" + key + " ModeEnabled=WPA2-Personal",
         "+mtkwireless: wifi-device rax0 radioOn=1 "
         "psk2=aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa auth2=WPA2-Personal"},
        {kAp + "12.Accounting",
         "ServerIPAddr=192.0.2.1 ServerPort=1 Secret=x SecondaryServerIPAddr=192.0.2.2 SecondaryServerPort=2 "
         "SecondarySecret=y InterimInterval=60 Enable=1",
         "+mtkwireless: wifi-device rax0 radioOn=1 acct2=192.0.2.1 acctport2=1 acctkey2=x acct2_2=192.0.2.2 "
         "acctport2_2=2 acctkey2_2=y acctinterim2=60 acctenable2=1"},
        {kAp + "12.Accounting", "Enable=1", "!Enable: accounting needs a server and its secret"},
        {kAp + "12.Accounting", "Enable=1 ServerIPAddr=192.0.2.1",
         "!ServerIPAddr: accounting needs a server and its secret"},
        {kAp + "12.Accounting", "Enable=1 Secret=x", "!Enable: accounting needs a server and its secret"},
        {kAp + "12.Accounting", "InterimInterval=59", "!InterimInterval: 59 is not 0 or 60 to 4294967295"},
        {kAp + "12.WPS", "PIN=1234567", "!PIN: it has 7 characters, not 8 to 8"},
        {kAp + "12.WPS", "PIN=1234567x", "!PIN: it has other characters than digits"},
        {kAp + "12.WPS", "PIN=12345678", "!PIN: its last digit is not the check digit of the others"},
        {kAp + "12.X_QRN_ACLNotes", "List=02:00:00:00:00:0a Mode=Deny",
         "+mtkwireless: wifi-device rax0 radioOn=1 maclist2=02:00:00:00:00:0A macmode2=Deny"},
        {kAp + "12.X_QRN_ACLNotes.02:00:5e:00:53:0a", "Note=Anna",
         "+mtkwireless: aclnote note12_02005E00530A ap=12 mac=02:00:5E:00:53:0A note=Anna"},
        {kAp + "12.X_QRN_ACLNotes.02:00:5e:00:53:0a", "Mode=Deny",
         "22 Mode: it is set without an address after the path"},
        {kAp + "12.X_QRN_ACLNotes.02:00:5e:00:53:0a",
         "List=", "22 List: it is set without an address after the path"},
        {kAp + "12.X_QRN_ACLNotes.02:00:5e:00:53", "Note=Anna",
         "22 Note: a note needs an address after the path"},
        {kAp + "12.X_QRN_ACLNotes", "Note=Anna", "22 Note: a note needs an address after the path"},
        {"Device.WiFi.EndPoint.",
         "Enable=1 X_QRN_SSID=Cafe X_QRN_BSSID=02:00:00:00:00:0a X_QRN_Radio=2 "
         "X_QRN_KeyPassphrase=longenough X_QRN_ModeEnabled=WPA-Personal",
         "+mtkwireless: endpoint endpoint ssid=Cafe bssid=02:00:00:00:00:0A radio=2 psk=longenough "
         "auth=WPA-Personal enable=1"},
        {"Device.WiFi.EndPoint.", "Enable=1 X_QRN_SSID=Cafe X_QRN_ModeEnabled=WPA3-Personal-Transition",
         "!X_QRN_SSID: its mode needs a passphrase"},
        {"Device.WiFi.EndPoint.", "X_QRN_KeyPassphrase=l\u00f6ngenough",
         "!X_QRN_KeyPassphrase: it has characters that are not ASCII"},
        {"Device.WiFi.EndPoint.", "X_QRN_Radio=3", "!X_QRN_Radio: 3 is not 1 to 2"},
        {"Device.WiFi.MultiAP",
         "X_QRN_Role=Controller X_QRN_SSID=Mesh X_QRN_BackhaulBand=5GHz X_QRN_Enable=1",
         "+mtkwireless: mesh mesh role=1 ssid=Mesh band=5GHz enable=1"},
        {"Device.WiFi.MultiAP", "X_QRN_Enable=1", "!X_QRN_Enable: a mesh needs a name"},
    };
    constexpr const char* kAreas[][2] = {
        {"Security", "WiFi security [12]"}, {"Accounting", "WiFi accounting [12]"}, {"WPS", "WiFi WPS [12]"},
        {"Notes", "WiFi MAC list [12]"},    {"EndPoint", "WiFi end point"},         {"Multi", "WiFi mesh"}};
    for (const auto& [path, words, wanted] : cases) {
        SCOPED_TRACE(path + " " + words);
        store("");
        if (wanted.starts_with("22 ")) {
            EXPECT_EQ(send(path, kSet, named(words)).code, 22u);
            EXPECT_EQ(QSysCmdHal_LastError(), path + ": " + wanted.substr(3));
        } else {
            EXPECT_EQ(effect("mtkwireless", path, words), wanted);
            const auto* const area = std::ranges::find_if(
                kAreas, [&](const auto& each) { return path.find(each[0]) != path.npos; });
            EXPECT_EQ(tells_of((*area)[1]), !wanted.starts_with('!'));
        }
    }
    outside().programs["ifconfig"] = "exit 0";
    // What goes live is stored value by value.
    store("");
    EXPECT_EQ(change(kAp + "12",
                     "SSIDAdvertisementEnabled=0 IsolationEnable=1 MaxAllowedAssociations=9 WMMEnable=0 "
                     "UAPSDEnable=0 Enable=1 MACAddressControlEnabled=1 "
                     "AllowedMACAddress=02:00:00:00:00:0a,02:00:00:00:00:0b"),
              "");
    EXPECT_TRUE(tells_of("WiFi access point [12]"));
    EXPECT_EQ(change(kAp + "12.WPS", "ConfigMethodsEnabled=PIN,PushButton PIN=12345670"), "");
    EXPECT_TRUE(tells_of("WiFi WPS [12]"));
    EXPECT_EQ(sections("mtkwireless")[1],
              "mtkwireless: wifi-device rax0 radioOn=1 hidden2=1 isolate2=1 maxsta2=9 wmm2=0 uapsd2=0 "
              "maclist2=02:00:00:00:00:0A maclist2=02:00:00:00:00:0B macmode2=Allow enable2=1 "
              "wpsmethods2=PIN,PushButton wpspin2=12345670");
    const std::string noted = kAp + "12.X_QRN_ACLNotes.02:00:5E:00:53:0A";
    EXPECT_EQ(change(noted, "Note=Anna"), "");
    EXPECT_EQ(values(noted, "Note List Mode") +
                  values(kAp + "2" + noted.substr(noted.find(".X_QRN")), "Note"),
              "\"Anna\"  \"\"");
    EXPECT_EQ(effect("mtkwireless", noted, "Note=Berta"),
              "+mtkwireless: aclnote note12_02005E00530A ap=12 mac=02:00:5E:00:53:0A note=Berta");
    EXPECT_EQ(effect("mtkwireless", noted, "Note="),
              "-mtkwireless: aclnote note12_02005E00530A ap=12 mac=02:00:5E:00:53:0A note=Berta");
    EXPECT_EQ(effect("mtkwireless", noted, "Note="), "");
}

TEST_F(WifiObjects, StationsAnswerOneByOneAndAsAList)
{
    answer("INTERFACE MAC               STANDARD AUTH DOWNLINK UPLINK RSSI NOISE RETRIES ACTIVE SECONDS SENT "
           "      RECEIVED\n"
           "ra0       02:00:00:00:00:22 n        1    144400   130000 -61  -94   7       1      -       "
           "9000000000 70000\n"
           "ra0       02:00:00:00:00:11 zz       yes  -1       1000   -80  x     12      0      -1      0    "
           "      120\n"
           "rax0      02:00:00:00:00:33 ax       1    1        1      -1   -2    3       1      0       4    "
           "      5\n");
    write_file("/tmp/dhcp.leases", "0 02:00:00:00:00:22 192.168.1.22 phone *\n");
    constexpr const char* kNames =
        "MACAddress OperatingStandard AuthenticationState LastDataDownlinkRate LastDataUplinkRate "
        "SignalStrength Noise Retransmissions Active AssociationTime X_QRN_BytesSent "
        "X_QRN_BytesReceived X_QRN_IPAddress X_QRN_HostName X_QRN_List";
    EXPECT_EQ(values(kAp + "1.AssociatedDevice.1", kNames),
              "\"02:00:00:00:00:11\" \"\" 0 0 1000 -80 0 12 0 \"0001-01-01T00:00:00Z\" 0 120 \"\" \"\" ");
    EXPECT_EQ(values(kAp + "1.AssociatedDevice.2.", kNames),
              "\"02:00:00:00:00:22\" \"n\" 1 144400 130000 -61 -94 7 1 \"0001-01-01T00:00:00Z\" 9000000000 "
              "70000 \"192.168.1.22\" \"phone\" ");
    EXPECT_EQ(values(kAp + "1.AssociatedDevice", "MACAddress"), "");
    EXPECT_EQ(
        list(kAp + "1.AssociatedDevice"),
        R"("[{"MACAddress":"02:00:00:00:00:11","OperatingStandard":"",)"
        R"("AuthenticationState":0,"LastDataDownlinkRate":0,"LastDataUplinkRate":1000,"SignalStrength":-80,)"
        R"("Noise":0,"Retransmissions":12,"Active":0,"AssociationTime":"0001-01-01T00:00:00Z","X_QRN_BytesSent":0,)"
        R"("X_QRN_BytesReceived":120,"X_QRN_IPAddress":"","X_QRN_HostName":""},)"
        R"({"MACAddress":"02:00:00:00:00:22","OperatingStandard":"n","AuthenticationState":1,)"
        R"("LastDataDownlinkRate":144400,"LastDataUplinkRate":130000,"SignalStrength":-61,"Noise":-94,)"
        R"("Retransmissions":7,"Active":1,"AssociationTime":"0001-01-01T00:00:00Z","X_QRN_BytesSent":9000000000,)"
        R"("X_QRN_BytesReceived":70000,"X_QRN_IPAddress":"192.168.1.22","X_QRN_HostName":"phone"}]")");
    for (const char* number : {"0", "3", "x", "-1", "18446744073709551617"}) {
        EXPECT_EQ(values(kAp + "1.AssociatedDevice." + number, "Active"), "code 22") << number;
    }
    EXPECT_EQ(values(kAp + "1", "AssociatedDeviceNumberOfEntries"), "2");
    (void)steps();
    EXPECT_EQ(values(kAp + "2", "AssociatedDeviceNumberOfEntries") +
                  values(kAp + "11.AssociatedDevice", "X_QRN_List"),
              "0\"[]\"");
    EXPECT_EQ(steps(), Lines{}) << "of what is off, the tool knows nothing";
    outside().programs.clear();
    EXPECT_EQ(values(kAp + "1.AssociatedDevice", "X_QRN_List"), "\"[]\"");
}

TEST_F(WifiObjects, AnEndPointAnswersForItsRadio)
{
    answer("INTERFACE MAC               RSSI DOWNLINK UPLINK\napcli0    02:00:00:00:00:01 -57  1000     900\n"
           "apclix0   02:00:00:00:00:02 -58  2000     1900\n");
    const char* const cases[][2] = {
        {"\toption enable '1'\n\toption ssid 'Cafe'\n",
         "\"Cafe\" \"\" 1 \"\" \"None\" 1 \"Enabled\" \"\" -57 1000 900"},
        {"\toption enable '1'\n\toption ssid 'Cafe'\n\toption radio '2'\n\toption auth 'OWE'\n",
         "\"Cafe\" \"\" 2 \"\" \"OWE\" 1 \"Enabled\" \"\" -58 2000 1900"},
        {"\toption enable '1'\n\toption ssid 'Cafe'\n\toption auth 'WPA2-Personal'\n\toption psk 'short'\n",
         "\"Cafe\" \"\" 1 \"\" \"WPA2-Personal\" 1 \"Error_Misconfigured\" \"\" -57 1000 900"},
        {"\toption enable '0'\n\toption ssid 'Cafe'\n",
         "\"Cafe\" \"\" 1 \"\" \"None\" 0 \"Disabled\" \"\" 0 0 0"},
    };
    for (const auto& [options, wanted] : cases) {
        store(std::string{"config endpoint 'endpoint'\n"} + options);
        EXPECT_EQ(values("Device.WiFi.EndPoint.", kEndPoint), wanted) << options;
    }
}

TEST_F(WifiObjects, TheNodesOfTheMeshAreTold)
{
    write_file(
        "/tmp/dump.txt",
        R"({"topology information":[{"Name":"Hall\u0007","MACAddress":"02:00:00:00:00:01","Clients":[{}]},
        {"Name":"Attic","Parent":"02:00:00:00:00:01","Backhaul":"5GHz","SignalStrength":-60}]})");
    EXPECT_EQ(values("Device.WiFi.MultiAP", "APDeviceNumberOfEntries"), "2");
    EXPECT_EQ(
        list("Device.WiFi.MultiAP.X_QRN_MeshTopo"),
        R"("[{"Name":"Hallu0007","MACAddress":"02:00:00:00:00:01",)"
        R"("Parent":"","Backhaul":"","Hops":0,"SignalStrength":0,"Clients":1},{"Name":"Attic","MACAddress":"",)"
        R"("Parent":"02:00:00:00:00:01","Backhaul":"5GHz","Hops":1,"SignalStrength":-60,"Clients":0}]")");
    for (const char* broken : {"", "[[", "5", "\xff\xfe"}) {
        write_file("/tmp/dump.txt", broken);
        EXPECT_EQ(values("Device.WiFi.MultiAP.X_QRN_MeshTopo", "X_QRN_List"), "\"[]\"") << broken;
    }
}

TEST_F(WifiObjects, ServiceRunsTheScriptOrWhatItWouldRun)
{
    const auto serve = [](const std::string& action) {
        (void)steps();
        const Answer answer = send("Device.WiFi", kService, R"({"action":")" + action + "\"}");
        const Lines done = steps();
        return std::to_string(answer.code) + " " + (done.empty() ? QSysCmdHal_LastError() : done.front());
    };
    outside().programs = {{"/sbin/wifi", "exit 0"}};
    for (const auto& [action, wanted] : {std::pair<const char*, const char*>{"stop", "0 run /sbin/wifi down"},
                                         {"start", "0 run /sbin/wifi reload"},
                                         {"restart", "0 run /sbin/wifi reload"},
                                         {"reload", "0 run /sbin/wifi reload"},
                                         {"enable", "14 Device.WiFi: the Wi-Fi knows no such action"}}) {
        EXPECT_EQ(serve(action), wanted);
    }
    outside().programs["/sbin/wifi"] = "exit 1";
    EXPECT_EQ(serve("stop").substr(0, 2), "14");
    outside().programs["/etc/init.d/wifi"] = "exit 0";
    EXPECT_EQ(serve("stop"), "0 run /etc/init.d/wifi stop");
}
