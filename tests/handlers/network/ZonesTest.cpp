// SPDX-License-Identifier: Apache-2.0
// Zones, their bridges, VLANs and networks: what each request makes of the four packages, and what it may
// not.
#include "support/EffectTest.h"

using namespace test;

namespace
{

constexpr const char* kAll = "qrnnetworkzone network dhcp firewall";

class Zones : public EffectTest
{
  protected:
    void SetUp() override
    {
        DeviceTest::SetUp();
        put("qrnnetworkzone",
            "config zone 'lan'\n\toption name 'lan'\n\tlist iface 'ra0'\n\toption qrn_index '1'\n"
            "config zone 'guest'\n\toption name 'guest'\n\toption vid '20'\n"
            "\tlist iface 'rax1'\n\toption qrn_index '2'\n");
        store_network("br-lan", "config device 'bridge'\n\toption name 'br-lan'\n\toption type 'bridge'\n"
                                "\tlist ports 'lan1'\n\tlist ports 'lan2'\n");
        put("dhcp", "config dnsmasq\nconfig dhcp 'lan'\n\toption interface 'lan'\n");
        put("firewall", "config zone\n\toption name 'lan'\n\tlist network 'lan'\n\toption input 'ACCEPT'\n"
                        "config forwarding\n\toption src 'lan'\n\toption dest 'wan'\n");
    }

    static void store_network(const std::string& lan_device, const std::string& more)
    {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", "config interface 'lan'\n\toption device '" + lan_device +
                           "'\n\toption proto 'static'\n\toption ipaddr '192.168.1.1'\n"
                           "\toption netmask '255.255.255.0'\n"
                           "config interface 'wan'\n\toption device 'wan0.7'\n\toption proto 'dhcp'\n" +
                           more);
    }

    /// A request, as "zone 3 VLANID=30" or "management Enable=1", and what it makes of the packages, as
    /// effect() has it. Null: it is taken, and all that it does is told elsewhere.
    struct Step {
        const char* request;
        const char* effect;
    };

    static void expect(const std::string& packages, std::initializer_list<Step> steps)
    {
        static const std::map<std::string, std::pair<std::string, std::string>> kObjects = {
            {"zone", {"Device.X_QRN_NetworkZone.", "network zone ["}},
            {"new", {"Device.X_QRN_NewZone.", "zone ["}},
            {"data", {"Device.X_QRN_NetworkZone.DataVlan.", "data vlan ["}},
            {"management", {"Device.X_QRN_NetworkZone.ManagementVlan", "management vlan "}}};
        for (const Step& step : steps) {
            SCOPED_TRACE(step.request);
            std::istringstream in{step.request};
            std::string kind;
            std::string number;
            std::string words;
            in >> kind;
            if (kind != "management") {
                in >> number;
            }
            std::getline(in, words);
            const auto& [path, area] = kObjects.at(kind);
            if (step.effect == nullptr) {
                EXPECT_EQ(change(path + number, words), "");
            } else {
                EXPECT_EQ(effect(packages, path + number, words), step.effect);
            }
            for (const std::string& message : messages()) {
                EXPECT_EQ(message.find(area), message.find(' ') + 1) << message;
            }
        }
    }
};

} // namespace

TEST_F(Zones, BringTheirSectionsAndTakeThemAlong)
{
    expect(kAll,
           {
               {"zone 3 X_QRN_Add=1 Name=cafe Interfaces=lan2",
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe iface=lan2\n"
                "+network: device bridge name=br-lan type=bridge ports=lan1 ports=ra0\n"
                "+network: interface cafe proto=static device=br-cafe disabled=1\n"
                "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=lan2\n"
                "+dhcp: dhcp cafe interface=cafe start=100 limit=150 leasetime=12h dhcpv4=disabled ignore=1\n"
                "+firewall: zone cafe name=cafe input=ACCEPT output=ACCEPT forward=REJECT network=cafe\n"
                "+firewall: rule qrn_cafe name=DNS and DHCP of cafe src=cafe proto=tcp udp dest_port=53 67 "
                "target=ACCEPT\n"
                "+firewall: forwarding src=cafe dest=wan\n"
                "+firewall: forwarding src=lan dest=cafe\n"
                "+firewall: forwarding src=cafe dest=lan\n"
                "+firewall: forwarding src=guest dest=cafe\n"
                "+firewall: forwarding src=cafe dest=guest"},
               {"zone 1 Interfaces=ra0,lan2",
                "+qrnnetworkzone: zone lan name=lan qrn_index=1 iface=ra0 iface=lan2\n"
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe\n"
                "+network: device bridge name=br-lan type=bridge ports=lan1 ports=ra0 ports=lan2\n"
                "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1"},
               {"zone 3 X_QRN_Delete=1",
                "-qrnnetworkzone: zone cafe qrn_index=3 name=cafe\n"
                "-network: interface cafe proto=static device=br-cafe disabled=1\n"
                "-network: device br_cafe name=br-cafe type=bridge bridge_empty=1\n"
                "-dhcp: dhcp cafe interface=cafe start=100 limit=150 leasetime=12h dhcpv4=disabled ignore=1\n"
                "-firewall: zone cafe name=cafe input=ACCEPT output=ACCEPT forward=REJECT network=cafe\n"
                "-firewall: rule qrn_cafe name=DNS and DHCP of cafe src=cafe proto=tcp udp dest_port=53 67 "
                "target=ACCEPT\n"
                "-firewall: forwarding src=cafe dest=wan\n"
                "-firewall: forwarding src=lan dest=cafe\n"
                "-firewall: forwarding src=cafe dest=lan\n"
                "-firewall: forwarding src=guest dest=cafe\n"
                "-firewall: forwarding src=cafe dest=guest"},
               {"zone 1 Interfaces=ra0",
                "+qrnnetworkzone: zone lan name=lan qrn_index=1 iface=ra0\n"
                "+network: device bridge name=br-lan type=bridge ports=lan1 ports=lan2 ports=ra0"},
           });
    EXPECT_EQ(values("Device.X_QRN_NetworkZone.2", "Name Interfaces VLANID Isolation X_QRN_Add"),
              "\"guest\" \"rax1\" 20 0 0");
    EXPECT_EQ(values("Device.X_QRN_NetworkZone", "ZoneNumberOfEntries X_QRN_Instances"), "2 \"1,2\"");
    EXPECT_EQ(send("Device.X_QRN_NetworkZone.3", kSet, named("VLANID=9")).code, 22u);
}

TEST_F(Zones, AreKeptApartWhereOneIsIsolated)
{
    expect("qrnnetworkzone firewall",
           {
               {"zone 3 X_QRN_Add=1 Name=cafe Isolation=1",
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe isolation=1\n"
                "+firewall: zone cafe name=cafe input=REJECT output=ACCEPT forward=REJECT network=cafe\n"
                "+firewall: rule qrn_cafe name=DNS and DHCP of cafe src=cafe proto=tcp udp dest_port=53 67 "
                "target=ACCEPT\n"
                "+firewall: forwarding src=cafe dest=wan"},
               {"zone 3 Isolation=0",
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe isolation=0\n"
                "+firewall: zone cafe name=cafe input=ACCEPT output=ACCEPT forward=REJECT network=cafe\n"
                "+firewall: forwarding src=lan dest=cafe\n"
                "+firewall: forwarding src=cafe dest=lan\n"
                "+firewall: forwarding src=guest dest=cafe\n"
                "+firewall: forwarding src=cafe dest=guest"},
               {"zone 3 Isolation=1",
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe isolation=1\n"
                "+firewall: zone cafe name=cafe input=REJECT output=ACCEPT forward=REJECT network=cafe\n"
                "+firewall: forwarding src=lan dest=cafe enabled=0\n"
                "+firewall: forwarding src=cafe dest=lan enabled=0\n"
                "+firewall: forwarding src=guest dest=cafe enabled=0\n"
                "+firewall: forwarding src=cafe dest=guest enabled=0\n"
                "-firewall: forwarding src=lan dest=cafe\n"
                "-firewall: forwarding src=cafe dest=lan\n"
                "-firewall: forwarding src=guest dest=cafe\n"
                "-firewall: forwarding src=cafe dest=guest"},
               {"zone 2 Isolation=1",
                "+qrnnetworkzone: zone guest name=guest vid=20 iface=rax1 qrn_index=2 isolation=1\n"
                "+firewall: zone guest name=guest input=REJECT output=ACCEPT forward=REJECT network=guest\n"
                "+firewall: rule qrn_guest name=DNS and DHCP of guest src=guest proto=tcp udp dest_port=53 "
                "67 target=ACCEPT\n"
                "+firewall: forwarding src=guest dest=wan"},
               {"zone 3 Isolation=0",
                "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe isolation=0\n"
                "+firewall: zone cafe name=cafe input=ACCEPT output=ACCEPT forward=REJECT network=cafe\n"
                "+firewall: forwarding src=lan dest=cafe enabled=1\n"
                "+firewall: forwarding src=cafe dest=lan enabled=1\n"
                "-firewall: forwarding src=lan dest=cafe enabled=0\n"
                "-firewall: forwarding src=cafe dest=lan enabled=0"},
               {"zone 2 Isolation=0",
                "+qrnnetworkzone: zone guest name=guest vid=20 iface=rax1 qrn_index=2 isolation=0\n"
                "+firewall: forwarding src=guest dest=cafe enabled=1\n"
                "+firewall: forwarding src=cafe dest=guest enabled=1\n"
                "+firewall: zone guest name=guest input=ACCEPT output=ACCEPT forward=REJECT network=guest\n"
                "+firewall: forwarding src=lan dest=guest\n"
                "+firewall: forwarding src=guest dest=lan\n"
                "-firewall: forwarding src=guest dest=cafe enabled=0\n"
                "-firewall: forwarding src=cafe dest=guest enabled=0"},
           });
    // One that the factory has isolated is so from its first section on, whatever makes that.
    for (const char* first :
         {"new 2 LeaseTime=600", "data 1 X_QRN_Add=1 VLANID=41 Zone=Device.X_QRN_NetworkZone.2"}) {
        SetUp();
        put("qrnnetworkzone", read_file("/etc/config/qrnnetworkzone") + "\toption isolation '1'\n");
        expect("firewall",
               {{first,
                 "+firewall: zone guest name=guest input=REJECT output=ACCEPT forward=REJECT network=guest\n"
                 "+firewall: rule qrn_guest name=DNS and DHCP of guest src=guest proto=tcp udp "
                 "dest_port=53 67 target=ACCEPT\n"
                 "+firewall: forwarding src=guest dest=wan"}});
    }
}

TEST_F(Zones, AVlanOfOneGivesTheLanOneAsWell)
{
    expect(
        "qrnnetworkzone network",
        {
            {"zone 3 X_QRN_Add=1 Name=cafe VLANID=30 Interfaces=ra5",
             "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe iface=ra5 vid=30\n"
             "+network: interface lan device=br-lan.1 proto=static ipaddr=192.168.1.1 netmask=255.255.255.0\n"
             "+network: device bridge name=br-lan type=bridge ports=lan1 ports=lan2 ports=ra0\n"
             "+network: interface cafe proto=static device=br-cafe disabled=1\n"
             "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=br-lan.30\n"
             "+network: bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u*\n"
             "+network: bridge-vlan qrn_vlan_1 device=br-lan vlan=1 ports=lan1:u* ports=lan2:u* "
             "ports=ra0:u*"},
            {"zone 1 VLANID=7",
             "+qrnnetworkzone: zone lan name=lan iface=ra0 qrn_index=1 vid=7\n"
             "+network: interface lan device=br-lan.7 proto=static ipaddr=192.168.1.1 netmask=255.255.255.0\n"
             "+network: bridge-vlan qrn_vlan_7 device=br-lan vlan=7 ports=lan1:u* ports=lan2:u* "
             "ports=ra0:u*\n"
             "-network: bridge-vlan qrn_vlan_1 device=br-lan vlan=1 ports=lan1:u* ports=lan2:u* "
             "ports=ra0:u*"},
            {"data 1 X_QRN_Add=1 VLANID=40 Zone=Device.X_QRN_NetworkZone.3 Enable=1",
             "+qrnnetworkzone: datavlan qrn_index=1 vlan_id=40 zone=cafe enable=1\n"
             "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=br-lan.30 "
             "ports=br-lan.40\n"
             "+network: bridge-vlan qrn_vlan_40 device=br-lan vlan=40 ports=lan1:t ports=lan2:t"},
            {"data 2 X_QRN_Add=1 VLANID=41 Zone=Device.X_QRN_NetworkZone.2.",
             "+qrnnetworkzone: datavlan qrn_index=2 enable=0 vlan_id=41 zone=guest\n"
             "+network: interface guest proto=static device=br-guest disabled=1\n"
             "+network: device br_guest name=br-guest type=bridge bridge_empty=1 ports=br-lan.20\n"
             "+network: bridge-vlan qrn_vlan_20 device=br-lan vlan=20 ports=rax1:u*"},
            {"management VLANID=30 Tagged=1 Enable=1",
             "+qrnnetworkzone: mgmtvlan mgmtvlan vlan_id=30 tagged=1 enable=1\n"
             "+network: bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u* ports=lan1:t "
             "ports=lan2:t"},
            {"data 1 Enable=0",
             "+qrnnetworkzone: datavlan qrn_index=1 vlan_id=40 zone=cafe enable=0\n"
             "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=br-lan.30\n"
             "-qrnnetworkzone: datavlan qrn_index=1 vlan_id=40 zone=cafe enable=1\n"
             "-network: bridge-vlan qrn_vlan_40 device=br-lan vlan=40 ports=lan1:t ports=lan2:t"},
            {"data 2 Enable=1",
             "+qrnnetworkzone: datavlan qrn_index=2 enable=1 vlan_id=41 zone=guest\n"
             "+network: device br_guest name=br-guest type=bridge bridge_empty=1 ports=br-lan.20 "
             "ports=br-lan.41\n"
             "+network: bridge-vlan qrn_vlan_41 device=br-lan vlan=41 ports=lan1:t ports=lan2:t\n"
             "-qrnnetworkzone: datavlan qrn_index=2 enable=0 vlan_id=41 zone=guest"},
            {"management Enable=0", "+qrnnetworkzone: mgmtvlan mgmtvlan vlan_id=30 tagged=1 enable=0\n"
                                    "+network: bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u*"},
            {"data 2 X_QRN_Delete=1",
             "+network: device br_guest name=br-guest type=bridge bridge_empty=1 ports=br-lan.20\n"
             "-qrnnetworkzone: datavlan qrn_index=2 enable=1 vlan_id=41 zone=guest\n"
             "-network: bridge-vlan qrn_vlan_41 device=br-lan vlan=41 ports=lan1:t ports=lan2:t"},
            {"zone 3 VLANID=0", "+qrnnetworkzone: zone cafe qrn_index=3 name=cafe iface=ra5 vid=0\n"
                                "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=ra5\n"
                                "-network: bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u*"},
            {"zone 2 Interfaces=", "+qrnnetworkzone: zone guest name=guest vid=20 qrn_index=2\n"
                                   "+network: bridge-vlan qrn_vlan_20 device=br-lan vlan=20"},
        });
    EXPECT_EQ(values("Device.X_QRN_NetworkZone.DataVlan.1", "VLANID Zone Enable"),
              "40 \"Device.X_QRN_NetworkZone.3\" 0");
    EXPECT_EQ(values("Device.X_QRN_NetworkZone.DataVlan", "DataVlanNumberOfEntries X_QRN_Instances"),
              "1 \"1\"");
    EXPECT_EQ(values("Device.X_QRN_NetworkZone.ManagementVlan", "VLANID Tagged Enable"), "30 1 0");
    // The access points move interfaces by the lists alone, which the commit follows.
    (void)QrnUci_SetListItem("qrnnetworkzone.cafe.iface", 1, "ra6");
    EXPECT_EQ(send("Device.X_QRN_NetworkZone.", kCommit, "{}").code, 0u);
    EXPECT_EQ(sections("network")[4],
              "network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=ra5 ports=ra6");
}

TEST_F(Zones, WhatOthersHaveMadeIsLeftAlone)
{
    constexpr const char* kOwn = "config interface 'guest'\n\toption proto 'static'\nconfig device 'bridge'\n"
                                 "\toption name 'br-lan'\n\toption type 'bridge'\n\tlist ports 'lan1'\n"
                                 "config bridge-vlan\n\toption device 'br-lan'\n\toption vlan '9'\n"
                                 "\tlist ports 'lan1'\nconfig bridge-vlan 'own'\n\toption vlan '11'\n";
    store_network("br-lan.9", kOwn);
    put("firewall", read_file("/etc/config/firewall") +
                        "config zone\n\toption name 'guest'\n"
                        "config forwarding\n\toption src 'lan'\n\toption dest 'guest'\n");
    expect(
        "qrnnetworkzone network firewall",
        {
            {"management VLANID=9 Enable=1",
             "+qrnnetworkzone: mgmtvlan mgmtvlan vlan_id=9 enable=1\n"
             "+network: device bridge name=br-lan type=bridge ports=lan1 ports=ra0"},
            {"zone 3 X_QRN_Add=1 Name=cafe VLANID=30", nullptr},
            {"zone 3 VLANID=9", "!VLANID: VLAN 9 is that of network.cfg05a1b0"},
            {"zone 3 VLANID=11", "!VLANID: VLAN 11 is that of network.own"},
            {"management VLANID=11", "!VLANID: no port carries VLAN 11"},
            {"zone 1 VLANID=9", "+qrnnetworkzone: zone lan name=lan iface=ra0 qrn_index=1 vid=9"},
            {"zone 2 Isolation=1",
             "+qrnnetworkzone: zone guest name=guest vid=20 iface=rax1 qrn_index=2 isolation=1\n"
             "+firewall: zone name=guest input=REJECT\n"
             "+firewall: forwarding src=lan dest=guest enabled=0\n"
             "+firewall: forwarding src=guest dest=cafe enabled=0\n"
             "+firewall: forwarding src=cafe dest=guest enabled=0\n"
             "-firewall: zone name=guest\n"
             "-firewall: forwarding src=lan dest=guest\n"
             "-firewall: forwarding src=guest dest=cafe\n"
             "-firewall: forwarding src=cafe dest=guest"},
            {"zone 2 Interfaces=", "+qrnnetworkzone: zone guest name=guest vid=20 qrn_index=2 isolation=1"},
            {"zone 2 X_QRN_Delete=1",
             "-qrnnetworkzone: zone guest name=guest vid=20 qrn_index=2 isolation=1"},
        });
    store_network("eth0", "");
    expect(
        "network",
        {
            {"zone 3 VLANID=31", "!VLANID: the LAN has no bridge with known ports that could carry a VLAN"},
            {"zone 1 VLANID=31", "!VLANID: VLAN 9, that of the management, would have no port"},
            {"data 1 X_QRN_Add=1 VLANID=31 Zone=Device.X_QRN_NetworkZone.3",
             "!VLANID: the LAN has no bridge with known ports that could carry a VLAN"},
            {"zone 3 VLANID=0", "+network: interface cafe proto=static device=br-cafe disabled=1\n"
                                "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1"},
            {"zone 3 Interfaces=ra5",
             "+network: device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=ra5"},
        });
}

TEST_F(Zones, WhatWouldCutSomebodyOffIsRefused)
{
    expect(
        kAll,
        {
            {"zone 3 X_QRN_Add=1 Name=cafe VLANID=30 Interfaces=ra5", nullptr},
            {"data 1 X_QRN_Add=1 VLANID=40 Zone=Device.X_QRN_NetworkZone.2 Enable=1", nullptr},
            {"management VLANID=30 Enable=1", nullptr},
            {"zone 1 X_QRN_Add=1 Name=more", "!X_QRN_Add: there is an instance 1 already"},
            {"zone 4 X_QRN_Add=1 Name=Cafe",
             "!Name: a name is small letters, digits and underscores after a letter"},
            {"zone 4 X_QRN_Add=1 Name=1a",
             "!Name: a name is small letters, digits and underscores after a letter"},
            {"zone 4 X_QRN_Add=1 Name=a-b",
             "!Name: a name is small letters, digits and underscores after a letter"},
            {"zone 4 X_QRN_Add=1 Name=cafe", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=wan", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=globals", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=vpn1", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=qrn_x", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=br_x", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 Name=mgmtvlan", "!Name: the name is taken"},
            {"zone 4 X_QRN_Add=1 VLANID=50", "!X_QRN_Add: a new instance needs Name"},
            {"zone 3 Name=other", "!Name: a zone keeps its name"},
            {"zone 3 Name=cafe", ""},
            {"zone 3 VLANID=4095", "!VLANID: 4095 is not 0 to 4094"},
            {"zone 3 VLANID=20", "!VLANID: VLAN 20 is that of zone guest"},
            {"zone 3 VLANID=40", "!VLANID: VLAN 40 is that of data VLAN 1"},
            {"zone 3 VLANID=1", "!VLANID: VLAN 1 is that of zone lan"},
            {"zone 3 VLANID=31", "!VLANID: VLAN 30, that of the management, would have no port"},
            {"zone 3 VLANID=30", ""},
            {"zone 3 Interfaces=", "!Interfaces: VLAN 30, that of the management, would have no port"},
            {"zone 2 Interfaces=ra5", "!Interfaces: VLAN 30, that of the management, would have no port"},
            {"zone 2 Interfaces=ra0", "!Interfaces: the LAN would have no interface"},
            {"zone 1 Interfaces=", "!Interfaces: the LAN would have no interface"},
            {"zone 2 Interfaces=wan0", "!Interfaces: wan0 belongs to no zone"},
            {"zone 2 Interfaces=br-lan", "!Interfaces: br-lan belongs to no zone"},
            {"zone 2 Interfaces=lo", "!Interfaces: lo belongs to no zone"},
            {"zone 2 Interfaces=..", "!Interfaces: '..' is no interface"},
            {"zone 2 Interfaces=a/b", "!Interfaces: 'a/b' is no interface"},
            {"zone 2 Interfaces=sixteen_letters_", "!Interfaces: 'sixteen_letters_' is no interface"},
            {"zone 2 X_QRN_Delete=1 VLANID=5",
             "!X_QRN_Delete: it stands alone in its request, without VLANID"},
            {"data 1 X_QRN_Delete=1 VLANID=5",
             "!X_QRN_Delete: it stands alone in its request, without VLANID"},
            {"zone 2 Interfaces=ra6,ra6", "!Interfaces: it names an interface twice"},
            {"zone 1 Isolation=1", "!Isolation: the LAN is where the router is managed from"},
            {"zone 1 X_QRN_Delete=1", "!X_QRN_Delete: the LAN cannot be deleted"},
            {"zone 2 X_QRN_Delete=1",
             "!X_QRN_Delete: the zone has interfaces, which another has to take first"},
            {"zone 3 X_QRN_Delete=0", ""},
            {"data 2 X_QRN_Add=1 VLANID=30 Zone=Device.X_QRN_NetworkZone.2",
             "!VLANID: VLAN 30 is that of zone cafe"},
            {"data 2 X_QRN_Add=1 VLANID=0 Zone=Device.X_QRN_NetworkZone.2", "!VLANID: 0 is not 1 to 4094"},
            {"data 2 X_QRN_Add=1 VLANID=50 Zone=Device.X_QRN_NetworkZone.1",
             "!Zone: the LAN has the VLAN of its zone alone"},
            {"data 2 X_QRN_Add=1 VLANID=50 Zone=Device.X_QRN_NetworkZone.7", "!Zone: there is no such zone"},
            {"data 2 X_QRN_Add=1 VLANID=50 Zone=Device.IP.Interface.1", "!Zone: there is no such zone"},
            {"data 2 X_QRN_Add=1 VLANID=50", "!X_QRN_Add: a new instance needs Zone"},
            {"management VLANID=0", "!VLANID: it needs a VLAN"},
            {"management VLANID=99", "!VLANID: no port carries VLAN 99"},
            {"management VLANID=1 Tagged=1",
             "!VLANID: VLAN 1 is that of the LAN, which the wired ports carry untagged"},
            {"management VLANID=1", "+qrnnetworkzone: mgmtvlan mgmtvlan vlan_id=1 enable=1"},
            {"management VLANID=40", "+qrnnetworkzone: mgmtvlan mgmtvlan vlan_id=40 enable=1"},
            {"data 1 Enable=0", "!Enable: VLAN 40, that of the management, would have no port"},
            {"data 1 VLANID=41", "!VLANID: VLAN 40, that of the management, would have no port"},
            {"data 1 X_QRN_Delete=1", "!X_QRN_Delete: VLAN 40, that of the management, would have no port"},
            {"zone 1 Interfaces=ra0,rax1",
             "+qrnnetworkzone: zone lan name=lan qrn_index=1 iface=ra0 iface=rax1\n"
             "+qrnnetworkzone: zone guest name=guest vid=20 qrn_index=2\n"
             "+network: device bridge name=br-lan type=bridge ports=lan1 ports=lan2 ports=ra0 ports=rax1\n"
             "+network: bridge-vlan qrn_vlan_1 device=br-lan vlan=1 ports=lan1:u* ports=lan2:u* ports=ra0:u* "
             "ports=rax1:u*\n"
             "+network: bridge-vlan qrn_vlan_20 device=br-lan vlan=20"},
            {"zone 2 X_QRN_Delete=1", "!X_QRN_Delete: data VLAN 1 leads to the zone"},
        });
    put("qrnnetworkzone", "config zone 'guest'\n\toption qrn_index '2'\n");
    std::filesystem::remove_all("/tmp/.uci");
    expect(kAll, {{"zone 1 X_QRN_Add=1 Name=own", "!X_QRN_Add: zone 1 is the LAN"}});
}

TEST_F(Zones, HaveNetworksPoolsAndAWayOut)
{
    constexpr const char* kAll = "Name IPAddress SubnetMask MinAddress MaxAddress DNSServers LeaseTime "
                                 "InternetAccess DHCPEnable Enable";
    EXPECT_EQ(values("Device.X_QRN_NewZone.2", kAll), "\"guest\" \"\" \"\" \"\" \"\" \"\" 43200 0 0 0");
    expect(
        "network dhcp firewall",
        {
            {"new 2 LeaseTime=600",
             "+network: interface guest proto=static device=br-guest disabled=1\n"
             "+network: device br_guest name=br-guest type=bridge bridge_empty=1\n"
             "+dhcp: dhcp guest interface=guest start=100 limit=150 leasetime=10m dhcpv4=disabled ignore=1\n"
             "+firewall: zone guest name=guest input=ACCEPT output=ACCEPT forward=REJECT network=guest\n"
             "+firewall: rule qrn_guest name=DNS and DHCP of guest src=guest proto=tcp udp dest_port=53 67 "
             "target=ACCEPT\n"
             "+firewall: forwarding src=guest dest=wan\n"
             "+firewall: forwarding src=lan dest=guest\n"
             "+firewall: forwarding src=guest dest=lan"},
            {"new 2 IPAddress=192.168.20.1 SubnetMask=255.255.255.0 MinAddress=192.168.20.10 "
             "MaxAddress=192.168.20.19 DNSServers=9.9.9.9 DHCPEnable=1 Enable=1",
             "+network: interface guest proto=static device=br-guest disabled=0 ipaddr=192.168.20.1 "
             "netmask=255.255.255.0\n"
             "+dhcp: dhcp guest interface=guest start=10 limit=10 leasetime=10m dhcpv4=server "
             "dhcp_option=6,9.9.9.9"},
            {"new 2 IPAddress=192.168.21.1 MaxAddress=192.168.21.30 InternetAccess=0",
             "+network: interface guest proto=static device=br-guest disabled=0 ipaddr=192.168.21.1 "
             "netmask=255.255.255.0\n"
             "+dhcp: dhcp guest interface=guest start=10 limit=21 leasetime=10m dhcpv4=server "
             "dhcp_option=6,9.9.9.9\n"
             "+firewall: forwarding src=guest dest=wan enabled=0\n"
             "-firewall: forwarding src=guest dest=wan"},
            {"new 2 InternetAccess=1 SubnetMask=255.255.255.128",
             "+network: interface guest proto=static device=br-guest disabled=0 ipaddr=192.168.21.1 "
             "netmask=255.255.255.128\n"
             "+firewall: forwarding src=guest dest=wan enabled=1\n"
             "-firewall: forwarding src=guest dest=wan enabled=0"},
            {"new 2 IPAddress=192.168.21.1 SubnetMask=255.255.255.128 Enable=1", ""},
            {"new 2 IPAddress= SubnetMask= DHCPEnable=0 DNSServers=",
             "+network: interface guest proto=static device=br-guest disabled=0\n"
             "+dhcp: dhcp guest interface=guest start=10 limit=21 leasetime=10m dhcpv4=disabled ignore=1"},
            {"new 1 IPAddress=10.20.30.1",
             "+network: interface lan device=br-lan proto=static ipaddr=10.20.30.1 netmask=255.255.255.0"},
            {"new 1 SubnetMask=255.255.255.128 MaxAddress=10.20.30.120",
             "+network: interface lan device=br-lan proto=static ipaddr=10.20.30.1 netmask=255.255.255.128\n"
             "+dhcp: dhcp lan interface=lan start=100 limit=21"},
        });
    EXPECT_EQ(values("Device.X_QRN_NewZone.1", kAll),
              "\"lan\" \"10.20.30.1\" \"255.255.255.128\" \"10.20.30.100\" \"10.20.30.120\" \"10.20.30.1\" "
              "43200 1 1 1");
    EXPECT_EQ(values("Device.X_QRN_NewZone.", "ZoneNumberOfEntries X_QRN_Instances"), "2 \"1,2\"");
    // The address is written in the form that it has, before others if there are.
    for (const auto& [before, after] :
         {std::pair<const char*, const char*>{"list ipaddr '10.20.30.1/24'",
                                              "+network: interface lan ipaddr=172.16.0.1/16"},
          {"list ipaddr '10.20.30.1/24'\n\tlist ipaddr '10.9.0.1/16'",
           "+network: interface lan ipaddr=172.16.0.1/16 ipaddr=10.9.0.1/16"},
          {"list ipaddr '10.20.30.1'\n\tlist ipaddr '10.20.30.2'\n\toption netmask '255.255.255.0'",
           "+network: interface lan netmask=255.255.0.0 ipaddr=172.16.0.1 ipaddr=10.20.30.2"}}) {
        std::filesystem::remove_all("/tmp/.uci");
        put("network", std::string{"config interface 'lan'\n\t"} + before + "\n");
        expect("network dhcp", {{"new 1 IPAddress=172.16.0.1 SubnetMask=255.255.0.0", after}});
    }
}

TEST_F(Zones, NetworksThatCannotBeAreRefused)
{
    put("network", read_file("/etc/config/network") +
                       "config interface 'lan2'\n\tlist ipaddr '192.168.7.1/24'\n"
                       "config interface 'guest'\n\toption ipaddr '192.168.20.1'\n\toption netmask '24'\n");
    put("dhcp", read_file("/etc/config/dhcp") +
                    "config host\n\toption ip '192.168.1.50'\nconfig host\n\toption ip 'ignore'\n"
                    "config host\n\toption ip '10.1.1.1'\n");
    expect(kAll,
           {
               {"new 2 IPAddress=192.168.1.77", "!IPAddress: the network overlaps that of lan"},
               {"new 2 IPAddress=192.168.7.9", "!IPAddress: the network overlaps that of lan2"},
               {"new 2 IPAddress=192.168.20.255", "!IPAddress: the address is none of a host in its network"},
               {"new 2 SubnetMask=255.255.0.0", "!SubnetMask: the network overlaps that of lan"},
               {"new 2 SubnetMask=255.0.255.0", "!SubnetMask: '255.0.255.0' is no contiguous netmask"},
               {"new 2 SubnetMask=", "!SubnetMask: an address needs its mask"},
               {"new 2 IPAddress=192.168.20.100 DHCPEnable=1",
                "!IPAddress: the pool holds the address of the router"},
               {"new 2 IPAddress=192.168.20.99 DHCPEnable=1",
                "+network: interface guest ipaddr=192.168.20.99 netmask=255.255.255.0\n"
                "+dhcp: dhcp guest interface=guest start=100 limit=150 leasetime=12h dhcpv4=server"},
               {"new 2 IPAddress=192.168.20.1 SubnetMask=255.255.255.192",
                "!IPAddress: the pool 192.168.20.100 to 192.168.20.249 does not fit into the network"},
               {"new 2 MinAddress=192.168.21.10", "!MinAddress: the pool ends before it begins"},
               {"new 2 MaxAddress=192.168.21.10",
                "!MaxAddress: the pool 192.168.20.100 to 192.168.21.10 does not fit into the network"},
               {"new 2 MinAddress=", "!MinAddress: a pool has two ends"},
               {"new 2 LeaseTime=60", "!LeaseTime: 60 is not -1 or 120 to 2147483647"},
               {"new 2 IPAddress= SubnetMask= DHCPEnable=1",
                "!IPAddress: the pool needs the zone to have an address"},
               {"new 2 IPAddress= SubnetMask= MinAddress=192.168.20.9",
                "!IPAddress: the pool needs the zone to have an address"},
               {"new 2 Name=other", "!Name: it cannot be set"},
               {"new 1 IPAddress=", "!IPAddress: the LAN needs an address"},
               {"new 1 Enable=0", "!Enable: the LAN is where the router is managed from"},
               {"new 1 IPAddress=192.168.1.1 SubnetMask=255.255.255.0", ""},
               {"new 1 IPAddress=10.1.1.2", "!IPAddress: the static address 192.168.1.50 would not fit"},
               {"new 1 IPAddress=192.168.1.50", "!IPAddress: the static address 192.168.1.50 would not fit"},
               {"new 1 SubnetMask=255.255.255.192",
                "!SubnetMask: the pool 192.168.1.100 to 192.168.1.249 does not fit into the network"},
               {"new 1 SubnetMask=255.255.255.128",
                "!SubnetMask: the pool 192.168.1.100 to 192.168.1.249 does not fit into the network"},
               {"new 1 IPAddress=192.168.7.5", "!IPAddress: the network overlaps that of lan2"},
           });
    // What the provider has given by now counts too.
    store_network("br-lan", "config interface 'guest'\n");
    put("network",
        read_file("/etc/config/network").replace(read_file("/etc/config/network").find("wan0.7"), 6, "lo"));
    expect("network", {{"new 2 IPAddress=126.0.0.1 SubnetMask=254.0.0.0",
                        "!IPAddress: the network overlaps that of wan"},
                       {"new 2 IPAddress=125.0.0.1 SubnetMask=255.0.0.0",
                        "+network: interface guest ipaddr=125.0.0.1 netmask=255.0.0.0"}});
}

TEST_F(Zones, LeasesOfEachAreItsOwn)
{
    put("network", read_file("/etc/config/network") +
                       "config interface 'guest'\n\toption ipaddr '192.168.20.1'\n\toption netmask '24'\n");
    write_file("/tmp/dhcp.leases",
               "0 aa:bb:cc:00:11:22 192.168.20.5 tv *\n1795326519 aa:bb:cc:00:11:23 192.168.1.6 * *\n");
    EXPECT_EQ(values("Device.X_QRN_NewZone.2.DHCP", "X_QRN_List"),
              "\"[{\\\"MACAddress\\\":\\\"AA:BB:CC:00:11:22\\\",\\\"IPAddress\\\":\\\"192.168.20.5\\\","
              "\\\"HostName\\\":\\\"tv\\\",\\\"Expires\\\":\\\"0001-01-01T00:00:00Z\\\"}]\"");
    EXPECT_EQ(values("Device.X_QRN_NewZone.1.DHCP", "X_QRN_List"),
              "\"[{\\\"MACAddress\\\":\\\"AA:BB:CC:00:11:23\\\",\\\"IPAddress\\\":\\\"192.168.1.6\\\","
              "\\\"HostName\\\":\\\"\\\",\\\"Expires\\\":\\\"2026-11-22T05:48:39Z\\\"}]\"");
    EXPECT_EQ(values("Device.X_QRN_NewZone.7.DHCP", "X_QRN_List"), "code 22");
}
