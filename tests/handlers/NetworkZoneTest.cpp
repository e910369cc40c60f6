// SPDX-License-Identifier: Apache-2.0
// Network zones on a fake device.
#include "qsc_network_zone.h"
#include "support/Outside.h"

using namespace test;

class NetworkZone : public OutsideTest
{
  protected:
    void SetUp() override
    {
        OutsideTest::SetUp();
        outside().uci = {
            {"qrnnetworkzone.@zone[0].name", "lan"},     {"qrnnetworkzone.@zone[0].iface[0]", "ra0"},
            {"qrnnetworkzone.@zone[0].iface[1]", "ra1"}, {"qrnnetworkzone.@zone[0].iface[2]", "rax0"},
            {"qrnnetworkzone.@zone[1].name", "guest"},   {"qrnnetworkzone.@zone[1].iface[0]", "ra2"},
            {"qrnnetworkzone.@zone[2].name", "empty"}};
    }

    /// The code, and the zone's name.
    static Answer zone_of(const char* interface, uint32_t size = 64)
    {
        char zone[64] = "before";
        const uint32_t code = QscGetNetworkZoneByIface(interface, zone, size);
        return {code, zone};
    }
};

TEST_F(NetworkZone, FindsTheZoneOfAnInterface)
{
    EXPECT_EQ(zone_of("ra0"), Answers("lan"));
    EXPECT_EQ(zone_of("rax0"), Answers("lan"));
    EXPECT_EQ(zone_of("ra2"), Answers("guest"));
    EXPECT_EQ(zone_of("ra"), Fails(EFAULT, ""));
    EXPECT_EQ(zone_of("ra2", 6), Answers("guest"));
    EXPECT_EQ(zone_of("ra2", 5), Fails(EFAULT, ""));
    EXPECT_EQ(zone_of("ra2", 0), Fails(EINVAL, "before"));
    EXPECT_EQ(zone_of(""), Fails(EINVAL));
    EXPECT_EQ(zone_of(nullptr), Fails(EINVAL));
    EXPECT_EQ(QscGetNetworkZoneByIface("ra0", nullptr, 9), Fails(EINVAL));
}

TEST_F(NetworkZone, MovesAnInterface)
{
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra0", "guest"), Succeeds());
    EXPECT_EQ(outside().done,
              (Lines{"set qrnnetworkzone.@zone[1].iface[1]=ra0", "set qrnnetworkzone.@zone[0].iface[0]=ra1",
                     "set qrnnetworkzone.@zone[0].iface[1]=rax0", "set qrnnetworkzone.@zone[0].iface[2]="}));
    outside().done.clear();
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra2", "guest"), Succeeds()) << "it is there";
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra2", "Guest"), Fails(EFAULT));
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra2", "@zone[0]"), Fails(EFAULT));
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra2", ""), Fails(EFAULT));
    EXPECT_EQ(QscSwitchIfaceNetworkZone(nullptr, "lan"), Fails(EINVAL));
    EXPECT_TRUE(outside().done.empty()) << "nothing has moved";
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra7", "empty"), Succeeds()) << "from no zone";
    EXPECT_EQ(outside().done, Lines{"set qrnnetworkzone.@zone[2].iface[0]=ra7"});

    outside().done.clear();
    outside().uci_codes["set qrnnetworkzone.@zone[2].iface[1]"] = EIO;
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra2", "empty"), Fails(EIO));
    EXPECT_EQ(zone_of("ra2"), Answers("guest"));

    outside().done.clear();
    outside().uci_codes = {{"get qrnnetworkzone.@zone[0].iface[1]", EIO}};
    EXPECT_EQ(QscSwitchIfaceNetworkZone("ra1", "empty"), Fails(EIO));
    EXPECT_EQ(outside().done, Lines{"set qrnnetworkzone.@zone[2].iface[1]=ra1"}) << "none behind it is lost";
}
