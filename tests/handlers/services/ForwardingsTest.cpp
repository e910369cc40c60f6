// SPDX-License-Identifier: Apache-2.0
// What comes from the WAN: forwarded, kept by the router, or given to the DMZ.
#include "support/Script.h"

using namespace test;

namespace
{

using Forwardings = ScriptTest;

} // namespace

TEST_F(Forwardings, OneIsAddedChangedAndDeleted)
{
    play(R"(
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Add=1 ExternalPort=8080 InternalPort=80 Protocol=TCP InternalClient=192.168.1.20 Description=Anna's web  server, \"quoted\" Enable=1
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' qrn_description='Anna'\''s web server, "quoted"' name='Anna s web server quoted' src_dport='8080' dest_port='80' proto+'tcp' dest_ip='192.168.1.20' dest='lan' enabled='1'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="Anna's web server, \"quoted\"" RemoteHost="" ExternalPort=8080 ExternalPortEndRange=0 InternalPort=80 Protocol="TCP" InternalClient="192.168.1.20" Enable=1 Status="Enabled"
set RemoteHost=198.51.100.7 ExternalPort=9000 ExternalPortEndRange=9010 InternalPort=0 Protocol=X_QRN_Both Description=
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000-9010' dest_ip='192.168.1.20' dest='lan' enabled='1' src_ip='198.51.100.7' proto+'tcp' proto+'udp'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="" RemoteHost="198.51.100.7" ExternalPort=9000 ExternalPortEndRange=9010 InternalPort=0 Protocol="X_QRN_Both" InternalClient="192.168.1.20" Enable=1 Status="Enabled"
set InternalPort=9000 ExternalPortEndRange=9010
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000-9010' dest_ip='192.168.1.20' dest='lan' enabled='1' src_ip='198.51.100.7' proto+'tcp' proto+'udp' dest_port='9000-9010'
set ExternalPortEndRange=9000
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000-9000' dest_ip='192.168.1.20' dest='lan' enabled='1' src_ip='198.51.100.7' proto+'tcp' proto+'udp' dest_port='9000'
set ExternalPortEndRange=0 Protocol=UDP Enable=0
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000' dest_ip='192.168.1.20' dest='lan' enabled='0' src_ip='198.51.100.7' dest_port='9000' proto+'udp'
get ExternalPort ExternalPortEndRange InternalPort Protocol Enable Status -> ExternalPort=9000 ExternalPortEndRange=0 InternalPort=9000 Protocol="UDP" Enable=0 Status="Disabled"
set InternalClient=192.168.1.21 Description=0123456789 123456789 123456789 123456789 123456789 123456789 123456789
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000' dest_ip='192.168.1.21' dest='lan' enabled='0' src_ip='198.51.100.7' dest_port='9000' proto+'udp' qrn_description='0123456789 123456789 123456789 123456789 123456789 123456789 123456789' name='0123456789 123456789 123456789 123456789 123456789 123456789'
set Description=0123456789 123456789 123456789 123456789 123456789 12345678 0 a
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000' dest_ip='192.168.1.21' dest='lan' enabled='0' src_ip='198.51.100.7' dest_port='9000' proto+'udp' qrn_description='0123456789 123456789 123456789 123456789 123456789 12345678 0 a' name='0123456789 123456789 123456789 123456789 123456789 12345678'
set Description=--a---b--
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='9000' dest_ip='192.168.1.21' dest='lan' enabled='0' src_ip='198.51.100.7' dest_port='9000' proto+'udp' qrn_description='--a---b--' name='a b'
Device.X_QRN_Firewall.PortForwarding.
get -> PortMappingNumberOfEntries=1 X_QRN_Instances="1"
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Delete=1
  firewall redirect @0 is gone
stored firewall redirect
set Enable=1 -> ! Enable: there is no instance 1
)");
}

TEST_F(Forwardings, WhatOthersWroteIsShownAndStaysAsItIs)
{
    play(R"(
config firewall config redirect\noption name 'Games & more'\noption src 'wan'\noption src_dport '3000:3009'\noption proto 'tcp udp'\noption dest_ip '192.168.1.30'
config firewall config redirect\noption target 'snat'\noption src 'wan'\noption src_dip '192.0.2.1'
config firewall config redirect\noption src 'lan'\noption src_dport '1-65535'
config firewall config redirect 'qrn_own_1'\noption src 'wan'\nconfig redirect 'dmz'\noption src 'wan'
config firewall config redirect 'nas'\noption src 'wan'\noption target 'dnat'\noption proto 'TCP'\noption src_dport '5000'\noption dest_port '5001'\noption dest_ip '192.0.2.99'\noption enabled '1'
Device.X_QRN_Firewall.PortForwarding.
get -> PortMappingNumberOfEntries=2 X_QRN_Instances="1,2"
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set RemoteHost= ExternalPort=3000 ExternalPortEndRange=3009 InternalPort=0 Description=Games & more Enable=1
  firewall redirect @0: name='Games & more' src='wan' src_dport='3000:3009' proto='tcp udp' dest_ip='192.168.1.30' qrn_index='1'
  firewall redirect nas: src='wan' target='dnat' proto='TCP' src_dport='5000' dest_port='5001' dest_ip='192.0.2.99' enabled='1' qrn_index='2'
  firewall redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="Games & more" RemoteHost="" ExternalPort=3000 ExternalPortEndRange=3009 InternalPort=0 Protocol="X_QRN_Both" InternalClient="192.168.1.30" Enable=1 Status="Enabled"
Device.X_QRN_Firewall.PortForwarding.2 = port forwarding [2]
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="" RemoteHost="" ExternalPort=5000 ExternalPortEndRange=0 InternalPort=5001 Protocol="TCP" InternalClient="192.0.2.99" Enable=1 Status="Error_Misconfigured"
set ExternalPort=3009 -> ! ExternalPort: port forwarding 1 takes port 3000 to 3009
set ExternalPort=3010
  firewall redirect nas: src='wan' target='dnat' proto='TCP' src_dport='3010' dest_port='5001' dest_ip='192.0.2.99' enabled='1' qrn_index='2'
Device.X_QRN_Firewall.PortForwarding.3 = port forwarding [3]
set X_QRN_Add=1 ExternalPort=3005 Protocol=UDP InternalClient=192.168.1.20
  firewall redirect @3: qrn_index='3' enabled='0' target='DNAT' src='wan' src_dport='3005' proto+'udp' dest_ip='192.168.1.20' dest='lan'
set Enable=1 -> ! Enable: port forwarding 1 takes port 3000 to 3009
set ExternalPort=2999 Enable=1
  firewall redirect @3: qrn_index='3' enabled='1' target='DNAT' src='wan' src_dport='2999' proto+'udp' dest_ip='192.168.1.20' dest='lan'
uci firewall.nas.src_dport=
set ExternalPort=4000
  firewall redirect @3: qrn_index='3' enabled='1' target='DNAT' src='wan' src_dport='4000' proto+'udp' dest_ip='192.168.1.20' dest='lan'
set ExternalPort=4000 Protocol=TCP -> ! ExternalPort: port forwarding 2 takes port 1 to 65535
uci firewall.nas.enabled=off
set ExternalPort=4000 Protocol=TCP
  firewall redirect @3: qrn_index='3' enabled='1' target='DNAT' src='wan' src_dport='4000' dest_ip='192.168.1.20' dest='lan' proto+'tcp'
remove /etc/config/firewall
set ExternalPort=4000 -> ! ExternalPort: firewall is not installed
)");
}

TEST_F(Forwardings, DifferentSendersOrProtocolsShareAPort)
{
    play(R"(
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Add=1 ExternalPort=80 Protocol=TCP InternalClient=192.168.1.20 RemoteHost=198.51.100.7 Enable=1
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_ip='198.51.100.7' src_dport='80' proto+'tcp' dest_ip='192.168.1.20' dest='lan' enabled='1'
Device.X_QRN_Firewall.PortForwarding.2 = port forwarding [2]
set X_QRN_Add=1 ExternalPort=80 Protocol=TCP InternalClient=192.168.1.21 RemoteHost=198.51.100.8 Enable=1
  firewall redirect @1: qrn_index='2' target='DNAT' src='wan' src_ip='198.51.100.8' src_dport='80' proto+'tcp' dest_ip='192.168.1.21' dest='lan' enabled='1'
Device.X_QRN_Firewall.PortForwarding.3 = port forwarding [3]
set X_QRN_Add=1 ExternalPort=80 Protocol=UDP InternalClient=192.168.1.22 Enable=1
  firewall redirect @2: qrn_index='3' target='DNAT' src='wan' src_dport='80' proto+'udp' dest_ip='192.168.1.22' dest='lan' enabled='1'
Device.X_QRN_Firewall.PortForwarding.4 = port forwarding [4]
set X_QRN_Add=1 ExternalPort=80 Protocol=X_QRN_Both InternalClient=192.168.1.23
  firewall redirect @3: qrn_index='4' enabled='0' target='DNAT' src='wan' src_dport='80' proto+'tcp' proto+'udp' dest_ip='192.168.1.23' dest='lan'
set Enable=1 -> ! Enable: port forwarding 1 takes port 80
set ExternalPort=81 Enable=1
  firewall redirect @3: qrn_index='4' enabled='1' target='DNAT' src='wan' src_dport='81' proto+'tcp' proto+'udp' dest_ip='192.168.1.23' dest='lan'
Device.X_QRN_Firewall.PortForwarding.2 = port forwarding [2]
set RemoteHost=198.51.100.0/24 -> ! RemoteHost: port forwarding 1 takes port 80
)");
}

TEST_F(Forwardings, TheWayInStaysTheRouters)
{
    play(R"(
Device.X_QRN_DMZ = dmz
set DestIP=192.168.1.50 Enable=1
  firewall redirect dmz: name='DMZ' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' dest_ip='192.168.1.50' dest='lan'
  firewall redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
Device.X_QRN_RemoteAccess.SSH
set Port=2222 WANAccess=1 WANSourcePrefix=198.51.100.0/24
  dropbear dropbear main: enable='1' PasswordAuth='on' RootPasswordAuth='on' Port='2222'
  firewall redirect qrn_own_2: src='wan' proto='tcp' src_dport='2222' src_ip='198.51.100.0/24' family='ipv4' target='DNAT'
  firewall rule qrn_ssh_wan: name='SSH from WAN' src='wan' proto='tcp' target='ACCEPT' enabled='1' dest_port='2222' src_ip='198.51.100.0/24'
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Add=1 ExternalPort=2200 ExternalPortEndRange=2300 Protocol=TCP InternalClient=192.168.1.20 Enable=1 -> ! ExternalPort: the router itself serves port 2222 on the WAN
set X_QRN_Add=1 ExternalPort=2222 Protocol=UDP InternalClient=192.168.1.20 Enable=1
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='2222' proto+'udp' dest_ip='192.168.1.20' dest='lan' enabled='1'
Device.X_QRN_RemoteAccess.SSH
set WANAccess=0
  firewall rule qrn_ssh_wan: name='SSH from WAN' src='wan' proto='tcp' target='ACCEPT' enabled='0' dest_port='2222' src_ip='198.51.100.0/24'
  firewall redirect qrn_own_2 is gone
Device.X_QRN_Firewall.PortForwarding.2 = port forwarding [2]
set X_QRN_Add=1 ExternalPort=2222 Protocol=TCP InternalClient=192.168.1.20 Enable=1
  firewall redirect @1: qrn_index='2' target='DNAT' src='wan' src_dport='2222' proto+'tcp' dest_ip='192.168.1.20' dest='lan' enabled='1'
Device.X_QRN_RemoteAccess.SSH
set WANAccess=1 -> ! WANAccess: port forwarding 2 takes port 2222
set WANAccess=1 Port=22
  dropbear dropbear main: enable='1' PasswordAuth='on' RootPasswordAuth='on' Port='22'
  firewall redirect qrn_own_2: src='wan' proto='tcp' src_dport='22' src_ip='198.51.100.0/24' family='ipv4' target='DNAT'
  firewall rule qrn_ssh_wan: name='SSH from WAN' src='wan' proto='tcp' target='ACCEPT' enabled='1' dest_port='22' src_ip='198.51.100.0/24'
set Port=2222 -> ! Port: port forwarding 2 takes port 2222
)");
}

TEST_F(Forwardings, WhatCannotBeForwardedIsRefused)
{
    play(R"(
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Add=1 ExternalPort=8000 ExternalPortEndRange=8010 Protocol=TCP InternalClient=192.168.1.20 Enable=1
  firewall redirect @0: qrn_index='1' target='DNAT' src='wan' src_dport='8000-8010' proto+'tcp' dest_ip='192.168.1.20' dest='lan' enabled='1'
set ExternalPort=0 -> ! ExternalPort: all ports together are the business of the DMZ
set ExternalPort=65536 -> ! ExternalPort: 65536 is not 0 to 65535
set ExternalPort=8011 -> ! ExternalPort: the range ends before it begins
set ExternalPortEndRange=7999 -> ! ExternalPortEndRange: the range ends before it begins
set InternalPort=80 -> ! InternalPort: a range keeps its ports: InternalPort is 0 or ExternalPort
set Protocol=tcp -> ! Protocol: 'tcp' is not one of TCP|UDP|X_QRN_Both
set RemoteHost=host.example.net or RemoteHost=192.0.2.1/33 or RemoteHost=2001:db8::1 -> ! RemoteHost: it is neither an IPv4 address nor a prefix of some
set RemoteHost=192.168.100.100/32x -> ! RemoteHost: it has 19 characters, not at most 18
set InternalClient=192.0.2.1 -> ! InternalClient: 192.0.2.1 is no address in a zone of the router
set InternalClient=192.168.1.0 -> ! InternalClient: 192.168.1.0 is no address in a zone of the router
set InternalClient=192.168.1.255 -> ! InternalClient: 192.168.1.255 is no address in a zone of the router
set InternalClient=192.168.1.1 -> ! InternalClient: it is the address of the router
set InternalClient=192.168.1.2x -> ! InternalClient: '192.168.1.2x' is no IPv4 address
set InternalClient= -> ! InternalClient: it is empty
set Description=a\nb -> ! Description: 'a?b' is a text with control characters
Device.X_QRN_Firewall.PortForwarding.2 = port forwarding [2]
set X_QRN_Add=1 ExternalPort=80 Protocol=TCP -> ! X_QRN_Add: a new instance needs InternalClient
set X_QRN_Add=1 ExternalPort=80 InternalClient=192.168.1.20 -> ! X_QRN_Add: a new instance needs Protocol
set X_QRN_Add=1 Protocol=TCP InternalClient=192.168.1.20 -> ! X_QRN_Add: a new instance needs ExternalPort
set X_QRN_Add=1 ExternalPort=8010 Protocol=X_QRN_Both InternalClient=192.168.1.21 Enable=1 -> ! ExternalPort: port forwarding 1 takes port 8000 to 8010
set X_QRN_Add=1 ExternalPort=68 Protocol=UDP InternalClient=192.168.1.21 Enable=1 -> ! ExternalPort: the router itself serves port 68 on the WAN
set X_QRN_Add=1 ExternalPort=60 ExternalPortEndRange=67 Protocol=UDP InternalClient=192.168.1.21 Enable=1
  firewall redirect @1: qrn_index='2' target='DNAT' src='wan' src_dport='60-67' proto+'udp' dest_ip='192.168.1.21' dest='lan' enabled='1'
set Enable=1
program /etc/init.d/firewall
Device.X_QRN_Firewall.PortForwarding.
commit
  commit firewall
service reload
  run /etc/init.d/firewall reload
program /sbin/fw4 exit 1
service reload
  run /sbin/fw4 check
  ! the firewall would not load its rules
)");
}

TEST_F(Forwardings, PortsAreTriggeredForWhoeverReadsThat)
{
    play(R"(
Device.X_QRN_Firewall.PortTriggering.1 = port trigger [1]
set X_QRN_Add=1 Port=6660 PortEndRange=6669 Protocol=TCP RulePort=113 Description=chat AutoDisableDuration=600 Enable=1
  firewall trigger @0: qrn_index='1' description='chat' port='6660' port_end_range='6669' protocol='tcp' auto_disable_duration='600' rule_port='113' enable='1'
get -> X_QRN_Add=0 X_QRN_Delete=0 Description="chat" Port=6660 PortEndRange=6669 Protocol="TCP" AutoDisableDuration=600 RulePort=113 RulePortEndRange=0 RuleProtocol="X_QRN_Both" Enable=1 Status="Error"
set RulePortEndRange=120 RuleProtocol=TCP AutoDisableDuration=0
  firewall trigger @0: qrn_index='1' description='chat' port='6660' port_end_range='6669' protocol='tcp' auto_disable_duration='0' rule_port='113' enable='1' rule_port_end_range='120' rule_protocol='tcp'
get RulePortEndRange RuleProtocol AutoDisableDuration -> RulePortEndRange=120 RuleProtocol="TCP" AutoDisableDuration=0
set Port=0 -> ! Port: 0 is not 1 to 65535
set RulePort=0 -> ! RulePort: 0 is not 1 to 65535
set PortEndRange=65536 -> ! PortEndRange: 65536 is not 0 to 65535
set PortEndRange=6659 -> ! PortEndRange: the range ends before it begins
set RulePortEndRange=1 -> ! RulePortEndRange: the range ends before it begins
set RulePort=60 RulePortEndRange=70 RuleProtocol=UDP -> ! RulePort: the router itself serves port 68 on the WAN
set RulePort=69 RulePortEndRange=70 RuleProtocol=UDP
  firewall trigger @0: qrn_index='1' description='chat' port='6660' port_end_range='6669' protocol='tcp' auto_disable_duration='0' rule_port='69' enable='1' rule_port_end_range='70' rule_protocol='udp'
program /etc/init.d/qrnporttrigger
get Status -> Status="Enabled"
Device.X_QRN_Firewall.PortTriggering.2 = port trigger [2]
set X_QRN_Add=1 Port=80 Protocol=TCP -> ! X_QRN_Add: a new instance needs RulePort
set X_QRN_Add=1 Port=80 RulePort=80 -> ! X_QRN_Add: a new instance needs Protocol
set X_QRN_Add=1 Port=6669 Protocol=TCP RulePort=114
  firewall trigger @1: qrn_index='2' enable='0' port='6669' protocol='tcp' rule_port='114'
set Enable=1 -> ! Enable: port trigger 1 waits for such a port already
get Status Protocol -> Status="Disabled" Protocol="TCP"
set PortEndRange=0 AutoDisableDuration=0 RulePortEndRange=0 RuleProtocol=X_QRN_Both Enable=0
set Port=6670 Enable=1
  firewall trigger @1: qrn_index='2' enable='1' port='6670' protocol='tcp' rule_port='114'
Device.X_QRN_Firewall.PortTriggering.3 = port trigger [3]
set X_QRN_Add=1 Port=6660 Protocol=UDP RulePort=114 Enable=1
  firewall trigger @2: qrn_index='3' port='6660' protocol='udp' rule_port='114' enable='1'
set Protocol=X_QRN_Both -> ! Protocol: port trigger 1 waits for such a port already
set Protocol=X_QRN_Both Port=6659
  firewall trigger @2: qrn_index='3' port='6659' protocol='tcpudp' rule_port='114' enable='1'
Device.X_QRN_Firewall.PortTriggering.
get -> PortTriggerNumberOfEntries=3 X_QRN_Instances="1,2,3"
Device.X_QRN_Firewall.PortTriggering.1 = port trigger [1]
set X_QRN_Delete=1
  firewall trigger @0: qrn_index='2' enable='1' port='6670' protocol='tcp' rule_port='114'
  firewall trigger @1: qrn_index='3' port='6659' protocol='tcpudp' rule_port='114' enable='1'
  firewall trigger @2 is gone
set Enable=0 -> ! Enable: there is no instance 1
)");
}

TEST_F(Forwardings, TheDmzGetsTheRestAndTheRouterKeepsWhatItServes)
{
    play(R"(
Device.X_QRN_DMZ = dmz
get -> Description="" SourcePrefix="" DestIP="" Enable=0 Status="Disabled"
set Enable=0 DestIP= SourcePrefix= Description=
set DestIP=192.168.1.50 SourcePrefix=198.51.100.0/24 Description=Spiele-Konsole
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='0' qrn_description='Spiele-Konsole' src_ip='198.51.100.0/24' qrn_dest_ip='192.168.1.50'
get -> Description="Spiele-Konsole" SourcePrefix="198.51.100.0/24" DestIP="192.168.1.50" Enable=0 Status="Disabled"
config firewall config rule 'fine'\noption src '*'\nlist src_ip '203.0.113.5'\nlist src_ip '203.0.113.64/26'\nlist src_ip '2001:db8::/32'\noption dest_port '8443 9000-9009'\noption target 'accept'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7000'\noption limit '3/minute'\noption target 'ACCEPT'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7001'\noption dest 'lan'\noption target 'ACCEPT'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7002'\noption enabled '0'\noption target 'ACCEPT'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7003'\noption family 'ipv6'\noption target 'ACCEPT'
config firewall config rule\noption src 'lan'\noption proto 'tcp'\noption dest_port '7004'\noption target 'ACCEPT'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7005'\noption target 'DROP'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7006'\noption target 'ACCEPT'\noption enabled '1'
config firewall config rule\noption src 'wan'\noption proto 'tcp'\noption dest_port '7007'\noption target 'ACCEPT'\noption src_port '1'
config firewall config redirect 'after'\noption src 'lan'
set Enable=1
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' qrn_description='Spiele-Konsole' src_ip='198.51.100.0/24' dest_ip='192.168.1.50' dest='lan'
  firewall redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
  firewall redirect qrn_own_2: src='wan' proto='tcpudp' src_dport='8443' src_ip='203.0.113.5' family='ipv4' target='DNAT'
  firewall redirect qrn_own_3: src='wan' proto='tcpudp' src_dport='8443' src_ip='203.0.113.64/26' family='ipv4' target='DNAT'
  firewall redirect qrn_own_4: src='wan' proto='tcpudp' src_dport='9000-9009' src_ip='203.0.113.5' family='ipv4' target='DNAT'
  firewall redirect qrn_own_5: src='wan' proto='tcpudp' src_dport='9000-9009' src_ip='203.0.113.64/26' family='ipv4' target='DNAT'
  firewall redirect qrn_own_6: src='wan' proto='tcp' src_dport='7006' family='ipv4' target='DNAT'
stored firewall redirect
  redirect after: src='lan'
  redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
  redirect qrn_own_2: src='wan' proto='tcpudp' src_dport='8443' src_ip='203.0.113.5' family='ipv4' target='DNAT'
  redirect qrn_own_3: src='wan' proto='tcpudp' src_dport='8443' src_ip='203.0.113.64/26' family='ipv4' target='DNAT'
  redirect qrn_own_4: src='wan' proto='tcpudp' src_dport='9000-9009' src_ip='203.0.113.5' family='ipv4' target='DNAT'
  redirect qrn_own_5: src='wan' proto='tcpudp' src_dport='9000-9009' src_ip='203.0.113.64/26' family='ipv4' target='DNAT'
  redirect qrn_own_6: src='wan' proto='tcp' src_dport='7006' family='ipv4' target='DNAT'
  redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' qrn_description='Spiele-Konsole' src_ip='198.51.100.0/24' dest_ip='192.168.1.50' dest='lan'
get -> Description="Spiele-Konsole" SourcePrefix="198.51.100.0/24" DestIP="192.168.1.50" Enable=1 Status="Enabled"
set DestIP= -> ! DestIP: it needs the address of a client
set DestIP=192.168.1.51 SourcePrefix=
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' qrn_description='Spiele-Konsole' dest_ip='192.168.1.51' dest='lan'
uci firewall.fine.target=DROP
program /etc/init.d/firewall
commit
  commit firewall
stored firewall redirect
  redirect after: src='lan'
  redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
  redirect qrn_own_2: src='wan' proto='tcp' src_dport='7006' family='ipv4' target='DNAT'
  redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' qrn_description='Spiele-Konsole' dest_ip='192.168.1.51' dest='lan'
service restart
  run /etc/init.d/firewall restart
uci network.lan.ipaddr=192.168.9.1
get Status -> Status="Error_Misconfigured"
set Enable=0
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='0' qrn_description='Spiele-Konsole' qrn_dest_ip='192.168.1.51'
  firewall redirect qrn_own_1 is gone
  firewall redirect qrn_own_2 is gone
set Enable=1 -> ! Enable: 192.168.1.51 is no address in a zone of the router
set DestIP=192.168.9.5 Enable=1
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' enabled='1' qrn_description='Spiele-Konsole' dest_ip='192.168.9.5' dest='lan'
  firewall redirect qrn_own_1: src='wan' proto='udp' src_dport='68' family='ipv4' target='DNAT'
  firewall redirect qrn_own_2: src='wan' proto='tcp' src_dport='7006' family='ipv4' target='DNAT'
uci firewall.dmz.enabled=
get Enable -> Enable=1
set Enable=0
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' qrn_description='Spiele-Konsole' qrn_dest_ip='192.168.9.5' enabled='0'
  firewall redirect qrn_own_1 is gone
  firewall redirect qrn_own_2 is gone
stored firewall redirect
  redirect after: src='lan'
  redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' qrn_description='Spiele-Konsole' qrn_dest_ip='192.168.9.5' enabled='0'
set DestIP=192.168.9.6
  firewall redirect dmz: name='Spiele Konsole' target='DNAT' src='wan' proto='all' family='ipv4' qrn_description='Spiele-Konsole' qrn_dest_ip='192.168.9.6' enabled='0'
set DestIP= Description=x
  firewall redirect dmz: name='x' target='DNAT' src='wan' proto='all' family='ipv4' qrn_description='x' enabled='0'
Device.X_QRN_Firewall.PortForwarding.1 = port forwarding [1]
set X_QRN_Add=1 ExternalPort=8080 Protocol=TCP InternalClient=192.168.9.20
  firewall redirect @0: qrn_index='1' enabled='0' target='DNAT' src='wan' src_dport='8080' proto+'tcp' dest_ip='192.168.9.20' dest='lan'
stored firewall redirect
  redirect after: src='lan'
  redirect @0: qrn_index='1' enabled='0' target='DNAT' src='wan' src_dport='8080' proto+'tcp' dest_ip='192.168.9.20' dest='lan'
  redirect dmz: name='x' target='DNAT' src='wan' proto='all' family='ipv4' qrn_description='x' enabled='0'
)");
}

TEST_F(Forwardings, TheDmzIsOfAClientAndItsSectionIsOurs)
{
    play(R"(
Device.X_QRN_DMZ = dmz
set Enable=1 -> ! Enable: it needs the address of a client
set DestIP=192.168.1.1 -> ! DestIP: it is the address of the router
set DestIP=192.0.2.7 -> ! DestIP: 192.0.2.7 is no address in a zone of the router
set DestIP=192.168.1.0 -> ! DestIP: 192.168.1.0 is no address in a zone of the router
set DestIP=host -> ! DestIP: 'host' is no IPv4 address
set DestIP= Enable=1 -> ! DestIP: it needs the address of a client
set SourcePrefix=198.51.100.7 -> ! SourcePrefix: '198.51.100.7' is no address with a prefix length
set SourcePrefix=2001:db8::/32 -> ! SourcePrefix: it is no prefix of IPv4 addresses
set Status=Enabled -> ! Status: it cannot be set
config firewall config zone 'dmz'\noption name 'dmz'
set DestIP=192.168.1.50 Enable=1 -> ! DestIP: the firewall has a section "dmz" that is another
set SourcePrefix=198.51.100.0/24 -> ! SourcePrefix: the firewall has a section "dmz" that is another
set Description=x -> ! Description: the firewall has a section "dmz" that is another
get Enable -> Enable=0
remove /etc/config/firewall
set DestIP=192.168.1.50 -> ! DestIP: firewall is not installed
get -> Description="" SourcePrefix="" DestIP="" Enable=0 Status="Disabled"
)");
    // Others change rules as well; each step of what follows from that may fail.
    put("firewall",
        "config redirect 'dmz'\n\toption enabled '1'\n\toption src 'wan'\nconfig redirect 'qrn_own_1'\n"
        "config redirect 'qrn_own_2'\nconfig rule\n\toption src 'wan'\n\toption target 'ACCEPT'\n"
        "\toption dest_port '5'\n\toption proto 'udp'\n");
    for (const char* step : {"begin firewall", "set firewall.qrn_own_1.proto", "delete firewall.qrn_own_2",
                             "keep", "commit firewall"}) {
        outside().uci_codes = {{step, uint32_t{EIO}}};
        EXPECT_NE(send("Device.X_QRN_DMZ", kCommit, "{}"), Succeeds()) << step;
    }
    EXPECT_EQ(send("Device.X_QRN_DMZ", kCommit, "null"), Fails(EINVAL));
}
