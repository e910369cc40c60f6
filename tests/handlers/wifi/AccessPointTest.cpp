// SPDX-License-Identifier: Apache-2.0
// Access points, the end point and surveys, on real files and faked programs: what is stored, what the driver
// hears, and what is refused.
#include <fcntl.h>
#include <unistd.h>

#include <sys/file.h>

#include "support/DeviceTest.h"

using namespace test;

namespace
{

const std::string kAp = "Device.WiFi.AccessPoint.";
const std::string kSurvey = "Device.X_QRN_SiteSurvey";

class AccessPoint : public DeviceTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        put("mtkwireless",
            "config wifi-device 'ra0'\n\toption radioOn '1'\n\toption enable1 '1'\n\toption enable2 '1'\n"
            "config wifi-device 'rax0'\n\toption radioOn '0'\n\toption enable8 '1'\n"
            "config mesh 'mesh'\n\toption enable '0'\n");
        for (const char* interface : {"ra0", "ra1", "ra2", "rax7"}) {
            FakeFolder::put(std::string{"/sys/class/net/"} + interface + "/flags", "0x1003\n");
        }
        outside().programs = {{"/usr/sbin/iwpriv", "exit 0"}, {"ifconfig", "exit 0"}};
    }

    static std::string option(const std::string& key)
    {
        char value[256];
        return QrnUci_GetString(("mtkwireless." + key).c_str(), value, sizeof value) == 0 ? value : "";
    }

    /// The programs that were run since it was last asked.
    static Lines runs()
    {
        Lines all = steps();
        std::erase_if(all, [](const std::string& step) { return !step.starts_with("run "); });
        return all;
    }

    /// Nothing of a set that is refused is stored.
    static void refuse(const std::string& path, const std::string& words, const std::string& sentence)
    {
        const std::string before = read_file("/tmp/.uci/mtkwireless");
        EXPECT_EQ(change(path, words), sentence) << path << " " << words;
        EXPECT_EQ(read_file("/tmp/.uci/mtkwireless"), before) << path << " " << words;
        EXPECT_EQ(runs(), Lines{}) << path << " " << words;
    }

    static void set(const std::string& path, const std::string& words)
    {
        EXPECT_EQ(change(path, words), "") << words;
    }

    FakeFolder devices_{"/sys/class/net"};
};

} // namespace

TEST_F(AccessPoint, DrivesWhatIsUp)
{
    const struct {
        const char* words;
        const char* option;
        const char* stored;
        const char* setting;
    } cases[] = {
        {"SSIDAdvertisementEnabled=0", "hidden2", "1", "HideSSID=1"},
        {"SSIDAdvertisementEnabled=1", "hidden2", "0", "HideSSID=0"},
        {"IsolationEnable=1", "isolate2", "1", "NoForwarding=1"},
        {"MaxAllowedAssociations=255", "maxsta2", "255", "MaxStaNum=255"},
        {"WMMEnable=0", "wmm2", "0", "WmmCapable=0"},
        {"UAPSDEnable=0", "uapsd2", "0", "UAPSDCapable=0"},
    };
    for (const auto& [words, name, stored, setting] : cases) {
        set(kAp + "2", words);
        EXPECT_EQ(option(std::string{"ra0."} + name), stored);
        EXPECT_EQ(runs(), (Lines{std::string{"run /usr/sbin/iwpriv ra1 set "} + setting}));
    }
    // Not: one that is off, one whose radio is, one whose interface is down.
    set(kAp + "3", "IsolationEnable=1");
    set(kAp + "18", "IsolationEnable=1");
    FakeFolder::put("/sys/class/net/ra1/flags", "0x1002\n");
    set(kAp + "2", "IsolationEnable=0");
    EXPECT_EQ(runs(), Lines{});
    std::filesystem::remove_all("/sys/class/net/ra0");
    set(kAp + "1", "IsolationEnable=1");
    EXPECT_EQ(runs(), Lines{"run /usr/sbin/iwpriv ra0 set NoForwarding=1"}) << "what is not known is tried";
    EXPECT_EQ(option("rax0.isolate8"), "1");
    FakeFolder::put("/sys/class/net/ra1/flags", "0x1003\n");
    outside().programs["/usr/sbin/iwpriv"] = "exit 1";
    EXPECT_EQ(change(kAp + "2", "WMMEnable=1"), "WMMEnable: the driver refused WmmCapable=1");
    (void)runs();
    refuse(kAp + "2", "MaxAllowedAssociations=256", "MaxAllowedAssociations: 256 is not 0 to 255");
}

TEST_F(AccessPoint, IsSwitchedAtOnceUnlessItHasKeysOrCarriesOthers)
{
    set(kAp + "3", "Enable=1");
    set(kAp + "3", "Enable=0");
    EXPECT_EQ(runs(), (Lines{"run ifconfig ra2 up", "run ifconfig ra2 down"}));
    set(kAp + "1", "Enable=0");
    set(kAp + "18", "Enable=0");
    set(kAp + "3.Security", "KeyPassphrase=longenough ModeEnabled=WPA2-Personal");
    set(kAp + "3", "Enable=1");
    EXPECT_EQ(runs(), Lines{});
    set(kAp + "3", "Enable=0");
    EXPECT_EQ(runs(), Lines{"run ifconfig ra2 down"});
    outside().programs["ifconfig"] = "exit 1";
    EXPECT_EQ(change(kAp + "3", "Enable=0"), "Enable: ifconfig ra2 down failed");
}

TEST_F(AccessPoint, SaysHowItIs)
{
    EXPECT_EQ(values(kAp + "1", "Status SSIDReference Enable"), R"("Enabled" "Device.WiFi.SSID.1" 1)");
    EXPECT_EQ(values(kAp + "3", "Status Enable WMMEnable UAPSDEnable"), R"("Disabled" 0 1 1)");
    EXPECT_EQ(values(kAp + "18", "Status SSIDReference"), R"("Disabled" "Device.WiFi.SSID.18")");
    FakeFolder::put("/sys/class/net/ra0/flags", "0x1002\n");
    EXPECT_EQ(values(kAp + "1", "Status"), R"("Error")");
    put("mtkwireless",
        "config wifi-device 'ra0'\n\toption radioOn '1'\n\toption enable1 '1'\n\toption auth1 'WEP'\n");
    EXPECT_EQ(values(kAp + "1", "Status"), R"("Error_Misconfigured")");
    for (const char* instance : {"0", "9", "10", "19", "x"}) {
        EXPECT_EQ(read(kAp + instance, "Status").code, 22u) << instance;
    }
}

TEST_F(AccessPoint, SecurityIsWholeOrRefused)
{
    const std::string path = kAp + "2.Security";
    const std::string key(64, 'a');
    const struct {
        std::string words;
        const char* sentence; ///< "": it is taken
    } cases[] = {
        {"ModeEnabled=WPA-Personal", "ModeEnabled: WPA-Personal needs a passphrase or a pre-shared key"},
        {"ModeEnabled=WPA-WPA2-Personal",
         "ModeEnabled: WPA-WPA2-Personal needs a passphrase or a pre-shared key"},
        {"ModeEnabled=WPA2-Enterprise", "ModeEnabled: WPA2-Enterprise needs a RADIUS server"},
        {"ModeEnabled=WPA-Enterprise RadiusSecret=x", "ModeEnabled: WPA-Enterprise needs a RADIUS server"},
        {"ModeEnabled=OWE", "ModeEnabled: OWE needs MFPConfig Required"},
        {"KeyPassphrase=1234567", "KeyPassphrase: it has 7 characters, not 8 to 63"},
        {"KeyPassphrase=" + key, "KeyPassphrase: it has 64 characters, not 8 to 63"},
        {"KeyPassphrase=passw\u00f6rter", "KeyPassphrase: it has characters that are not ASCII"},
        {"KeyPassphrase=longenough PreSharedKey=" + key,
         "KeyPassphrase: a passphrase and a pre-shared key exclude each other"},
        {"KeyPassphrase= PreSharedKey=" + key, ""},
        {"KeyPassphrase=longenough PreSharedKey=", ""},
        {"ModeEnabled=WPA-Personal EncryptionMode=TKIP", ""},
        {"ModeEnabled=WPA3-Personal-Transition MFPConfig=Optional",
         "MFPConfig: WPA3-Personal-Transition needs an SAE passphrase"},
        {"SAEPassphrase=w\u00f6rterbuch", ""},
        {"ModeEnabled=WPA3-Personal-Transition MFPConfig=Optional",
         "MFPConfig: WPA3-Personal-Transition takes no TKIP"},
        {"ModeEnabled=WPA3-Personal-Transition MFPConfig=Optional EncryptionMode=AES", ""},
        {"MFPConfig=Disabled", "MFPConfig: WPA3-Personal-Transition needs MFPConfig Optional or Required"},
        {"ModeEnabled=WPA3-Personal", "ModeEnabled: WPA3-Personal needs MFPConfig Required"},
        {"ModeEnabled=WPA3-Personal MFPConfig=Required", ""},
        {"EncryptionMode=AES,TKIP", "EncryptionMode: WPA3-Personal takes no TKIP"},
        {"ModeEnabled=OWE", ""},
        {"ModeEnabled=WPA3-Enterprise RadiusServerIPAddr=2001:db8::1",
         "RadiusServerIPAddr: WPA3-Enterprise needs a RADIUS secret"},
        {"ModeEnabled=WPA3-Enterprise RadiusServerIPAddr=2001:db8::1 RadiusSecret=x", ""},
        {"RadiusServerIPAddr=", "RadiusServerIPAddr: WPA3-Enterprise needs a RADIUS server"},
        {"RadiusSecret=", ""},
        {"MFPConfig=Optional", "MFPConfig: WPA3-Enterprise needs MFPConfig Required"},
        {"ModeEnabled=WPA-WPA2-Enterprise MFPConfig=Disabled EncryptionMode=TKIP,AES", ""},
        {"ModeEnabled=None", ""},
    };
    for (const auto& [words, sentence] : cases) {
        if (*sentence != '\0') {
            refuse(path, words, sentence);
        } else {
            set(path, words);
        }
    }
    EXPECT_EQ(runs(), Lines{}) << "nothing goes live";
    EXPECT_EQ(option("ra0.psk2") + "|" + option("ra0.encr2") + "|" + option("ra0.radiuskey2"),
              "longenough|TKIP,AES|x");
    EXPECT_EQ(values(path, "KeyPassphrase PreSharedKey SAEPassphrase RadiusSecret"), R"("" "" "" "")");
    for (const std::string& message : messages()) {
        EXPECT_EQ(message.find("longenough"), std::string::npos) << message;
    }
}

TEST_F(AccessPoint, OnlyWholeSecurityIsCommitted)
{
    const auto commit = [] {
        const Answer answer = send("Device.WiFi", QSC_OPER_COMMIT, "{}");
        return std::to_string(answer.code) + " " + QSysCmdHal_LastError();
    };
    // What others have staged, and what the library would not have taken.
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.auth2", "WPA2-Personal", 0, 1), 0u);
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.psk2", "short", 0, 1), 0u);
    EXPECT_EQ(commit(),
              "14 Device.WiFi: access point 2: WPA2-Personal needs a passphrase or a pre-shared key");
    EXPECT_EQ(read_file("/etc/config/mtkwireless").find("auth2"), std::string::npos);
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.enable2", "0", 0, 1), 0u);
    EXPECT_EQ(commit(), "0 ");
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.enable2", "1", 0, 1), 0u);
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.psk2", std::string(64, 'g').c_str(), 0, 1), 0u);
    EXPECT_EQ(commit().substr(0, 2), "14") << "64 characters that are no digits";
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.psk2", std::string(64, 'f').c_str(), 0, 1), 0u);
    EXPECT_EQ(commit(), "0 ");
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.rax0.auth8", "nonsense", 0, 1), 0u);
    EXPECT_EQ(commit(), "14 Device.WiFi: access point 18: nonsense is no mode")
        << "its radio may be switched on";
}

TEST_F(AccessPoint, PairsOnlyWhereItsModeTakesIt)
{
    const std::string path = kAp + "1.WPS";
    refuse(path, "Enable=1", "Enable: the access point's security mode takes no WPS");
    refuse(path, "X_QRN_PushButton=1", "X_QRN_PushButton: the access point or its WPS is off");
    for (const char* pin : {"12345671", "00000001", "1234567x"}) {
        EXPECT_NE(change(path, std::string{"PIN="} + pin), "") << pin;
    }
    for (const char* pin : {"12345670", "00000000", "85327450"}) {
        set(path, std::string{"PIN="} + pin);
    }
    set(kAp + "1.Security", "KeyPassphrase=longenough ModeEnabled=WPA2-Personal");
    set(path, "Enable=1 ConfigMethodsEnabled=PIN");
    set(kAp + "2.Security", "KeyPassphrase=longenough ModeEnabled=WPA2-Personal");
    refuse(kAp + "2.WPS", "Enable=1 ConfigMethodsEnabled=PIN",
           "ConfigMethodsEnabled: the method PIN needs a PIN");
    EXPECT_EQ(values(path, "Status PIN X_QRN_PushButton"), R"("Configured" "" 0)");
    refuse(path, "X_QRN_PushButton=1", "X_QRN_PushButton: the method PushButton is not enabled");
    set(path, "ConfigMethodsEnabled=PushButton,PIN X_QRN_PushButton=0");
    EXPECT_EQ(runs(), Lines{});
    set(path, "X_QRN_PushButton=1");
    EXPECT_EQ(runs(),
              (Lines{"run /usr/sbin/iwpriv ra0 set WscMode=2", "run /usr/sbin/iwpriv ra0 set WscGetConf=1"}));
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.hidden1", "1", 0, 1), 0u);
    refuse(path, "X_QRN_PushButton=1", "X_QRN_PushButton: the access point hides its name");
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.hidden1", "0", 0, 1), 0u);
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.ra0.auth1", "None", 0, 1), 0u);
    refuse(path, "X_QRN_PushButton=1", "X_QRN_PushButton: the access point's security mode takes no WPS");
    EXPECT_EQ(values(path, "Status"), R"("Error")");
}

TEST_F(AccessPoint, NobodyLocksEverybodyOut)
{
    const std::string empty = "nobody could connect, because no address is allowed";
    const std::string list = kAp + "2.X_QRN_ACLNotes";
    std::string many;
    for (int i = 1; i <= 64; ++i) {
        many += (i == 1 ? "" : ",") +
                ("02:00:00:00:00:" + std::string{"0123456789ABCDEF"[i / 16], "0123456789ABCDEF"[i % 16]});
    }
    refuse(kAp + "2", "MACAddressControlEnabled=1", "MACAddressControlEnabled: " + empty);
    refuse(list, "Mode=Allow", "Mode: " + empty);
    refuse(list, "List=" + many + ",02:00:00:00:01:00", "List: it has more than 64 addresses");
    set(list, "List=" + many + " Mode=Allow");
    EXPECT_EQ(values(kAp + "2", "MACAddressControlEnabled AllowedMACAddress"), "1 \"" + many + "\"");
    refuse(kAp + "2", "AllowedMACAddress=", "AllowedMACAddress: " + empty);
    refuse(list, "List=", "List: " + empty);
    set(kAp + "2", "AllowedMACAddress= MACAddressControlEnabled=0");
    EXPECT_EQ(option("ra0.macmode2"), "Off");
    set(list, "Mode=Deny");
    EXPECT_EQ(values(kAp + "2", "MACAddressControlEnabled"), "0");
    set(kAp + "2", "MACAddressControlEnabled=0");
    EXPECT_EQ(option("ra0.macmode2"), "Off");
    const std::string row = list + ".02:00:5e:00:53:0a";
    (void)messages();
    set(row, "Note=Anna");
    EXPECT_EQ(messages(), Lines{"set WiFi MAC list [2] 02:00:5e:00:53:0a Note Anna by CLI"});
    EXPECT_EQ(option("note2_02005E00530A.mac") + option("note2_02005E00530A.ap"), "02:00:5E:00:53:0A2");
    EXPECT_EQ(values(list + ".02:00:5E:00:53:0A", "Note"), R"("Anna")");
    EXPECT_EQ(read(list + ".02:00:5e:00:53", "Note").code, 22u);
    set(row, "Note=");
    EXPECT_EQ(option("note2_02005E00530A.note"), "");
}

TEST_F(AccessPoint, OneAddressAVirtualAccessPointIsMadeFromTheFactorys)
{
    outside().programs["fw_printenv"] = "echo 00:0c:43:ff:ff:ff";
    const std::string all = values("Device.WiFi", "X_QRN_MACAddresses");
    EXPECT_TRUE(all.starts_with(R"("00:0C:43:FF:FF:FF,12:0C:43:FF:FF:FF,22:0C:43:FF:FF:FF,)")) << all;
    EXPECT_EQ(std::ranges::count(all, ','), 15);
    outside().programs["fw_printenv"] = "echo nonsense";
    EXPECT_EQ(values("Device.WiFi", "X_QRN_MACAddresses"), R"("")");
}

TEST_F(AccessPoint, TheEndPointKnowsAllThatItNeeds)
{
    const std::string path = "Device.WiFi.EndPoint.";
    outside().programs["/usr/bin/qrnstainfo"] =
        "printf 'INTERFACE MAC               RSSI DOWNLINK\\napclix0   02:00:00:00:00:01 -57  1000\\n'";
    refuse(path, "Enable=1", "Enable: an end point needs the name of a network");
    refuse(path, "Enable=1 X_QRN_SSID=x X_QRN_ModeEnabled=WPA3-Personal",
           "X_QRN_SSID: its mode needs a passphrase");
    set(path, "Enable=1 X_QRN_SSID=x X_QRN_ModeEnabled=OWE");
    EXPECT_EQ(values(path, "Status X_QRN_SignalStrength"), R"("Error" 0)");
    set(path, "X_QRN_KeyPassphrase=longenough X_QRN_ModeEnabled=WPA2-Personal X_QRN_Radio=2");
    EXPECT_EQ(values(path, "Status X_QRN_SignalStrength X_QRN_LastDataDownlinkRate X_QRN_KeyPassphrase"),
              R"("Enabled" -57 1000 "")");
    EXPECT_EQ(QrnUci_SetNewString("mtkwireless.endpoint.psk", "", 0, 1), 0u);
    EXPECT_EQ(values(path, "Status"), R"("Error_Misconfigured")");
    set(path, "Enable=0");
    EXPECT_EQ(values(path, "Status X_QRN_SignalStrength"), R"("Disabled" 0)");
    (void)runs();
    refuse("Device.WiFi.MultiAP", "X_QRN_Enable=1", "X_QRN_Enable: a mesh needs a name");
    set("Device.WiFi.MultiAP", "X_QRN_Enable=1 X_QRN_SSID=Mesh X_QRN_Role=Agent");
    EXPECT_EQ(option("mesh.role") + option("mesh.ssid"), "2Mesh");
}

TEST_F(AccessPoint, SurveysAreKeptAndTheirPauseToo)
{
    const std::string table = "CHANNEL BSSID             SIGNAL\n1       02:00:5e:00:53:b1 -1\n";
    outside().programs["/usr/bin/qrnsitesurvey"] = "printf '" + table + "'";
    const auto state = [] { return values(kSurvey, "Radio DiagnosticsState"); };
    EXPECT_EQ(state(), R"(1 "None")");
    refuse(kSurvey, "DiagnosticsState=Canceled",
           "DiagnosticsState: 'Canceled' is not one of None|Requested|Complete|Error");
    refuse(kSurvey, "Radio=2 DiagnosticsState=Requested", "DiagnosticsState: the radio is off");
    EXPECT_EQ(state(), R"(1 "None")") << "nothing of it is kept";
    (void)messages();
    set(kSurvey, "DiagnosticsState=Requested");
    EXPECT_EQ(messages(), Lines{"set site survey DiagnosticsState Requested by CLI"});
    EXPECT_EQ(runs(), Lines{"run /usr/bin/qrnsitesurvey ra0"});
    EXPECT_EQ(state(), R"(1 "Complete")");
    EXPECT_EQ(
        read(kSurvey, "X_QRN_List").json,
        R"("[{\"Channel\":1,\"SSID\":\"\",\"BSSID\":\"02:00:5E:00:53:B1\",\"SignalStrength\":-1,\"Mode\":\"\",\"Security\":\"\"}]")");
    refuse(kSurvey, "DiagnosticsState=Requested", "DiagnosticsState: the last survey is less than 5 s ago");
    const std::string kept = read_file("/tmp/qrn_survey/result");
    write_file("/tmp/qrn_survey/result", "Complete 0" + kept.substr(kept.find('\n')));
    const int lock = open("/tmp/qrn_survey/lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(flock(lock, LOCK_EX), 0);
    EXPECT_EQ(state(), R"(1 "Requested")");
    refuse(kSurvey, "DiagnosticsState=Requested", "DiagnosticsState: a survey is under way");
    close(lock);
    outside().programs["/usr/bin/qrnsitesurvey"] = "exit 2";
    EXPECT_EQ(change(kSurvey, "DiagnosticsState=Requested"),
              "DiagnosticsState: the radio looks out for radar");
    EXPECT_EQ(state(), R"(1 "Complete")") << "the last one stays";
    outside().programs["/usr/bin/qrnsitesurvey"] = "exit 1";
    EXPECT_EQ(change(kSurvey, "DiagnosticsState=Requested"), "DiagnosticsState: the survey failed");
    EXPECT_EQ(state(), R"(1 "Error")");
    set(kSurvey, "Radio=2");
    EXPECT_EQ(state(), R"(2 "Error")");
    std::filesystem::permissions("/tmp/qrn_survey", std::filesystem::perms::all);
    EXPECT_EQ(state(), R"(1 "None")") << "a folder that is open to others";
}
