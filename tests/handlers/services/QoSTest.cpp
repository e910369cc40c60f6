// SPDX-License-Identifier: Apache-2.0
// Queues that keep the line short of its limit, and a zone within its own.
#include "support/Script.h"

using namespace test;

namespace
{

using QoS = ScriptTest;

} // namespace

TEST_F(QoS, TheLinesLimitsAreAQueueOfTheWansDevice)
{
    const FakeFolder run{"/var/run"};
    play(R"(
Device.QoS = qos
get -> X_QRN_DownloadRate=0 X_QRN_UploadRate=0 X_QRN_Discipline="fq_codel" X_QRN_Overhead=0 X_QRN_Enable=0 X_QRN_Status="Disabled"
set X_QRN_DownloadRate=0 X_QRN_UploadRate=0 X_QRN_Overhead=0 X_QRN_Enable=0 X_QRN_Discipline=fq_codel
set X_QRN_DownloadRate=90000 X_QRN_Discipline=cake X_QRN_Overhead=44 X_QRN_Enable=1
  sqm queue wan: download='90000' qdisc='cake' overhead='44' enabled='1' interface='eth1' script='piece_of_cake.qos' upload='0' linklayer='ethernet'
get -> X_QRN_DownloadRate=90000 X_QRN_UploadRate=0 X_QRN_Discipline="cake" X_QRN_Overhead=44 X_QRN_Enable=1 X_QRN_Status="Error"
file /var/run/sqm/eth1.state x
get X_QRN_Status -> X_QRN_Status="Enabled"
program /etc/init.d/sqm
commit
  commit sqm
service restart
  run /etc/init.d/sqm enable
  run /etc/init.d/sqm restart
set X_QRN_Enable=0 X_QRN_Discipline=fq_codel X_QRN_Overhead=0 X_QRN_UploadRate=5
  sqm queue wan: download='90000' qdisc='fq_codel' overhead='0' enabled='0' interface='eth1' script='simple.qos' upload='5' linklayer='none'
get X_QRN_Status -> X_QRN_Status="Disabled"
service restart
  run /etc/init.d/sqm disable
  run /etc/init.d/sqm restart
set X_QRN_DownloadRate=-1 -> ! X_QRN_DownloadRate: -1 is not 0 to 100000000
set X_QRN_UploadRate=100000001 -> ! X_QRN_UploadRate: 100000001 is not 0 to 100000000
set X_QRN_Discipline=sfq -> ! X_QRN_Discipline: 'sfq' is not one of cake|fq_codel
set X_QRN_Overhead=257 -> ! X_QRN_Overhead: 257 is not 0 to 256
set X_QRN_Overhead=256
  sqm queue wan: download='90000' qdisc='fq_codel' overhead='256' enabled='0' interface='eth1' script='simple.qos' upload='5' linklayer='ethernet'
uci sqm.eth1.enabled=1
set X_QRN_Enable=1 -> ! X_QRN_Enable: eth1 has a queue already, "eth1"
uci network.wan.device=
set X_QRN_Enable=1 -> ! X_QRN_Enable: the WAN has no device
remove /etc/config/sqm
set X_QRN_Enable=1 -> ! X_QRN_Enable: sqm is not installed
get X_QRN_Enable X_QRN_Status -> X_QRN_Enable=0 X_QRN_Status="Disabled"
service reload
  run /etc/init.d/sqm disable
  run /etc/init.d/sqm reload
)");
    EXPECT_EQ(send("Device.QoS", kService, "{}"), Fails(EFAULT));
}

TEST_F(QoS, AZonesLimitsAreAsItsClientsSeeThem)
{
    play(R"(
Device.QoS.X_QRN_NetZone.1 = qos zone [1]
get -> DownloadRate=0 UploadRate=0
set DownloadRate=0 UploadRate=0
set DownloadRate=20000
  sqm queue zone1: upload='20000' download='0' interface='br-lan' qdisc='fq_codel' script='simple.qos' enabled='0'
get -> DownloadRate=20000 UploadRate=0
Device.QoS = qos
set X_QRN_Enable=1 X_QRN_Discipline=cake
  sqm queue wan: qdisc='cake' enabled='1' interface='eth1' script='piece_of_cake.qos' download='0' upload='0' linklayer='none'
  sqm queue zone1: upload='20000' download='0' interface='br-lan' qdisc='cake' script='piece_of_cake.qos' enabled='1'
Device.QoS.X_QRN_NetZone.1 = qos zone [1]
set DownloadRate=0 UploadRate=5000
  sqm queue zone1: upload='0' download='5000' interface='br-lan' qdisc='cake' script='piece_of_cake.qos' enabled='1'
set DownloadRate=100000001 -> ! DownloadRate: 100000001 is not 0 to 100000000
set UploadRate=-1 -> ! UploadRate: -1 is not 0 to 100000000
set UploadRate=0
  sqm queue zone1 is gone
Device.QoS.X_QRN_NetZone.2 = qos zone [2]
set DownloadRate=100 -> ! DownloadRate: the zone has no device
set DownloadRate=0
config network config interface 'guest'\noption device 'br-guest'
set UploadRate=100
  sqm queue zone2: download='100' upload='0' interface='br-guest' qdisc='cake' script='piece_of_cake.qos' enabled='1'
config sqm config queue 'zone9'\noption interface 'br-9'
config sqm config queue 'zonex'\noption interface 'br-x'
config sqm config queue 'zone1'\noption interface 'br-lan'\noption enabled '1'
Device.QoS = qos
set X_QRN_Enable=0
  sqm queue wan: qdisc='cake' enabled='0' interface='eth1' script='piece_of_cake.qos' download='0' upload='0' linklayer='none'
  sqm queue zone1: interface='br-lan' enabled='0' qdisc='cake' script='piece_of_cake.qos'
  sqm queue zone2: download='100' upload='0' interface='br-guest' qdisc='cake' script='piece_of_cake.qos' enabled='0'
  sqm queue zone9 is gone
Device.QoS.X_QRN_NetZone.9 = qos zone [9]
set DownloadRate=100 -> ! DownloadRate: there is no instance 9
config sqm config queue 'mine'\noption interface 'br-guest'\noption enabled '1'
Device.QoS.X_QRN_NetZone.2 = qos zone [2]
set DownloadRate=100 -> ! DownloadRate: br-guest has a queue already, "mine"
)");
}
