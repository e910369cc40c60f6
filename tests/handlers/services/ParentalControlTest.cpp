// SPDX-License-Identifier: Apache-2.0
// When devices have no way out: rules of the firewall within days and over midnight, and names nobody finds.
#include "support/Script.h"

using namespace test;

namespace
{

using ParentalControl = ScriptTest;

} // namespace

TEST_F(ParentalControl, ARuleIsOneSectionOrTwoOverMidnight)
{
    play(R"(
Device.X_QRN_Firewall.ParentalControl.1 = parental control [1]
set X_QRN_Add=1 MACAddress=02:00:00:00:00:0a Days=5,1,1 StartTime=14:00 EndTime=15:30 Description=Lena's tablet Enable=1
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Lena'\''s tablet' name='Lena s tablet' src_mac='02:00:00:00:00:0A' weekdays='Mon Fri' start_time='14:00' stop_time='15:29:59' enabled='1'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="Lena's tablet" MACAddress="02:00:00:00:00:0A" Days="1,5" StartTime="14:00" EndTime="15:30" Enable=1 Status="Enabled"
set Days=6 StartTime=21:00 EndTime=06:30
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Lena'\''s tablet' name='Lena s tablet' src_mac='02:00:00:00:00:0A' weekdays='Sat' start_time='21:00' stop_time='23:59:59' enabled='1'
  firewall rule @3: qrn='parental2' qrn_of='1' src='lan' dest='*' proto='all' target='REJECT' weekdays='Sun' start_time='00:00' stop_time='06:29:59' name='Lena s tablet' src_mac='02:00:00:00:00:0A' enabled='1'
get Days StartTime EndTime -> Days="6" StartTime="21:00" EndTime="06:30"
set MACAddress=02:00:00:00:00:0c Enable=0 Description=Tablet Days=
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Tablet' name='Tablet' src_mac='02:00:00:00:00:0C' start_time='21:00' stop_time='23:59:59' enabled='0'
  firewall rule @3: qrn='parental2' qrn_of='1' src='lan' dest='*' proto='all' target='REJECT' start_time='00:00' stop_time='06:29:59' name='Tablet' src_mac='02:00:00:00:00:0C' enabled='0'
get Status Enable -> Status="Disabled" Enable=0
set EndTime=23:00
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Tablet' name='Tablet' src_mac='02:00:00:00:00:0C' start_time='21:00' stop_time='22:59:59' enabled='0'
  firewall rule @3 is gone
set EndTime=20:59
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Tablet' name='Tablet' src_mac='02:00:00:00:00:0C' start_time='21:00' stop_time='23:59:59' enabled='0'
  firewall rule @3: qrn='parental2' qrn_of='1' src='lan' dest='*' proto='all' target='REJECT' start_time='00:00' stop_time='20:58:59' name='Tablet' src_mac='02:00:00:00:00:0C' enabled='0'
set EndTime=00:00
  firewall rule @3 is gone
get EndTime -> EndTime="00:00"
set StartTime=00:00 Days=0,1,2,3,4,5,6
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Tablet' name='Tablet' src_mac='02:00:00:00:00:0C' enabled='0' weekdays='Sun Mon Tue Wed Thu Fri Sat'
get Days StartTime EndTime -> Days="0,1,2,3,4,5,6" StartTime="00:00" EndTime="00:00"
set StartTime=10:00 EndTime=00:05
  firewall rule @2: qrn_index='1' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' qrn_description='Tablet' name='Tablet' src_mac='02:00:00:00:00:0C' enabled='0' weekdays='Sun Mon Tue Wed Thu Fri Sat' start_time='10:00' stop_time='23:59:59'
  firewall rule @3: qrn='parental2' qrn_of='1' src='lan' dest='*' proto='all' target='REJECT' weekdays='Sun Mon Tue Wed Thu Fri Sat' start_time='00:00' stop_time='00:04:59' name='Tablet' src_mac='02:00:00:00:00:0C' enabled='0'
Device.X_QRN_Firewall.ParentalControl.2 = parental control [2]
set X_QRN_Add=1 MACAddress=02:00:00:00:00:0b StartTime=22:00 EndTime=00:01
  firewall rule @4: qrn_index='2' enabled='0' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' src_mac='02:00:00:00:00:0B' start_time='22:00' stop_time='23:59:59'
  firewall rule @5: qrn='parental2' qrn_of='2' src='lan' dest='*' proto='all' target='REJECT' start_time='00:00' stop_time='00:00:59' src_mac='02:00:00:00:00:0B' enabled='0'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="" MACAddress="02:00:00:00:00:0B" Days="" StartTime="22:00" EndTime="00:01" Enable=0 Status="Disabled"
Device.X_QRN_Firewall.ParentalControl.
get -> RuleNumberOfEntries=2 X_QRN_Instances="1,2" BlockedNames=""
Device.X_QRN_Firewall.ParentalControl.1 = parental control [1]
set X_QRN_Delete=1
  firewall rule @2: qrn_index='2' enabled='0' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' src_mac='02:00:00:00:00:0B' start_time='22:00' stop_time='23:59:59'
  firewall rule @3: qrn='parental2' qrn_of='2' src='lan' dest='*' proto='all' target='REJECT' start_time='00:00' stop_time='00:00:59' src_mac='02:00:00:00:00:0B' enabled='0'
  firewall rule @4 is gone
  firewall rule @5 is gone
stored firewall rule
  rule @0: name='Allow-DHCP-Renew' src='wan' proto='udp' dest_port='68' target='ACCEPT' family='ipv4'
  rule @1: name='Allow-Ping' src='wan' proto='icmp' icmp_type='echo-request' family='ipv4' target='ACCEPT'
  rule @2: qrn_index='2' enabled='0' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' src_mac='02:00:00:00:00:0B' start_time='22:00' stop_time='23:59:59'
  rule @3: qrn='parental2' qrn_of='2' src='lan' dest='*' proto='all' target='REJECT' start_time='00:00' stop_time='00:00:59' src_mac='02:00:00:00:00:0B' enabled='0'
)");
}

TEST_F(ParentalControl, WhatMakesNoSenseIsRefused)
{
    play(R"(
Device.X_QRN_Firewall.ParentalControl.1 = parental control [1]
set X_QRN_Add=1 Days=1 -> ! X_QRN_Add: a new instance needs MACAddress
set X_QRN_Add=1 MACAddress=02:00:00:00:00:0a StartTime=10:00 EndTime=10:00 -> ! StartTime: it ends when it starts
set X_QRN_Add=1 MACAddress=02:00:00:00:00:0a StartTime=08:00 EndTime=09:00
  firewall rule @2: qrn_index='1' enabled='0' qrn='parental' src='lan' dest='*' proto='all' target='REJECT' src_mac='02:00:00:00:00:0A' start_time='08:00' stop_time='08:59:59'
set MACAddress=01:00:5e:00:00:01 -> ! MACAddress: '01:00:5e:00:00:01' is no MAC address of one device
set MACAddress=00:00:00:00:00:00 -> ! MACAddress: '00:00:00:00:00:00' is no MAC address of one device
set Days=7 -> ! Days: 7 is not 0 to 6
set StartTime=24:00 -> ! StartTime: '24:00' is no time of day, such as 03:30
set EndTime=8:00 -> ! EndTime: '8:00' is no time of day, such as 03:30
set EndTime=08:00 -> ! EndTime: it ends when it starts
set StartTime=09:00 -> ! StartTime: it ends when it starts
set Status=Enabled -> ! Status: it cannot be set
)");
}

TEST_F(ParentalControl, NamesAreBlockedBesideWhatOthersHaveThere)
{
    play(R"(
config dhcp config dnsmasq 'second'\nlist address '/x/'
Device.X_QRN_Firewall.ParentalControl. = parental control
get -> RuleNumberOfEntries=0 X_QRN_Instances="" BlockedNames=""
set BlockedNames=ads.example.net,games.example.org
  dhcp dnsmasq @0: domain='lan' local='/lan/' expandhosts='1' authoritative='1' leasefile='/tmp/dhcp.leases' address+'/ads.example.net/' address+'/games.example.org/' qrn_blocked+'ads.example.net' qrn_blocked+'games.example.org'
stored dhcp dnsmasq
  dnsmasq @0: domain='lan' local='/lan/' expandhosts='1' authoritative='1' leasefile='/tmp/dhcp.leases' address+'/ads.example.net/' address+'/games.example.org/' qrn_blocked+'ads.example.net' qrn_blocked+'games.example.org'
  dnsmasq second: address+'/x/'
uci dhcp.@dnsmasq[0].address=/nas.lan/192.168.1.9
uci dhcp.@dnsmasq[0].qrn_blocked=
set BlockedNames=ads.example.net,xads.example.ne
  dhcp dnsmasq @0: domain='lan' local='/lan/' expandhosts='1' authoritative='1' leasefile='/tmp/dhcp.leases' address+'/nas.lan/192.168.1.9' address+'/ads.example.net/' address+'/xads.example.ne/' qrn_blocked+'ads.example.net' qrn_blocked+'xads.example.ne'
set BlockedNames=chat.example.org,ads.example.net
  dhcp dnsmasq @0: domain='lan' local='/lan/' expandhosts='1' authoritative='1' leasefile='/tmp/dhcp.leases' address+'/nas.lan/192.168.1.9' address+'/chat.example.org/' address+'/ads.example.net/' qrn_blocked+'chat.example.org' qrn_blocked+'ads.example.net'
get BlockedNames -> BlockedNames="chat.example.org,ads.example.net"
set BlockedNames=
  dhcp dnsmasq @0: domain='lan' local='/lan/' expandhosts='1' authoritative='1' leasefile='/tmp/dhcp.leases' address+'/nas.lan/192.168.1.9'
set BlockedNames=a_b.example -> ! BlockedNames: 'a_b.example' is no host name
set BlockedNames=good.example,/ -> ! BlockedNames: '/' is no host name
remove /etc/config/dhcp
set BlockedNames=a.example -> ! BlockedNames: dhcp is not installed
)");
}

TEST_F(ParentalControl, ConnectionsOfADeviceThatHasNoWayOutNowAreEnded)
{
    put("system", "config system\n\toption timezone 'UTC'\n");
    play(R"(
program /etc/init.d/firewall
program /etc/init.d/dnsmasq
program conntrack
file /tmp/dhcp.leases 0 02:00:00:00:00:0a 192.168.1.33 tablet *\n0 02:00:00:00:00:0b 192.168.1.34 phone *\n
config firewall config rule\noption qrn 'parental'\noption src_mac '02:00:00:00:00:0A'
config firewall config rule\noption qrn 'parental'\noption src_mac '02:00:00:00:00:0B'\noption enabled '0'
config firewall config rule\noption qrn 'parental'\noption src_mac '02:00:00:00:00:0C'\noption enabled '1'
config firewall config rule\noption src_mac '02:00:00:00:00:0B'
Device.X_QRN_Firewall.ParentalControl.
commit
  commit firewall
  commit dhcp
service reload
  run /etc/init.d/firewall reload
  run /etc/init.d/dnsmasq reload
  run conntrack -D -s 192.168.1.33
uci firewall.@rule[3].enabled=1
service restart
  run /etc/init.d/firewall restart
  run /etc/init.d/dnsmasq restart
  run conntrack -D -s 192.168.1.33
  run conntrack -D -s 192.168.1.34
program /etc/init.d/dnsmasq exit 1
service restart
  run /etc/init.d/firewall restart
  run /etc/init.d/dnsmasq restart
  ! /etc/init.d/dnsmasq restart failed
)");
    // Within its times: any minute but the next two, whatever the zone.
    const auto clock = [](time_t moment) {
        char text[6];
        std::strftime(text, sizeof text, "%H:%M", std::gmtime(&moment));
        return std::string{text};
    };
    outside().programs["/etc/init.d/dnsmasq"] = "";
    for (const int hours : {-9, 0, 5}) {
        const time_t now = time(nullptr) + 3600 * hours;
        put("system", "config system\n\toption timezone 'XXX" + std::to_string(-hours) + "'\n");
        put("firewall", "config rule\n\toption qrn 'parental'\n\toption src_mac "
                        "'02:00:00:00:00:0A'\n\toption start_time '" +
                            clock(now - 120) + "'\n\toption stop_time '" + clock(now + 120) + ":59'\n" +
                            "config rule\n\toption qrn 'parental'\n\toption src_mac "
                            "'02:00:00:00:00:0B'\n\toption start_time '" +
                            clock(now + 120) + "'\n\toption stop_time '" + clock(now + 240) + ":59'\n");
        steps();
        EXPECT_EQ(send("Device.X_QRN_Firewall.ParentalControl.", kService, R"({"action":"reload"})"),
                  Succeeds());
        const Lines done = steps();
        EXPECT_EQ(std::ranges::count(done, "run conntrack -D -s 192.168.1.33"), 1) << hours;
        EXPECT_EQ(std::ranges::count(done, "run conntrack -D -s 192.168.1.34"), 0) << hours;
    }
}
