// SPDX-License-Identifier: Apache-2.0
// The Ethernet ports, and the MAC address that the interface to the provider may have instead of its own.
#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kPorts = "Device.Ethernet.Interface.";
const std::string kCustom = "Device.Ethernet.X_QRN_Custommac.";
constexpr const char* kInterfaces = "config interface 'lan'\n\toption device 'br-lan'\n"
                                    "config interface 'wan'\n\toption device 'eth2.7'\n";

class Ports : public EffectTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        add("eth1", "device/x lower_x");
        add("eth2", "device/x");
        add("eth10", "device/x");
        add("br-lan", "lower_eth1/x lower_eth10/x");
        for (const char* other : {"wl device/x wireless/x", "ap device/x phy80211/x", "cpu device/x dsa/x",
                                  "modem device/x", "eth1.5 lower_eth1/x", ".hidden device/x"}) {
            const std::string_view words{other};
            add(std::string{words.substr(0, words.find(' '))},
                std::string{words.substr(words.find(' ') + 1)});
        }
        FakeFolder::put("/sys/class/net/modem/type", "65534\n");
        store("");
    }

    /// Makes a network device of the kernel with files of these names.
    static void add(const std::string& name, const std::string& files)
    {
        FakeFolder::put("/sys/class/net/" + name + "/type", "1\n");
        std::istringstream in{files};
        for (std::string file; in >> file;) {
            FakeFolder::put("/sys/class/net/" + name + "/" + file, "");
        }
    }

    static void store(const std::string& more)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", kInterfaces + more);
    }

    /// What follows the interfaces, on one line.
    static std::string stored()
    {
        std::string text;
        const Lines lines = committed("network");
        for (size_t i = 2; i < lines.size(); ++i) {
            if (lines[i] != "config interface 'wan'" && lines[i] != "option device 'eth2.7'") {
                text += (text.empty() ? "" : "; ") + lines[i];
            }
        }
        return text;
    }

    FakeFolder net_{"/sys/class/net"};
};

} // namespace

TEST_F(Ports, ThoseWithAPlugAreAnsweredInNaturalOrder)
{
    EXPECT_EQ(values(kPorts + "1", "Name Upstream"), "\"eth1\" 0");
    EXPECT_EQ(values(kPorts + "2", "Name Upstream"), "\"eth2\" 1");
    EXPECT_EQ(values(kPorts + "3", "Name Upstream"), "\"eth10\" 0");
    EXPECT_EQ(values(kPorts + "4", "Name"), "code 22");
    const struct {
        const char* state;
        const char* carrier;
        const char* rate;
        const char* answers;
    } cases[] = {
        {"up", "1", "2500", "\"Up\" 2500"},
        {"down", "1", "-1", "\"Down\" 0"},
        {"dormant", "0", "10", "\"Dormant\" 10"},
        {"notpresent", "0", "", "\"NotPresent\" 0"},
        {"lowerlayerdown", "0", "rubbish", "\"LowerLayerDown\" 0"},
        {"unknown", "1", "4294967295", "\"Up\" 4294967295"},
        {"unknown", "0", "0", "\"Unknown\" 0"},
        {"testing", "1", "0", "\"Up\" 0"},
        {"", "", "", "\"Unknown\" 0"},
    };
    for (const auto& one : cases) {
        FakeFolder::put("/sys/class/net/eth1/operstate", std::string{one.state} + "\n");
        FakeFolder::put("/sys/class/net/eth1/carrier", std::string{one.carrier} + "\n");
        FakeFolder::put("/sys/class/net/eth1/speed", std::string{one.rate} + "\n");
        EXPECT_EQ(values(kPorts + "1", "Status CurrentBitRate"), one.answers) << one.state << one.carrier;
    }
    const char* const counters[][2] = {{"BytesSent", "tx_bytes"},
                                       {"BytesReceived", "rx_bytes"},
                                       {"PacketsSent", "tx_packets"},
                                       {"PacketsReceived", "rx_packets"},
                                       {"ErrorsSent", "tx_errors"},
                                       {"ErrorsReceived", "rx_errors"},
                                       {"DiscardPacketsSent", "tx_dropped"},
                                       {"DiscardPacketsReceived", "rx_dropped"},
                                       {"MulticastPacketsReceived", "multicast"}};
    uint64_t number = uint64_t{1} << 40;
    for (const auto& [name, file] : counters) {
        FakeFolder::put(std::string{"/sys/class/net/eth2/statistics/"} + file,
                        std::to_string(++number) + "\n");
        EXPECT_EQ(values(kPorts + "2.Stats", name), std::to_string(number));
        EXPECT_EQ(values(kPorts + "1.Stats", name), "0");
    }
}

TEST_F(Ports, SettingsStandInTheSectionOfTheDevice)
{
    const struct {
        const char* before;
        const char* words;
        const char* after;
    } cases[] = {
        {"", "MaxBitRate=-1 DuplexMode=Auto Enable=1", ""},
        {"", "MaxBitRate=10", "config device 'qrn_eth1'; option speed '10'; option name 'eth1'"},
        {"", "Enable=0", "config device 'qrn_eth1'; option enabled '0'; option name 'eth1'"},
        {"config device\n\toption name 'eth1'\n\toption speed '10'\n", "MaxBitRate=10000 DuplexMode=Full",
         "config device; option name 'eth1'; option speed '10000'; option duplex '1'"},
        {"config device\n\toption name 'eth1'\n\toption speed '10'\n\toption autoneg '0'\n\toption duplex "
         "'0'\n",
         "DuplexMode=Auto", "config device; option name 'eth1'; option speed '10'"},
        {"config device\n\toption name 'eth1'\n\toption speed '10'\n\toption autoneg '0'\n\toption duplex "
         "'0'\n",
         "Enable=1",
         "config device; option name 'eth1'; option speed '10'; option autoneg '0'; option duplex '0'"},
    };
    for (const auto& one : cases) {
        store(one.before);
        (void)effect("network", kPorts + "1", one.words);
        EXPECT_TRUE(tells_of("ethernet port [1]"));
        EXPECT_EQ(stored(), one.after) << one.words;
    }
    add("usb-eth0.x", "device/x");
    EXPECT_EQ(change(kPorts + "4", "MaxBitRate=10"), "");
    EXPECT_EQ(committed("network").back(), "option name 'usb-eth0.x'");
    EXPECT_EQ(committed("network")[committed("network").size() - 3], "config device 'qrn_usb_eth0_x'");
    std::filesystem::remove("/etc/config/network");
    outside().logs.clear();
    EXPECT_EQ(change(kPorts + "1", "MaxBitRate=10"), "MaxBitRate: network is not installed");
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] network is not installed\n"}));
}

TEST_F(Ports, TheLanKeepsAPort)
{
    const std::string only = "Enable: it is the LAN's only port";
    EXPECT_EQ(change(kPorts + "1", "Enable=0"), "");
    EXPECT_EQ(change(kPorts + "3", "Enable=0"), only);
    EXPECT_EQ(change(kPorts + "2", "Enable=0"), "");
    // The other one is off as others say it; the bridge is as the configuration has it.
    store("config device\n\toption name 'eth10'\n\toption enabled '0'\n");
    EXPECT_EQ(change(kPorts + "1", "Enable=0"), only);
    store("config device\n\toption name 'br-lan'\n\tlist ports 'eth1'\n\tlist ports 'eth2'\n");
    EXPECT_EQ(change(kPorts + "3", "Enable=0"), "");
    EXPECT_EQ(change(kPorts + "1", "Enable=0"), "");
    EXPECT_EQ(change(kPorts + "2", "Enable=0"), only);
    std::filesystem::remove_all("/tmp/.uci");
    put("network", "config interface 'lan'\n\toption device 'eth1.5'\n");
    EXPECT_EQ(change(kPorts + "1", "Enable=0"), only);
    EXPECT_EQ(change(kPorts + "1", "Enable=1"), "");
}

TEST_F(Ports, AnotherMacAddressIsUsedOrWaits)
{
    const std::string section = "config device 'port'\n\toption name 'eth2'\n";
    FakeFolder::put("/sys/class/net/eth2/address", "02:00:00:00:00:02\n");
    FakeFolder::put("/sys/class/net/eth2.7/address", "02:00:00:00:00:02\n");
    FakeFolder::put("/sys/class/net/eth1/address", "02:00:00:00:00:0a\n");
    outside().programs["fw_printenv"] = "[ $2 = ethaddr ] && echo 02:00:00:00:00:01";
    const struct {
        const char* before;
        const char* words;
        const char* answers;
        const char* after;
    } cases[] = {
        {"", "MACAddress=02:00:00:00:00:ff", "\"02:00:00:00:00:FF\" 0",
         "option qrn_macaddr '02:00:00:00:00:FF'"},
        {"", "MACAddress=02:00:00:00:00:ff Enable=1", "\"02:00:00:00:00:FF\" 1",
         "option macaddr '02:00:00:00:00:FF'"},
        {"\toption macaddr '02:00:00:00:00:fe'\n", "Enable=0", "\"02:00:00:00:00:FE\" 0",
         "option qrn_macaddr '02:00:00:00:00:fe'"},
        {"\toption macaddr '02:00:00:00:00:fe'\n", "Enable=1 MACAddress=02:00:00:00:00:FE",
         "\"02:00:00:00:00:FE\" 1", "option macaddr '02:00:00:00:00:fe'"},
        {"\toption qrn_macaddr '02:00:00:00:00:fe'\n", "MACAddress=", "\"\" 0", ""},
        {"\toption qrn_macaddr '02:00:00:00:00:fe'\n", "Enable=0", "\"02:00:00:00:00:FE\" 0",
         "option qrn_macaddr '02:00:00:00:00:fe'"},
        {"config device 'port'\n\toption name 'eth2'\n\toption macaddr '02:00:00:00:00:fe'\n", "Enable=0",
         "\"02:00:00:00:00:FE\" 0",
         "option qrn_macaddr '02:00:00:00:00:fe'; config device 'port'; option name 'eth2'; "
         "option macaddr '02:00:00:00:00:02'"},
        {"config device 'port'\n\toption name 'eth2'\n\toption macaddr '02:00:00:00:00:02'\n", "Enable=0",
         "\"\" 0", "config device 'port'; option name 'eth2'; option macaddr '02:00:00:00:00:02'"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string{one.before} + one.words);
        store(one.before);
        (void)effect("network", kCustom, one.words);
        EXPECT_TRUE(tells_of("custom mac"));
        EXPECT_EQ(values(kCustom, "MACAddress Enable"), one.answers);
        EXPECT_EQ(stored(), one.after);
    }
    const char* const refused[][2] = {
        {"Enable=1", "Enable: it needs an address"},
        {"Enable=1 MACAddress=", "MACAddress: it needs an address"},
        {"MACAddress=02:00:00:00:00:0A", "MACAddress: it is the address of eth1"},
        {"MACAddress=02:00:00:00:00:02", ""},
        {"MACAddress=03:00:00:00:00:02", "MACAddress: '03:00:00:00:00:02' is no MAC address of one device"},
    };
    for (const auto& [words, sentence] : refused) {
        store("");
        EXPECT_EQ(change(kCustom, words), sentence);
        EXPECT_EQ(read_file("/tmp/.uci/network").empty(), *sentence != '\0');
    }
}

TEST_F(Ports, TheAddressFromTheFactoryIsTheBootLoaders)
{
    const char* const cases[][3] = {
        {"02:00:5e:00:00:0a", "02:00:5e:00:00:01", "\"02:00:5E:00:00:0A\""},
        {"none", "02:00:5e:00:ff:ff", "\"02:00:5E:01:00:00\""},
        {"none", "02:ff:ff:ff:ff:ff", "\"02:FF:FF:00:00:00\""},
        {"none", "none", "\"\""},
    };
    for (const auto& [wan, own, factory] : cases) {
        outside().programs["fw_printenv"] =
            std::string{"[ $2 = wanaddr ] && echo "} + wan + " || echo " + own;
        EXPECT_EQ(values(kCustom, "FactoryMACAddress"), factory) << wan << own;
    }
}
