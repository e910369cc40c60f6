// SPDX-License-Identifier: Apache-2.0
// Who may ask the router about itself, and whom it tells.
#include "support/Script.h"

using namespace test;

namespace
{

using Snmp = ScriptTest;

} // namespace

TEST_F(Snmp, TheUsualCommunitiesGoAndNobodyGetsInUntilNamed)
{
    const FakeFolder proc{"/proc"};
    play(R"(
Device.X_QRN_SNMP = snmp
get -> Port=161 AllowedSource="192.168.1.0/24" SystemName="router" SystemLocation="office" SystemContact="nobody@example.com" ReadCommunity="" WriteCommunity="" WriteEnable=0 V3User="" V3AuthProtocol="SHA" V3AuthPassword="" V3PrivProtocol="AES" V3PrivPassword="" Enable=0 Status="Disabled"
set Enable=1
  snmpd com2sec private: secname='rw' source='192.168.1.0/24'
  snmpd com2sec public: secname='ro' source='192.168.1.0/24'
  snmpd com2sec6 private6: secname='rw' source='::1'
  snmpd com2sec6 public6: secname='ro' source='::1'
  snmpd snmpd general: enabled='1' qrn_managed='1' snmp_version='v1/v2c' network+'lan'
get Enable Status -> Enable=1 Status="Error"
file /proc/net/udp sl local_address rem_address st\n0: 00000000:00A1 00000000:0000 07\n
get Status -> Status="Enabled"
file /proc/net/udp sl local_address rem_address st\n0: 00000000:00A1 00000000:0000 01\n
get Status -> Status="Error"
set WriteEnable=0 Enable=1
program /etc/init.d/snmpd
program /etc/init.d/firewall
commit
  commit snmpd
service restart
  run /etc/init.d/snmpd restart
set ReadCommunity=public WriteCommunity=s3cr3t
  snmpd com2sec private: secname='rw' source='192.168.1.0/24' qrn_community='s3cr3t'
  snmpd com2sec public: secname='ro' source='192.168.1.0/24' community='public'
  snmpd com2sec6 public6: secname='ro' source='::1' community='public'
set WriteEnable=1 AllowedSource=10.0.0.0/8
  snmpd com2sec private: secname='rw' source='10.0.0.0/8' qrn_community='s3cr3t' community='s3cr3t'
  snmpd com2sec public: secname='ro' source='10.0.0.0/8' community='public'
  snmpd com2sec6 private6: secname='rw' source='::1' community='s3cr3t'
  snmpd snmpd general: enabled='1' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_source='10.0.0.0/8' qrn_write_enable='1'
get -> Port=161 AllowedSource="10.0.0.0/8" SystemName="router" SystemLocation="office" SystemContact="nobody@example.com" ReadCommunity="" WriteCommunity="" WriteEnable=1 V3User="" V3AuthProtocol="SHA" V3AuthPassword="" V3PrivProtocol="AES" V3PrivPassword="" Enable=1 Status="Error"
set AllowedSource=2001:db8::/32 ReadCommunity=
  snmpd com2sec private: secname='rw' source='localhost' qrn_community='s3cr3t' community='s3cr3t'
  snmpd com2sec public: secname='ro' source='localhost' community='public'
  snmpd com2sec6 private6: secname='rw' source='2001:db8::/32' community='s3cr3t'
  snmpd com2sec6 public6: secname='ro' source='2001:db8::/32' community='public'
  snmpd snmpd general: enabled='1' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_source='2001:db8::/32' qrn_write_enable='1'
set AllowedSource= WriteEnable=0
  snmpd com2sec private: secname='rw' source='192.168.1.0/24' qrn_community='s3cr3t'
  snmpd com2sec public: secname='ro' source='192.168.1.0/24' community='public'
  snmpd com2sec6 private6: secname='rw' source='::1'
  snmpd com2sec6 public6: secname='ro' source='::1' community='public'
  snmpd snmpd general: enabled='1' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='0'
set AllowedSource=192.168.1.0/24
set Port=1161 SystemName=gate SystemLocation=the hall SystemContact=anna@example.net
  firewall rule qrn_snmp: name='SNMP from LAN' src='lan' proto='udp' dest_port='1161' target='ACCEPT'
  snmpd agent @0: agentaddress='UDP:1161,UDP6:1161'
  snmpd snmpd general: enabled='1' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='0' qrn_rule='1'
  snmpd system @0: sysLocation='the hall' sysContact='anna@example.net' sysName='gate'
get -> Port=1161 AllowedSource="192.168.1.0/24" SystemName="gate" SystemLocation="the hall" SystemContact="anna@example.net" ReadCommunity="" WriteCommunity="" WriteEnable=0 V3User="" V3AuthProtocol="SHA" V3AuthPassword="" V3PrivProtocol="AES" V3PrivPassword="" Enable=1 Status="Error"
set Port=161
  snmpd agent @0: agentaddress='UDP:161,UDP6:161'
  firewall rule qrn_snmp is gone
set WriteCommunity=private or WriteCommunity=public -> ! WriteCommunity: everybody knows it
set ReadCommunity=a#b -> ! ReadCommunity: it has a blank, a quote, a '#' or a backslash
set WriteCommunity=a b -> ! WriteCommunity: it has a blank, a quote, a '#' or a backslash
set ReadCommunity=012345678901234567890123456789012 -> ! ReadCommunity: it has 33 characters, not at most 32
set AllowedSource=0.0.0.0/0 or AllowedSource=::/0 -> ! AllowedSource: it would let in everybody
set AllowedSource=192.168.1.0 -> ! AllowedSource: '192.168.1.0' is no address with a prefix length
set Port=0 -> ! Port: 0 is not 1 to 65535
set SystemName=01234567890123456789012345678901234567890123456789012345678901234 -> ! SystemName: it has 65 characters, not at most 64
uci snmpd.general.enabled=
get Enable -> Enable=1
uci network.lan.ipaddr=
get AllowedSource -> AllowedSource=""
set ReadCommunity=look
  snmpd com2sec private: secname='rw' source='localhost' qrn_community='s3cr3t'
  snmpd com2sec public: secname='ro' source='localhost' community='look'
  snmpd com2sec6 public6: secname='ro' source='::1' community='look'
commit
  commit snmpd
  commit firewall
service restart
  run /etc/init.d/snmpd restart
  run /etc/init.d/firewall restart
remove /etc/config/firewall
set Port=1162
  snmpd agent @0: agentaddress='UDP:1162,UDP6:1162'
remove /etc/config/snmpd
set Enable=1 -> ! Enable: snmpd is not installed
get Port Enable Status AllowedSource -> Port=161 Enable=0 Status="Disabled" AllowedSource=""
)");
    put("snmpd", "config snmpd\n");
    put("network", "config interface 'lan'\n\toption ipaddr '192.168.1.1/25'\n");
    play(R"(
Device.X_QRN_SNMP = snmp
set SystemName=new
  snmpd agent agent:
  snmpd com2sec private: secname='rw' source='192.168.1.0/25'
  snmpd com2sec public: secname='ro' source='192.168.1.0/25'
  snmpd com2sec6 private6: secname='rw' source='::1'
  snmpd com2sec6 public6: secname='ro' source='::1'
  snmpd snmpd general: qrn_managed='1' snmp_version='v1/v2c'
  snmpd system system: sysName='new'
)");
}

TEST_F(Snmp, AUserHasAPasswordAndTrapsGoToAnAddress)
{
    play(R"(
Device.X_QRN_SNMP = snmp
set V3User=anna -> ! V3User: a user needs a password
set V3AuthPassword=longenough -> ! V3AuthPassword: it needs V3User
set V3PrivPassword=longenough -> ! V3PrivPassword: it needs V3User
set V3AuthProtocol=SHA256 -> ! V3AuthProtocol: it needs V3User
set V3PrivProtocol=AES -> ! V3PrivProtocol: it needs V3User
set V3User=anna V3AuthPassword=short12 -> ! V3AuthPassword: it has 7 characters, not 8 to 64
set V3User=anna V3AuthPassword=long\"enough -> ! V3AuthPassword: it has a quote or a backslash
set V3User=a#b V3AuthPassword=longenough -> ! V3User: it has a blank, a quote, a '#' or a backslash
set V3User=anna V3AuthPassword=longenough V3PrivProtocol=DES -> ! V3PrivProtocol: 'DES' is not one of AES
set V3User=anna V3AuthPassword=longenough V3AuthProtocol=MD5 -> ! V3AuthProtocol: 'MD5' is not one of SHA|SHA256
set V3User=anna V3AuthPassword=long enough V3AuthProtocol=SHA256
  snmpd com2sec private: secname='rw' source='192.168.1.0/24'
  snmpd com2sec public: secname='ro' source='192.168.1.0/24'
  snmpd com2sec6 private6: secname='rw' source='::1'
  snmpd com2sec6 public6: secname='ro' source='::1'
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan'
  snmpd v3 v3: username='anna' auth_type='SHA-256' auth_pass='long enough' allow_write='0'
set V3PrivPassword=also-long-enough WriteEnable=1
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan' qrn_write_enable='1'
  snmpd v3 v3: username='anna' auth_type='SHA-256' auth_pass='long enough' allow_write='1' privacy_pass='also-long-enough' privacy_type='AES'
set V3User=
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1'
  snmpd v3 v3 is gone
Device.X_QRN_SNMP.trap = snmp trap
get -> Address="" Port=162 Community="" Version="2c" Enable=0
set Port=162 Version=2c Enable=0
set Enable=1 -> ! Enable: it needs an address
set Address=192.0.2.9 Enable=1 -> ! Address: versions 1 and 2c need a community
set Address=192.0.2.9 Version=3 Enable=1 -> ! Address: version 3 needs the user of version 3
set Address=host -> ! Address: 'host' is no IP address
set Version=4 -> ! Version: '4' is not one of 1|2c|3
set Community=a#b -> ! Community: it has a blank, a quote, a '#' or a backslash
set Port=0 -> ! Port: 0 is not 1 to 65535
set Address=192.0.2.9 Community=traps
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='traps'
set Enable=1 Version=1
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='traps' qrn_Type='1' qrn_trap='1'
  snmpd trap_HostIP qrn_trap: HostIP='192.0.2.9' Port='162' Community='traps' Type='trapsink'
set Address=2001:db8::9 Port=1162 Version=2c
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1' qrn_HostIP='2001:db8::9' qrn_Community='traps' qrn_Type='2c' qrn_trap='1' qrn_Port='1162'
  snmpd trap_HostIP qrn_trap: HostIP='udp6:[2001:db8::9]' Port='1162' Community='traps' Type='trap2sink'
get -> Address="2001:db8::9" Port=1162 Community="" Version="2c" Enable=1
set Address= -> ! Address: it needs an address
set Community=neu
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1' qrn_HostIP='2001:db8::9' qrn_Community='neu' qrn_Type='2c' qrn_trap='1' qrn_Port='1162'
  snmpd trap_HostIP qrn_trap: HostIP='udp6:[2001:db8::9]' Port='1162' Community='neu' Type='trap2sink'
Device.X_QRN_SNMP = snmp
set V3User=anna V3AuthPassword=long enough
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan' qrn_write_enable='1' qrn_HostIP='2001:db8::9' qrn_Community='neu' qrn_Type='2c' qrn_trap='1' qrn_Port='1162'
  snmpd v3 v3: username='anna' auth_pass='long enough' auth_type='SHA' allow_write='1'
Device.X_QRN_SNMP.trap = snmp trap
set Version=3 Address=192.0.2.9
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='neu' qrn_Type='3' qrn_trap='1' qrn_Port='1162'
  snmpd trapsess trapsess: qrn='1' trapsess='-v 3 -u anna -a SHA -A "long enough" -l authNoPriv 192.0.2.9:1162'
  snmpd trap_HostIP qrn_trap is gone
Device.X_QRN_SNMP = snmp
set V3User= -> ! V3User: traps of version 3 are sent as this user
set V3PrivPassword=also-long-enough V3AuthProtocol=SHA256
  snmpd trapsess trapsess: qrn='1' trapsess='-v 3 -u anna -a SHA-256 -A "long enough" -x AES -X "also-long-enough" -l authPriv 192.0.2.9:1162'
  snmpd v3 v3: username='anna' auth_pass='long enough' auth_type='SHA-256' allow_write='1' privacy_pass='also-long-enough' privacy_type='AES'
Device.X_QRN_SNMP.trap = snmp trap
set Enable=0
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='neu' qrn_Type='3' qrn_trap='0' qrn_Port='1162'
  snmpd trapsess trapsess is gone
config snmpd config trapsess 'trapsess'\noption trapsess 'mine'
set Enable=1 -> ! Enable: there is a session for traps that is somebody else's
set Version=2c Enable=1
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c/v3' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='neu' qrn_Type='2c' qrn_trap='1' qrn_Port='1162'
  snmpd trap_HostIP qrn_trap: HostIP='192.0.2.9' Port='1162' Community='neu' Type='trap2sink'
Device.X_QRN_SNMP = snmp
set V3User=
  snmpd snmpd general: enabled='0' qrn_managed='1' snmp_version='v1/v2c' network+'lan' qrn_write_enable='1' qrn_HostIP='192.0.2.9' qrn_Community='neu' qrn_Type='2c' qrn_trap='1' qrn_Port='1162'
  snmpd v3 v3 is gone
)");
}
