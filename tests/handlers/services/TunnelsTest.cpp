// SPDX-License-Identifier: Apache-2.0
// Tunnels: what the network daemon, the firewall and the programs of each get to read.
#include "support/Script.h"

using namespace test;

namespace
{

class Tunnels : public ScriptTest
{
  protected:
    void SetUp() override
    {
        ScriptTest::SetUp();
        outside().programs["ubus"] = "cat /tmp/ubus/$2 2>/tmp/none";
    }
};

} // namespace

TEST_F(Tunnels, PppTunnelsAreInterfacesInTheZoneOfTheWan)
{
    play(R"(
Device.X_QRN_VPN.1 = PPTP
get -> Server="" Username="" Password="" MTU=1500 DefaultRoute=0 Encryption="Required" Enable=0 Status="Disabled" IPAddress="" UpTime=0
set Enable=0 MTU=1500 Encryption=Required DefaultRoute=0
set Enable=1 -> ! Enable: it needs a server and a user name
set Server=vpn.example.net Enable=1 -> ! Server: it needs a server and a user name
set Server=vpn.example.net Username=anna Password=ge heim MTU=1400 Encryption=Off
  network interface vpn1: server='vpn.example.net' username='anna' password='ge heim' mtu='1400' pppd_options='nomppe' disabled='1' proto='pptp' defaultroute='0'
set Enable=1 Encryption=Required DefaultRoute=1
  firewall zone @1: name='wan' input='REJECT' output='ACCEPT' forward='REJECT' masq='1' mtu_fix='1' network+'wan' network+'vpn1'
  network interface vpn1: server='vpn.example.net' username='anna' password='ge heim' mtu='1400' disabled='0' proto='pptp' defaultroute='1'
get
  run ubus call network.interface.vpn1 status
  Server="vpn.example.net" Username="anna" Password="" MTU=1400 DefaultRoute=1 Encryption="Required" Enable=1 Status="Error" IPAddress="" UpTime=0
set Server= -> ! Server: it needs a server and a user name
set Username= -> ! Username: it needs a server and a user name
set Username=berta Password= -> ! Username: another user name needs its password
set Username=anna Password= MTU=1300
  network interface vpn1: server='vpn.example.net' username='anna' password='ge heim' mtu='1300' disabled='0' proto='pptp' defaultroute='1'
set Username=berta Password=neu
  network interface vpn1: server='vpn.example.net' username='berta' password='neu' mtu='1300' disabled='0' proto='pptp' defaultroute='1'
set Username=a\"b or Username=a'b -> ! Username: it has a quote or a backslash
set Password=a'b or Password=a\\b or Password=a\"b -> ! Password: it has a quote or a backslash
set Server=http://x -> ! Server: 'http://x' is neither a host name nor an address
set MTU=575 -> ! MTU: 575 is not 576 to 1500
set MTU=1501 -> ! MTU: 1501 is not 576 to 1500
set Encryption=Maybe -> ! Encryption: 'Maybe' is not one of Required|Off
set Status=Up -> ! Status: it cannot be set
file /tmp/ubus/network.interface.vpn1 {"up":false,"pending":true}
get Status UpTime
  run ubus call network.interface.vpn1 status
  Status="Connecting" UpTime=0
file /tmp/ubus/network.interface.vpn1 {"up":true,"uptime":61,"ipv4-address":[{"address":"10.9.0.2","mask":32}]}
get Status IPAddress UpTime
  run ubus call network.interface.vpn1 status
  Status="Up" IPAddress="10.9.0.2" UpTime=61
file /tmp/ubus/network.interface.vpn1 {"up":false,"uptime":61}
get Status IPAddress UpTime
  run ubus call network.interface.vpn1 status
  Status="Error" IPAddress="" UpTime=0
set Enable=0 Username=
  network interface vpn1: server='vpn.example.net' mtu='1300' disabled='1' proto='pptp' defaultroute='1'
uci network.vpn1.disabled=on
get Enable Status -> Enable=0 Status="Disabled"
uci network.vpn1.disabled=
get Enable Status
  run ubus call network.interface.vpn1 status
  Enable=1 Status="Error"
set MTU=1301
  network interface vpn1: server='vpn.example.net' mtu='1301' proto='pptp' defaultroute='1' disabled='0'
Device.X_QRN_VPN.2 = L2TP
set Enable=0 MTU=1500 DefaultRoute=0
set Username=anna Password=geheim Server=192.0.2.9 Enable=1
  firewall zone @1: name='wan' input='REJECT' output='ACCEPT' forward='REJECT' masq='1' mtu_fix='1' network+'wan' network+'vpn1' network+'vpn2'
  network interface vpn2: server='192.0.2.9' username='anna' password='geheim' disabled='0' proto='l2tp' defaultroute='0'
get
  run ubus call network.interface.vpn2 status
  Server="192.0.2.9" Username="anna" Password="" MTU=1500 DefaultRoute=0 Enable=1 Status="Error" IPAddress="" UpTime=0
remove /etc/config/firewall
set Enable=0 or Enable=1 -> ! Enable: firewall is not installed
)");
}

TEST_F(Tunnels, IpsecHasItsSectionsForBothKindsOfScripts)
{
    play(R"(
Device.X_QRN_VPN.3 = IPsec
get -> RemoteGateway="" LocalSubnet="" RemoteSubnet="" PreSharedKey="" LocalID="" RemoteID="" IKEVersion="2" Encryption="aes256" Integrity="sha256" DHGroup="modp2048" Lifetime=28800 Enable=0 Status="Disabled"
set RemoteGateway= LocalSubnet= PreSharedKey= LocalID= IKEVersion=2 Encryption=aes256 Integrity=sha256 DHGroup=modp2048 Lifetime=28800 Enable=0
set RemoteGateway=gate.example.net LocalSubnet=192.168.1.0/24 RemoteSubnet=10.1.0.0/16 PreSharedKey=ge$heim LocalID=@home RemoteID=gate@example.net IKEVersion=1 Enable=1
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.0.0/16' enabled='1'
  ipsec crypto_proposal vpn3_esp: encryption_algorithm='aes256' dh_group='modp2048' hash_algorithm='sha256'
  ipsec crypto_proposal vpn3_ike: encryption_algorithm='aes256' dh_group='modp2048' hash_algorithm='sha256'
  ipsec remote vpn3: gateway='gate.example.net' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='1' authentication_method='psk' rekeytime='28800s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'gate.example.net'
  ipsec tunnel vpn3_net: local_subnet+'192.168.1.0/24' remote_subnet+'10.1.0.0/16' mode='route' startaction='route' keyexchange='ikev1' lifetime='28800s' rekeytime='25920s' crypto_proposal+'vpn3_esp'
get -> RemoteGateway="gate.example.net" LocalSubnet="192.168.1.0/24" RemoteSubnet="10.1.0.0/16" PreSharedKey="" LocalID="@home" RemoteID="gate@example.net" IKEVersion="1" Encryption="aes256" Integrity="sha256" DHGroup="modp2048" Lifetime=28800 Enable=1 Status="Connecting"
set Integrity=sha384 DHGroup=curve25519 Lifetime=3600 Enable=0
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.0.0/16' enabled='0'
  ipsec crypto_proposal vpn3_esp: encryption_algorithm='aes256' dh_group='curve25519' hash_algorithm='sha384' qrn_hash_algorithm='sha384'
  ipsec crypto_proposal vpn3_ike: encryption_algorithm='aes256' dh_group='curve25519' hash_algorithm='sha384'
  ipsec remote vpn3: gateway='gate.example.net' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='0' authentication_method='psk' rekeytime='3600s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'gate.example.net'
  ipsec tunnel vpn3_net: local_subnet+'192.168.1.0/24' remote_subnet+'10.1.0.0/16' mode='route' startaction='route' keyexchange='ikev1' lifetime='3600s' rekeytime='3240s' crypto_proposal+'vpn3_esp'
set Encryption=aes256gcm16
  ipsec crypto_proposal vpn3_esp: encryption_algorithm='aes256gcm16' dh_group='curve25519' qrn_hash_algorithm='sha384'
  ipsec crypto_proposal vpn3_ike: encryption_algorithm='aes256gcm16' dh_group='curve25519' prf_algorithm='prfsha384'
get Encryption Integrity -> Encryption="aes256gcm16" Integrity="sha384"
set Encryption=aes128 DHGroup=ecp256
  ipsec crypto_proposal vpn3_esp: encryption_algorithm='aes128' dh_group='ecp256' qrn_hash_algorithm='sha384' hash_algorithm='sha384'
  ipsec crypto_proposal vpn3_ike: encryption_algorithm='aes128' dh_group='ecp256' hash_algorithm='sha384'
set Enable=1
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.0.0/16' enabled='1'
  ipsec remote vpn3: gateway='gate.example.net' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='1' authentication_method='psk' rekeytime='3600s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'gate.example.net'
set RemoteGateway= -> ! RemoteGateway: it needs a gateway, both networks and a key
set LocalSubnet= -> ! LocalSubnet: it needs a gateway, both networks and a key
set RemoteSubnet= -> ! RemoteSubnet: it needs a gateway, both networks and a key
set PreSharedKey=
set RemoteSubnet=10.1.1.1/32
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.1.1/32' enabled='1'
  ipsec tunnel vpn3_net: local_subnet+'192.168.1.0/24' mode='route' startaction='route' keyexchange='ikev1' lifetime='3600s' rekeytime='3240s' crypto_proposal+'vpn3_esp' remote_subnet+'10.1.1.1/32'
set RemoteSubnet=0.0.0.0/0 LocalSubnet= -> ! LocalSubnet: the remote network overlaps that of loopback
set RemoteSubnet= Enable=0
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.1.1/32' enabled='0'
  ipsec remote vpn3: gateway='gate.example.net' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='0' authentication_method='psk' rekeytime='3600s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'gate.example.net'
  ipsec tunnel vpn3_net: local_subnet+'192.168.1.0/24' mode='route' startaction='route' keyexchange='ikev1' lifetime='3600s' rekeytime='3240s' crypto_proposal+'vpn3_esp'
set LocalSubnet=0.0.0.0/0
  ipsec tunnel vpn3_net: mode='route' startaction='route' keyexchange='ikev1' lifetime='3600s' rekeytime='3240s' crypto_proposal+'vpn3_esp' local_subnet+'0.0.0.0/0'
set RemoteSubnet=10.0.0.0/8 LocalSubnet=10.1.0.0/16 or RemoteSubnet=10.0.0.0/8 LocalSubnet=10.0.0.0/8 -> ! LocalSubnet: the two networks overlap
set RemoteSubnet=192.168.0.0/16 or RemoteSubnet=0.0.0.0/0 -> ! RemoteSubnet: the two networks overlap
set LocalSubnet= RemoteSubnet=192.168.1.128/25 -> ! LocalSubnet: the remote network overlaps that of lan
set LocalSubnet=192.168.1.1/24 -> ! LocalSubnet: it is no IPv4 network such as 10.1.0.0/16
set LocalSubnet=192.168.1.0 -> ! LocalSubnet: '192.168.1.0' is no address with a prefix length
set LocalSubnet=192.168.1.0/33 -> ! LocalSubnet: '192.168.1.0/33' is no address with a prefix length
set LocalSubnet=2001:db8::/32 -> ! LocalSubnet: it is no IPv4 network such as 10.1.0.0/16
set PreSharedKey=0xabcdef or PreSharedKey=0sabcdef or PreSharedKey=a}b or PreSharedKey=a\"b or PreSharedKey=a\\b or PreSharedKey=a'b or PreSharedKey=a#b -> ! PreSharedKey: it begins with 0x or 0s, or has a blank, a quote, a '#', a '}' or a backslash
set LocalID=a b or LocalID=a#b -> ! LocalID: it has a blank, a quote, a '#' or a backslash
set RemoteID={a or RemoteID=a;b or RemoteID=a%b -> ! RemoteID: it has a mark that no name or address has
set Encryption=aes256gcm16 Integrity=sha384 -> ! Integrity: aes256gcm16 takes no integrity of its own
set Encryption=3des -> ! Encryption: '3des' is not one of aes128|aes256|aes256gcm16
set Integrity=md5 -> ! Integrity: 'md5' is not one of sha256|sha384
set DHGroup=modp1024 -> ! DHGroup: 'modp1024' is not one of modp2048|ecp256|curve25519
set IKEVersion=3 -> ! IKEVersion: '3' is not one of 2|1
set Lifetime=299 -> ! Lifetime: 299 is not 300 to 604800
set Lifetime=604801 -> ! Lifetime: 604801 is not 300 to 604800
set Lifetime=604800
  ipsec remote vpn3: gateway='gate.example.net' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='0' authentication_method='psk' rekeytime='604800s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'gate.example.net'
  ipsec tunnel vpn3_net: mode='route' startaction='route' keyexchange='ikev1' lifetime='604800s' rekeytime='544320s' crypto_proposal+'vpn3_esp' local_subnet+'0.0.0.0/0'
uci ipsec.vpn3_net.lifetime=8h
get Lifetime -> Lifetime=28800
uci ipsec.vpn3_net.lifetime=90m
get Lifetime -> Lifetime=5400
uci ipsec.vpn3_net.lifetime=2d
get Lifetime -> Lifetime=172800
uci ipsec.vpn3_net.lifetime=7200
get Lifetime -> Lifetime=7200
uci ipsec.vpn3_esp.hash_algorithm=sha384
uci ipsec.vpn3_esp.qrn_hash_algorithm=
get Integrity -> Integrity="sha384"
set Enable=1 RemoteGateway=192.0.2.1 RemoteSubnet=10.1.0.0/16 LocalSubnet=192.168.1.0/24 Lifetime=7200
  firewall nat qrn_ipsec: name='IPsec' src='wan' proto='all' target='ACCEPT' src_ip='192.168.1.0/24' dest_ip='10.1.0.0/16' enabled='1'
  ipsec crypto_proposal vpn3_esp: encryption_algorithm='aes128' dh_group='ecp256' hash_algorithm='sha384' qrn_hash_algorithm='sha384'
  ipsec remote vpn3: gateway='192.0.2.1' pre_shared_key='ge$heim' local_identifier='@home' remote_identifier='gate@example.net' keyexchange='ikev1' enabled='1' authentication_method='psk' rekeytime='7200s' crypto_proposal+'vpn3_ike' tunnel+'vpn3_net' remote_addrs+'192.0.2.1'
  ipsec tunnel vpn3_net: mode='route' startaction='route' keyexchange='ikev1' lifetime='7200s' rekeytime='6480s' crypto_proposal+'vpn3_esp' local_subnet+'192.168.1.0/24' remote_subnet+'10.1.0.0/16'
program /etc/init.d/swanctl
program swanctl cat /tmp/sas
get Status
  run swanctl --list-sas --raw --ike vpn3
  Status="Connecting"
file /tmp/sas list-sa event {vpn3 {state=ESTABLISHED established=90 child-sas {vpn3_net-1 {state=INSTALLED}}}}
get Status
  run swanctl --list-sas --raw --ike vpn3
  Status="Up"
remove /etc/init.d/swanctl
get Status -> Status="Connecting"
program ipsec cat /tmp/sas
get Status
  run ipsec status vpn3
  Status="Up"
remove /etc/config/ipsec
get -> RemoteGateway="" LocalSubnet="" RemoteSubnet="" PreSharedKey="" LocalID="" RemoteID="" IKEVersion="2" Encryption="aes256" Integrity="sha256" DHGroup="modp2048" Lifetime=28800 Enable=0 Status="Disabled"
set Lifetime=600 -> ! Lifetime: ipsec is not installed
)");
}

TEST_F(Tunnels, OpenVpnGetsItsFileWithItsServiceAndRunsNoPrograms)
{
    play(R"(
Device.X_QRN_VPN.4 = OpenVPN
get -> Username="" Password="" ConfigurationFile="" Enable=0 Status="Disabled" IPAddress="" UpTime=0
set Enable=1 -> ! Enable: it needs a configuration file
set Enable=0
set Username=anna
  network interface vpn4: proto='none' device='vpn4' disabled='1'
  openvpn openvpn vpn4: username='anna' config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='0'
set Username=berta Password=geheim
  openvpn openvpn vpn4: username='berta' config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='0' password='geheim'
set Username=anna -> ! Username: another user name needs its password
set Username=
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='0'
set Username=anna Password=geheim ConfigurationFile=client\nremote vpn.example.net 1194 udp\n<ca>\nQUJD\n</ca> Enable=1
  firewall zone @1: name='wan' input='REJECT' output='ACCEPT' forward='REJECT' masq='1' mtu_fix='1' network+'wan' network+'vpn4'
  network interface vpn4: proto='none' device='vpn4' disabled='0'
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='1' username='anna' password='geheim'
set ConfigurationFile=
program /etc/init.d/network
program /etc/init.d/firewall
program /etc/init.d/openvpn
commit
  commit openvpn
  commit network
  commit firewall
service restart
  run /etc/init.d/network restart
  run /etc/init.d/firewall restart
  run /etc/init.d/openvpn restart
uci openvpn.vpn4.script_security=2
set Enable=1
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='1' username='anna' password='geheim'
get
  run ubus call network.interface.vpn4 status
  Username="anna" Password="" ConfigurationFile="" Enable=1 Status="Error" IPAddress="" UpTime=0
file /tmp/ubus/network.interface.vpn4 {"up":true,"uptime":5}
get Status IPAddress UpTime
  run ubus call network.interface.vpn4 status
  Status="Connecting" IPAddress="" UpTime=5
file /tmp/ubus/network.interface.vpn4 {"up":true,"ipv4-address":[{"address":"10.8.0.2"}]}
get Status IPAddress UpTime
  run ubus call network.interface.vpn4 status
  Status="Up" IPAddress="10.8.0.2" UpTime=0
set ConfigurationFile=client -> ! ConfigurationFile: it names no remote
set ConfigurationFile=client\nremote a\nup /bin/sh -> ! ConfigurationFile: line 3: it has a directive that is not taken
set Username=a\"b -> ! Username: it has a quote or a backslash
set Password=a'b -> ! Password: it has a quote or a backslash
set Enable=0
  network interface vpn4: proto='none' device='vpn4' disabled='1'
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='0' username='anna' password='geheim'
remove /etc/openvpn
set Enable=1 -> ! Enable: it needs a configuration file
set Enable=1 ConfigurationFile=client\nremote a
  network interface vpn4: proto='none' device='vpn4' disabled='0'
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='1' username='anna' password='geheim'
set Enable=0
  network interface vpn4: proto='none' device='vpn4' disabled='1'
  openvpn openvpn vpn4: config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun' enabled='0' username='anna' password='geheim'
uci firewall.@zone[1].name=upstream
set Enable=1 -> ! Enable: the firewall has no zone of the WAN
uci firewall.@zone[1].name=wan
remove /etc/config/openvpn
set Username=berta Password=neu -> ! Username: openvpn is not installed
set Enable=1 -> ! Enable: openvpn is not installed
get Enable -> Enable=0
commit
  commit network
  commit firewall
)");
    const FakeFolder share{"/usr/share"};
    play(R"(
file /usr/share/openvpn/x y
get Enable -> Enable=0
uci network.vpn4.disabled=1
set Username=carl Password=neu
  network interface vpn4: proto='openvpn' device='vpn4' disabled='1' username='carl' password='neu' config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun'
set Enable=1
  network interface vpn4: proto='openvpn' device='vpn4' disabled='0' username='carl' password='neu' config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun'
get Username Enable -> Username="carl" Enable=1
set Enable=0
  network interface vpn4: proto='openvpn' device='vpn4' disabled='1' username='carl' password='neu' config='/etc/openvpn/vpn4.ovpn' script_security='1' dev='vpn4' dev_type='tun'
)");
}

TEST_F(Tunnels, AFileThatCannotBeUsedIsNone)
{
    constexpr const char* kFile = "ConfigurationFile=client\\nremote a\\n";
    std::filesystem::create_directories("/etc/openvpn/vpn4.ovpn/in the way");
    EXPECT_EQ(change("Device.X_QRN_VPN.4", kFile), "");
    outside().logs.clear();
    EXPECT_EQ(send("Device.X_QRN_VPN", kService, R"({"action":"restart"})"), Fails(EFAULT));
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] the file of OpenVPN is not replaced, error 21\n"}));
    std::filesystem::remove_all("/etc/openvpn");
    write_file("/etc/openvpn", "");
    outside().logs.clear();
    EXPECT_EQ(change("Device.X_QRN_VPN.4", kFile), "ConfigurationFile: the file could not be stored");
    EXPECT_EQ(outside().logs.front(), (LogLine{3, "[E] the file is not stored, error 20\n"}));
}

TEST_F(Tunnels, GreHasAnAddressOfItsOwnAndGreTapJoinsTheBridgeOfAZone)
{
    play(R"(
Device.X_QRN_VPN.5 = GRE
get -> RemoteAddress="" LocalAddress="" Key="" TTL=64 MTU=1280 TunnelIPAddress="" TunnelSubnetMask="" Enable=0 Status="Disabled"
set TTL=64 MTU=1280 Key= Enable=0
set Enable=1 -> ! Enable: it needs a remote address
set RemoteAddress=192.0.2.5 LocalAddress=203.0.113.17 Key=4294967295 TTL=32 MTU=1400 TunnelIPAddress=10.9.9.1 TunnelSubnetMask=255.255.255.252 Enable=1
  firewall zone @1: name='wan' input='REJECT' output='ACCEPT' forward='REJECT' masq='1' mtu_fix='1' network+'wan' network+'vpn5'
  network interface vpn5: peeraddr='192.0.2.5' ipaddr='203.0.113.17' ikey='4294967295' okey='4294967295' ttl='32' mtu='1400' disabled='0' proto='gre'
  network interface vpn5addr: proto='static' device='@vpn5' ipaddr='10.9.9.1' netmask='255.255.255.252'
get
  run ubus call network.interface.vpn5 status
  RemoteAddress="192.0.2.5" LocalAddress="203.0.113.17" Key="4294967295" TTL=32 MTU=1400 TunnelIPAddress="10.9.9.1" TunnelSubnetMask="255.255.255.252" Enable=1 Status="Error"
set Key= Enable=0
  network interface vpn5: peeraddr='192.0.2.5' ipaddr='203.0.113.17' ttl='32' mtu='1400' disabled='1' proto='gre'
set Key=0
  network interface vpn5: peeraddr='192.0.2.5' ipaddr='203.0.113.17' ttl='32' mtu='1400' disabled='1' proto='gre' ikey='0' okey='0'
set RemoteAddress=
  network interface vpn5: ipaddr='203.0.113.17' ttl='32' mtu='1400' disabled='1' proto='gre' ikey='0' okey='0'
set Enable=1 -> ! Enable: it needs a remote address
set RemoteAddress=2001:db8::1 -> ! RemoteAddress: the remote address is none of IPv4
set RemoteAddress=192.168.1.1 or RemoteAddress=203.0.113.17 or RemoteAddress=224.0.0.1 -> ! RemoteAddress: the remote address is no other host's
set LocalAddress=224.0.0.1 -> ! LocalAddress: it is no address of a host
set LocalAddress=192.0.2.6
  network interface vpn5: ipaddr='192.0.2.6' ttl='32' mtu='1400' disabled='1' proto='gre' ikey='0' okey='0'
set LocalAddress=
  network interface vpn5: ttl='32' mtu='1400' disabled='1' proto='gre' ikey='0' okey='0'
set Key=4294967296 or Key=0x10 or Key=007 -> ! Key: it is no number from 0 to 4294967295
set TTL=0 -> ! TTL: 0 is not 1 to 255
set TTL=256 -> ! TTL: 256 is not 1 to 255
set MTU=575 -> ! MTU: 575 is not 576 to 1500
set TunnelSubnetMask= -> ! TunnelSubnetMask: an address in the tunnel needs a mask
set TunnelIPAddress= TunnelSubnetMask=
  network interface vpn5addr: proto='static' device='@vpn5'
set TunnelIPAddress=10.0.0.1 -> ! TunnelIPAddress: an address in the tunnel needs a mask
set TunnelIPAddress=10.0.0.0 TunnelSubnetMask=255.255.255.252 -> ! TunnelIPAddress: the address in the tunnel is none of a host in its network
set TunnelIPAddress=192.168.1.9 TunnelSubnetMask=255.255.255.0 -> ! TunnelIPAddress: the tunnel's network overlaps that of lan
set TunnelIPAddress=10.9.9.1 TunnelSubnetMask=255.255.255.0
  network interface vpn5addr: proto='static' device='@vpn5' ipaddr='10.9.9.1' netmask='255.255.255.0'
Device.X_QRN_VPN.6 = GRE-TAP
get -> RemoteAddress="" LocalAddress="" Key="" TTL=64 MTU=1280 Zone="" Enable=0 Status="Disabled"
set TTL=64 MTU=1280 Zone= Enable=0
set RemoteAddress=192.0.2.1 Enable=1 or RemoteAddress=gate.example.net Enable=1 Zone= -> ! RemoteAddress: it needs a remote address and a zone
set Zone=Device.IP.Interface.1 or Zone=Device.X_QRN_NetworkZone.9 -> ! Zone: it is no zone, or one with the WAN in it
set Zone=Device.X_QRN_NetworkZone.1 RemoteAddress=192.168.1.77 -> ! RemoteAddress: the remote address lies in the zone that the tunnel would join
set RemoteAddress=gate.example.net Zone=Device.X_QRN_NetworkZone.1. Enable=1
  network interface vpn6: peeraddr='gate.example.net' network='lan' disabled='0' proto='gretap' ttl='64'
get
  run ubus call network.interface.vpn6 status
  RemoteAddress="gate.example.net" LocalAddress="" Key="" TTL=64 MTU=1280 Zone="Device.X_QRN_NetworkZone.1" Enable=1 Status="Error"
set RemoteAddress=192.168.1.77 -> ! RemoteAddress: the remote address lies in the zone that the tunnel would join
set RemoteAddress=192.168.2.77
  network interface vpn6: peeraddr='192.168.2.77' network='lan' disabled='0' proto='gretap' ttl='64'
set RemoteAddress= -> ! RemoteAddress: it needs a remote address
set Zone= -> ! Zone: it needs a remote address and a zone
set Zone= Enable=0
  network interface vpn6: peeraddr='192.168.2.77' disabled='1' proto='gretap' ttl='64'
set Enable=1 -> ! Enable: it needs a remote address and a zone
config network config interface 'guest'\noption device 'eth1'
set Zone=Device.X_QRN_NetworkZone.2 -> ! Zone: it is no zone, or one with the WAN in it
uci network.guest.device=eth2
set Zone=Device.X_QRN_NetworkZone.2
  network interface vpn6: peeraddr='192.168.2.77' disabled='1' proto='gretap' ttl='64' network='guest'
uci firewall.@zone[1].name=upstream
set RemoteAddress=192.0.2.2 Enable=1
  network interface vpn6: peeraddr='192.0.2.2' disabled='0' proto='gretap' ttl='64' network='guest'
Device.X_QRN_VPN.5 = GRE
set RemoteAddress=192.0.2.5 Enable=1 -> ! Enable: the firewall has no zone of the WAN
)");
}

TEST_F(Tunnels, AllAreToldAtOnceAndCommittedWithWhatThereIs)
{
    outside().programs["ubus"] = R"(echo '{"up":true,"uptime":7}')";
    play(R"(
config network config interface 'vpn1'\nconfig interface 'vpn2'\noption disabled '1'\nconfig interface 'vpn5'\nconfig interface 'vpn6'
config ipsec config remote 'vpn3'\noption enabled '1'
config openvpn config openvpn 'vpn4'\noption enabled '1'
Device.X_QRN_VPN
get
  run ubus call network.interface.vpn1 status
  run ubus call network.interface.vpn4 status
  run ubus call network.interface.vpn5 status
  run ubus call network.interface.vpn6 status
  TunnelNumberOfEntries=6 X_QRN_List="[{\"Number\":1,\"Type\":\"PPTP\",\"Enable\":1,\"Status\":\"Up\",\"IPAddress\":\"\",\"UpTime\":7},{\"Number\":2,\"Type\":\"L2TP\",\"Enable\":0,\"Status\":\"Disabled\",\"IPAddress\":\"\",\"UpTime\":0},{\"Number\":3,\"Type\":\"IPsec\",\"Enable\":1,\"Status\":\"Connecting\",\"IPAddress\":\"\",\"UpTime\":0},{\"Number\":4,\"Type\":\"OpenVPN\",\"Enable\":1,\"Status\":\"Connecting\",\"IPAddress\":\"\",\"UpTime\":7},{\"Number\":5,\"Type\":\"GRE\",\"Enable\":1,\"Status\":\"Up\",\"IPAddress\":\"\",\"UpTime\":7},{\"Number\":6,\"Type\":\"GRE-TAP\",\"Enable\":1,\"Status\":\"Up\",\"IPAddress\":\"\",\"UpTime\":7}]"
commit
  commit network
  commit firewall
  commit ipsec
  commit openvpn
program /etc/init.d/network
program /etc/init.d/firewall
program /etc/init.d/ipsec
service reload
  run /etc/init.d/network reload
  run /etc/init.d/firewall reload
  run /etc/init.d/ipsec reload
program /etc/init.d/swanctl
program /etc/init.d/openvpn
service reload
  run /etc/init.d/network reload
  run /etc/init.d/firewall reload
  run /etc/init.d/swanctl reload
  run /etc/init.d/openvpn reload
program /etc/init.d/openvpn exit 1
service reload
  run /etc/init.d/network reload
  run /etc/init.d/firewall reload
  run /etc/init.d/swanctl reload
  run /etc/init.d/openvpn reload
  ! /etc/init.d/openvpn reload failed
Device.X_QRN_VPN.3
commit
  commit ipsec
  commit firewall
service reload
  run /etc/init.d/swanctl reload
  run /etc/init.d/firewall reload
remove /etc/init.d/swanctl
service start
  run /etc/init.d/ipsec start
  run /etc/init.d/firewall start
Device.X_QRN_VPN.4
commit
  commit openvpn
  commit network
  commit firewall
service stop
  run /etc/init.d/network stop
  run /etc/init.d/firewall stop
  run /etc/init.d/openvpn stop
  ! /etc/init.d/openvpn stop failed
Device.X_QRN_VPN.1
commit
  commit network
  commit firewall
remove /etc/config/ipsec
remove /etc/config/openvpn
commit
  commit network
  commit firewall
)");
}
