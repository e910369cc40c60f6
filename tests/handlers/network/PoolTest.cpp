// SPDX-License-Identifier: Apache-2.0
// The DHCP server of the LAN: its pool and static addresses, as its script reads them.
#include "support/EffectTest.h"

using namespace test;

namespace
{

const std::string kPool = "Device.DHCPv4.Server.Pool.1";
const std::string kHosts = "Device.DHCPv4.Server.Pool.1.StaticAddress.";
constexpr const char* kLan = "config interface 'lan'\n\toption ipaddr '192.168.1.1'\n\toption netmask '24'\n";
constexpr const char* kServer = "config dnsmasq\n\toption domain 'home'\n\toption local '/home/'\n";
constexpr const char* kRange = "\toption start '100'\n\toption limit '150'\n\toption leasetime '12h'\n"
                               "\toption dhcpv4 'server'\n\tlist dhcp_option '42,192.168.1.9'\n";

class Pool : public EffectTest
{
  protected:
    static void store(const std::string& lan, const std::string& pool)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("qrnnetworkzone", "config zone 'lan'\n");
        put("network", lan);
        put("dhcp", kServer + (pool.empty() ? "" : "config dhcp 'lan'\n" + pool));
    }
};

} // namespace

TEST_F(Pool, IsAnsweredAsTheServerTakesIt)
{
    constexpr const char* kNames =
        "MinAddress MaxAddress LeaseTime DNSServers IPRouters SubnetMask Enable Status";
    const struct {
        std::string lan;
        std::string pool;
        const char* values;
    } cases[] = {
        {kLan, kRange,
         "\"192.168.1.100\" \"192.168.1.249\" 43200 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {kLan, "\toption limit '900'\n",
         "\"192.168.1.100\" \"192.168.1.254\" 43200 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {kLan, "\toption limit '0'\n\toption leasetime '9999999w'\n",
         "\"192.168.1.100\" \"192.168.1.100\" 2147483647 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {kLan, "\toption start '10.9.8.7'\n\toption limit '155'\n\toption leasetime '1m'\n",
         "\"192.168.1.7\" \"192.168.1.161\" 120 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {kLan, "\toption start '254'\n\toption leasetime 'infinite'\n\toption ignore '1'\n",
         "\"192.168.1.254\" \"192.168.1.254\" -1 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 0 "
         "\"Disabled\""},
        {kLan, "\toption start '300'\n\toption leasetime '2d'\n",
         "\"192.168.2.44\" \"192.168.2.44\" 172800 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Error_Misconfigured\""},
        {kLan,
         "\toption dhcpv4 'disabled'\n\toption leasetime '1x'\n\tlist dhcp_option "
         "'6,9.9.9.9,1.1.1.1'\n\tlist dhcp_option '3,192.168.1.2'\n",
         "\"192.168.1.100\" \"192.168.1.249\" 43200 \"9.9.9.9,1.1.1.1\" \"192.168.1.2\" \"255.255.255.0\" 0 "
         "\"Disabled\""},
        {kLan, "\toption leasetime '5h'\n\toption dhcp_option '6,9.9.9.9 3,192.168.1.3'\n",
         "\"192.168.1.100\" \"192.168.1.249\" 18000 \"9.9.9.9\" \"192.168.1.3\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {kLan, "\toption leasetime '90'\n\toption dhcp_option '15,a name'\n",
         "\"192.168.1.100\" \"192.168.1.249\" 120 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 1 "
         "\"Enabled\""},
        {"config interface 'lan'\n\tlist ipaddr '10.0.0.1/8'\n\tlist ipaddr '10.9.0.1/16'\n",
         "\toption start '258'\n\toption limit '2'\n\toption leasetime '3601s'\n",
         "\"10.0.1.2\" \"10.0.1.3\" 3601 \"10.0.0.1\" \"10.0.0.1\" \"255.0.0.0\" 1 \"Enabled\""},
        {"", kRange, "\"\" \"\" 43200 \"\" \"\" \"\" 1 \"Error_Misconfigured\""},
        {kLan, "",
         "\"192.168.1.100\" \"192.168.1.249\" 43200 \"192.168.1.1\" \"192.168.1.1\" \"255.255.255.0\" 0 "
         "\"Disabled\""},
    };
    const FakeFolder proc{"/proc"};
    FakeFolder::put("/proc/net/udp",
                    "  sl  local_address rem_address   st\n 1: 00000000:0043 00000000:0000 07\n");
    for (const auto& one : cases) {
        store(one.lan, one.pool);
        EXPECT_EQ(values(kPool, kNames), one.values) << one.pool;
    }
    store(kLan, kRange);
    EXPECT_EQ(values(kPool, "Interface DomainName StaticAddressNumberOfEntries X_QRN_Instances"),
              "\"Device.X_QRN_NetworkZone.1\" \"home\" 0 \"\"");
    for (const char* other : {"00000000:0044 00000000:0000 07", "00000000:0035 00000000:0043 07",
                              "00000000:0043 00000000:0000 01"}) {
        FakeFolder::put("/proc/net/udp", std::string{" 1: "} + other + "\n");
        EXPECT_EQ(values(kPool, "Status"), "\"Error\"") << other;
    }
    std::filesystem::remove("/etc/config/dhcp");
    EXPECT_EQ(values(kPool, "Enable Status DomainName LeaseTime"), "0 \"Disabled\" \"lan\" 43200");
}

TEST_F(Pool, IsStoredAsTheServerReadsIt)
{
    const struct {
        std::string pool;
        const char* words;
        const char* effect;
    } cases[] = {
        {kRange,
         "MinAddress=192.168.1.20 MaxAddress=192.168.1.29 LeaseTime=5400 DNSServers=192.168.1.53,9.9.9.9 "
         "DomainName=home.example IPRouters=",
         "+dhcp: dnsmasq domain=home.example local=/home.example/\n"
         "+dhcp: dhcp lan start=20 limit=10 leasetime=90m dhcpv4=server dhcp_option=42,192.168.1.9 "
         "dhcp_option=6,192.168.1.53,9.9.9.9\n"
         "-dhcp: dnsmasq domain=home local=/home/"},
        {kRange, "MaxAddress=192.168.1.140 LeaseTime=-1 IPRouters=192.168.1.254",
         "+dhcp: dhcp lan start=100 limit=41 leasetime=infinite dhcpv4=server dhcp_option=42,192.168.1.9 "
         "dhcp_option=3,192.168.1.254"},
        {kRange, "Enable=0 DomainName=",
         "+dhcp: dnsmasq\n"
         "+dhcp: dhcp lan start=100 limit=150 leasetime=12h dhcpv4=disabled dhcp_option=42,192.168.1.9 "
         "ignore=1\n"
         "-dhcp: dnsmasq domain=home local=/home/"},
        {kRange,
         "MinAddress=192.168.1.100 MaxAddress=192.168.1.249 LeaseTime=43200 DNSServers=192.168.1.1 Enable=1 "
         "DomainName=home",
         ""},
        {"\toption start '192.168.1.100'\n\toption leasetime '43200'\n\toption dhcp_option '6,1.1.1.1 "
         "42,192.168.1.9 6,2.2.2.2'\n",
         "MinAddress=192.168.1.100 LeaseTime=43200 DNSServers=1.1.1.1", ""},
        {"\toption dhcp_option '6,1.1.1.1 42,192.168.1.9 6,2.2.2.2'\n", "DNSServers=1.1.1.2",
         "+dhcp: dhcp lan dhcp_option=6,1.1.1.2 dhcp_option=42,192.168.1.9"},
        {"\tlist dhcp_option '6,1.1.1.1'\n\tlist dhcp_option '66,1.1.1.1'\n", "DNSServers= LeaseTime=3661",
         "+dhcp: dhcp lan dhcp_option=66,1.1.1.1 leasetime=3661"},
        {"\toption ignore '1'\n\toption dhcpv4 'disabled'\n", "Enable=1 LeaseTime=120",
         "+dhcp: dhcp lan dhcpv4=server leasetime=2m"},
        {"", "LeaseTime=86400",
         "+dhcp: dhcp lan interface=lan start=100 limit=150 leasetime=24h dhcpv4=disabled ignore=1"},
        {"", "Enable=1", "+dhcp: dhcp lan interface=lan start=100 limit=150 leasetime=12h dhcpv4=server"},
        {"", "MinAddress=192.168.1.2",
         "+dhcp: dhcp lan interface=lan start=2 limit=248 leasetime=12h dhcpv4=disabled ignore=1"},
        {"", "DNSServers=1.1.1.1",
         "+dhcp: dhcp lan interface=lan start=100 limit=150 leasetime=12h dhcpv4=disabled ignore=1 "
         "dhcp_option=6,1.1.1.1"},
        {kRange, "MinAddress=192.168.0.100",
         "!MinAddress: the pool 192.168.0.100 to 192.168.1.249 does not fit into the network"},
        {kRange, "MinAddress=192.168.1.250", "!MinAddress: the pool ends before it begins"},
        {kRange, "MinAddress=192.168.1.0",
         "!MinAddress: the pool 192.168.1.0 to 192.168.1.249 does not fit into the network"},
        {kRange, "MaxAddress=192.168.1.255",
         "!MaxAddress: the pool 192.168.1.100 to 192.168.1.255 does not fit into the network"},
        {kRange, "MinAddress=192.168.1.1", "!MinAddress: the pool holds the address of the router"},
        {kRange, "MinAddress=", "!MinAddress: a pool has two ends"},
        {kRange, "LeaseTime=119", "!LeaseTime: 119 is not -1 or 120 to 2147483647"},
        {kRange, "LeaseTime=0", "!LeaseTime: 0 is not -1 or 120 to 2147483647"},
        {kRange, "DNSServers=1.1.1.1,1.1.1.2,1.1.1.3,1.1.1.4,1.1.1.5", "!DNSServers: there are more than 4"},
        {kRange, "IPRouters=1.1.1.1,1.1.1.2,1.1.1.3,1.1.1.4",
         "+dhcp: dhcp lan start=100 limit=150 leasetime=12h dhcpv4=server dhcp_option=42,192.168.1.9 "
         "dhcp_option=3,1.1.1.1,1.1.1.2,1.1.1.3,1.1.1.4"},
        {kRange, "DNSServers=::1", "!DNSServers: '::1' is no IPv4 address"},
        {kRange, "DomainName=a/b", "!DomainName: 'a/b' is no host name"},
        {kRange, "SubnetMask=255.0.0.0", "!SubnetMask: it cannot be set"},
    };
    for (const auto& one : cases) {
        store(kLan, one.pool);
        EXPECT_EQ(effect("dhcp", kPool, one.words), one.effect) << one.pool << one.words;
        EXPECT_EQ(tells_of("dhcp pool"), *one.effect != '!');
    }
    store("", kRange);
    EXPECT_EQ(change(kPool, "Enable=1"), "Enable: the zone has no address");
    EXPECT_EQ(change(kPool, "Enable=0"), "");
}

TEST_F(Pool, StaticAddressesAreOfTheLanAndOfOneHostEach)
{
    store(kLan, std::string{kRange} +
                    "config host\n\tlist mac 'aa:bb:cc:00:11:30'\n\tlist mac 'aa:bb:cc:00:11:31'\n"
                    "\toption ip 'ignore'\n\toption name 'camera'\n"
                    "config host\n\toption mac 'aa:bb:cc:00:11:32 aa:bb:cc:00:11:33'\n\toption ip "
                    "'192.168.20.60'\n\toption enable '0'\n"
                    "config host 'own'\n\toption mac 'AA:BB:CC:00:11:22'\n\toption ip "
                    "'192.168.1.50'\n\toption qrn_index '7'\n");
    constexpr const char* kNames = "Chaddr Yiaddr X_QRN_Name Enable";
    for (const auto& [number, answers] :
         {std::pair<const char*, const char*>{"1", "\"AA:BB:CC:00:11:30\" \"\" \"camera\" 1"},
          {"2.", "\"AA:BB:CC:00:11:32\" \"192.168.20.60\" \"\" 0"},
          {"7", "\"AA:BB:CC:00:11:22\" \"192.168.1.50\" \"\" 1"},
          {"3", "code 22 code 22 code 22 code 22"}}) {
        EXPECT_EQ(values(kHosts + number, kNames), answers);
    }
    EXPECT_EQ(values(kPool, "StaticAddressNumberOfEntries X_QRN_Instances"), "3 \"1,2,7\"");
    const char* const steps[][3] = {
        {"3", "X_QRN_Add=1 Chaddr=aa:bb:cc:00:11:40 Yiaddr=192.168.1.40 X_QRN_Name=printer",
         "+dhcp: host mac=aa:bb:cc:00:11:30 mac=aa:bb:cc:00:11:31 ip=ignore name=camera qrn_index=1\n"
         "+dhcp: host mac=aa:bb:cc:00:11:32 aa:bb:cc:00:11:33 ip=192.168.20.60 enable=0 qrn_index=2\n"
         "+dhcp: host qrn_index=3 enable=0 mac=AA:BB:CC:00:11:40 ip=192.168.1.40 name=printer\n"
         "-dhcp: host mac=aa:bb:cc:00:11:30 mac=aa:bb:cc:00:11:31 ip=ignore name=camera\n"
         "-dhcp: host mac=aa:bb:cc:00:11:32 aa:bb:cc:00:11:33 ip=192.168.20.60 enable=0"},
        {"4", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:41 Yiaddr=192.168.1.41 Enable=1",
         "+dhcp: host qrn_index=4 mac=AA:BB:CC:00:11:41 ip=192.168.1.41 enable=1"},
        {"3", "Enable=1 X_QRN_Name= Chaddr=AA:BB:CC:00:11:40",
         "+dhcp: host qrn_index=3 enable=1 mac=AA:BB:CC:00:11:40 ip=192.168.1.40\n"
         "-dhcp: host qrn_index=3 enable=0 mac=AA:BB:CC:00:11:40 ip=192.168.1.40 name=printer"},
        {"3", "X_QRN_Delete=1", "-dhcp: host qrn_index=3 enable=1 mac=AA:BB:CC:00:11:40 ip=192.168.1.40"},
        {"1", "Chaddr=AA:BB:CC:00:11:30 Yiaddr=192.168.1.62",
         "+dhcp: host mac=AA:BB:CC:00:11:30 ip=192.168.1.62 name=camera qrn_index=1\n"
         "-dhcp: host mac=aa:bb:cc:00:11:30 mac=aa:bb:cc:00:11:31 ip=ignore name=camera qrn_index=1"},
        {"2", "Yiaddr=192.168.20.60 Enable=1",
         "+dhcp: host mac=aa:bb:cc:00:11:32 aa:bb:cc:00:11:33 ip=192.168.20.60 enable=1 qrn_index=2\n"
         "-dhcp: host mac=aa:bb:cc:00:11:32 aa:bb:cc:00:11:33 ip=192.168.20.60 enable=0 qrn_index=2"},
        {"2", "Yiaddr=192.168.20.61", "!Yiaddr: it is no address of the LAN"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:33 Yiaddr=192.168.1.61",
         "!Chaddr: static address 2 has this MAC address already"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:22 Yiaddr=192.168.1.61",
         "!Chaddr: static address 7 has this MAC address already"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.50",
         "!Yiaddr: static address 7 is this one already"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.1",
         "!Yiaddr: it is the address of the router"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.255",
         "!Yiaddr: it is no address of the LAN"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:23 Yiaddr=10.0.0.1", "!Yiaddr: it is no address of the LAN"},
        {"3", "X_QRN_Add=1 Chaddr=AA:BB:CC:00:11:23", "!X_QRN_Add: a new instance needs Yiaddr"},
        {"3", "X_QRN_Add=1 Yiaddr=192.168.1.51", "!X_QRN_Add: a new instance needs Chaddr"},
        {"7", "Chaddr=01:BB:CC:00:11:23", "!Chaddr: '01:BB:CC:00:11:23' is no MAC address of one device"},
        {"7", "Yiaddr=", "!Yiaddr: it is empty"},
        {"7", "X_QRN_Name=a_b", "!X_QRN_Name: 'a_b' is no host name"},
    };
    for (const auto& [number, words, wanted] : steps) {
        EXPECT_EQ(effect("dhcp", kHosts + number, words), wanted) << number << " " << words;
        EXPECT_EQ(tells_of("static address [" + std::string{number} + "]"), *wanted != '!');
    }
}

TEST_F(Pool, LeasesAreToldAsTheServerWroteThem)
{
    store(kLan, kRange);
    write_file("/tmp/dhcp.leases", "1795326519 aa:bb:cc:00:11:27 192.168.1.124 \"\\\033\377/ *\n"
                                   "0 AA:BB:CC:00:11:23 192.168.1.121 * *\nbroken line\n\n"
                                   "1795326519 aa:bb:cc:00:11:24 192.168.20.5 elsewhere *\n"
                                   "1795326519 aa:bb:cc:00:11:25 192.168.1.256 wrong *\n"
                                   "1795326519 06-aa:bb:cc:00:11:25 192.168.1.122 wrong *\n"
                                   "x aa:bb:cc:00:11:25 192.168.1.122 wrong *\n"
                                   "duid 00:01\n1795326519 aa:bb:cc:00:11:26 192.168.1.123 six *\n");
    EXPECT_EQ(values(kPool, "ClientNumberOfEntries X_QRN_List"),
              "2 "
              "\"[{\\\"MACAddress\\\":\\\"AA:BB:CC:00:11:27\\\",\\\"IPAddress\\\":\\\"192.168.1.124\\\","
              "\\\"HostName\\\":\\\"\\\\\\\"\\\\\\\\\\\\u001b\xEF\xBF\xBD/"
              "\\\",\\\"Expires\\\":\\\"2026-11-22T05:48:39Z\\\"},{\\\"MACAddress\\\":\\\"AA:BB:CC:00:11:"
              "23\\\",\\\"IPAddress\\\":\\\"192.168.1.121\\\",\\\"HostName\\\":\\\"\\\",\\\"Expires\\\":"
              "\\\"0001-01-01T00:00:00Z\\\"}]\"");
    std::filesystem::rename("/tmp/dhcp.leases", "/tmp/other");
    outside().logs.clear();
    EXPECT_EQ(values(kPool, "ClientNumberOfEntries X_QRN_List"), "0 \"[]\"");
    EXPECT_TRUE(std::ranges::any_of(outside().logs, [](const LogLine& line) {
        return line.text.find("there is no /tmp/dhcp.leases") != std::string::npos;
    }));
    put("dhcp", "config dnsmasq\n\toption leasefile '/tmp/other'\n");
    EXPECT_EQ(values(kPool, "ClientNumberOfEntries"), "2");
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += "0 aa:bb:cc:00:11:22 192.168.1." + std::to_string(i % 250 + 2) + " a-rather-long-host-name\n";
    }
    write_file("/tmp/other", many);
    EXPECT_EQ(values(kPool, "ClientNumberOfEntries"), "1000");
    EXPECT_EQ(std::ranges::count(values(kPool, "X_QRN_List"), '{'), 463) << "as many as 60 KiB have room for";
}
