// SPDX-License-Identifier: Apache-2.0
// The page that guests see first: for whom it is set up, and what it is told of single clients.
#include "support/Script.h"

using namespace test;

namespace
{

using Portal = ScriptTest;

} // namespace

TEST_F(Portal, ItIsSetUpForAZoneOfGuests)
{
    play(R"(
Device.X_QRN_CaptivePortal = captive portal
get -> URL="" AllowedList="" GatewayName="OpenWrt Nodogsplash" Interface="Device.X_QRN_NetworkZone.1" SessionTimeout=72000 MaxClients=250 TrustedList="" BlockedList="" Enable=0 Status="Disabled" X_QRN_List="[]"
set Enable=1 -> ! Enable: it needs an interface: a zone other than the first
set Enable=0 AllowedList= TrustedList= BlockedList=
set URL=https://welcome.example.net/ AllowedList=198.51.100.0/24,203.0.113.9 GatewayName=Guests here Interface=Device.X_QRN_NetworkZone.2. SessionTimeout=3600 MaxClients=40 TrustedList=02:00:00:00:00:0A,02:00:00:00:00:0b BlockedList=02:00:00:00:00:0C Enable=1
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='guest' maxclients='40' sessiontimeout='60' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' preauthenticated_users+'allow all to 198.51.100.0/24' preauthenticated_users+'allow all to 203.0.113.9' trustedmac+'02:00:00:00:00:0a' trustedmac+'02:00:00:00:00:0b' blockedmac+'02:00:00:00:00:0c' macmechanism='block'
get -> URL="https://welcome.example.net/" AllowedList="198.51.100.0/24,203.0.113.9" GatewayName="Guests here" Interface="Device.X_QRN_NetworkZone.2" SessionTimeout=3600 MaxClients=40 TrustedList="02:00:00:00:00:0A,02:00:00:00:00:0B" BlockedList="02:00:00:00:00:0C" Enable=1 Status="Error" X_QRN_List="[]"
set AllowedList= BlockedList= TrustedList=02:00:00:00:00:0B
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='guest' maxclients='40' sessiontimeout='60' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='block' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' trustedmac+'02:00:00:00:00:0b'
config network config interface 'guest'\noption device 'br-guest'\noption proto 'static'
get Interface -> Interface="Device.X_QRN_NetworkZone.2"
set Interface=Device.X_QRN_NetworkZone.2
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='br-guest' maxclients='40' sessiontimeout='60' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='block' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' trustedmac+'02:00:00:00:00:0b'
get Interface -> Interface="Device.X_QRN_NetworkZone.2"
set SessionTimeout=0
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='br-guest' maxclients='40' sessiontimeout='0' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='block' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' trustedmac+'02:00:00:00:00:0b'
set URL=https://example.net/#top -> ! URL: it has a character that no address has here
set URL=example.net -> ! URL: it begins with neither http:// nor https://
set AllowedList=example.net or AllowedList=192.0.2.0/33 or AllowedList=192.0.2.0/024 or AllowedList=192.0.2.0/ -> ! AllowedList: it holds what is neither an IPv4 address nor a network
set AllowedList=192.0.2.0/0,192.0.2.0/32
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='br-guest' maxclients='40' sessiontimeout='0' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='block' trustedmac+'02:00:00:00:00:0b' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' preauthenticated_users+'allow all to 192.0.2.0/0' preauthenticated_users+'allow all to 192.0.2.0/32'
set GatewayName=Guests #1 -> ! GatewayName: it has a '#'
set GatewayName= -> ! GatewayName: it has 0 characters, not 1 to 126
set Interface=Device.X_QRN_NetworkZone.1 or Interface=Device.IP.Interface.1 or Interface= -> ! Interface: it is no zone, or the first
set SessionTimeout=90 -> ! SessionTimeout: 90 seconds are no whole minutes
set SessionTimeout=31536060 -> ! SessionTimeout: 31536060 is not 0 to 31536000
set MaxClients=0 -> ! MaxClients: 0 is not 1 to 65535
set MaxClients=65536 -> ! MaxClients: 65536 is not 1 to 65535
set TrustedList=02:00:00:00:00:0A,02:00:00:00:00:0a -> ! TrustedList: '02:00:00:00:00:0a' is named twice
set BlockedList=03:00:00:00:00:01 -> ! BlockedList: '03:00:00:00:00:01' is no MAC address of one device
set TrustedList=02:00:00:00:00:0A BlockedList=02:00:00:00:00:0a -> ! TrustedList: it would be trusted and blocked at once
set TrustedList=02:00:00:00:00:0E
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='br-guest' maxclients='40' sessiontimeout='0' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='block' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' preauthenticated_users+'allow all to 192.0.2.0/0' preauthenticated_users+'allow all to 192.0.2.0/32' trustedmac+'02:00:00:00:00:0e'
set BlockedList=02:00:00:00:00:0e -> ! BlockedList: it would be trusted and blocked at once
uci nodogsplash.@nodogsplash[0].macmechanism=allow
set BlockedList=02:00:00:00:00:0A -> ! BlockedList: the portal is set up to let in listed devices alone
set BlockedList=
uci nodogsplash.@nodogsplash[0].gatewayinterface=eth9
get Interface -> Interface=""
uci nodogsplash.@nodogsplash[0].gatewayinterface=br-lan
set Enable=1 -> ! Enable: it needs an interface: a zone other than the first
set Enable=0
  nodogsplash nodogsplash @0: enabled='0' gatewayname='Guests here' gatewayinterface='br-lan' maxclients='40' sessiontimeout='0' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='allow' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' preauthenticated_users+'allow all to 192.0.2.0/0' preauthenticated_users+'allow all to 192.0.2.0/32' trustedmac+'02:00:00:00:00:0e'
set Enable=1 -> ! Enable: it needs an interface: a zone other than the first
set Enable=1 Interface=Device.X_QRN_NetworkZone.2
  nodogsplash nodogsplash @0: enabled='1' gatewayname='Guests here' gatewayinterface='br-guest' maxclients='40' sessiontimeout='0' users_to_router+'allow udp port 53' redirecturl='https://welcome.example.net/' macmechanism='allow' preauthenticated_users+'allow tcp port 443 to 198.51.100.1' preauthenticated_users+'allow all to 192.0.2.0/0' preauthenticated_users+'allow all to 192.0.2.0/32' trustedmac+'02:00:00:00:00:0e'
program /etc/init.d/nodogsplash
commit
  commit nodogsplash
service restart
  run /etc/init.d/nodogsplash restart
remove /etc/config/nodogsplash
set MaxClients=5 -> ! MaxClients: nodogsplash is not installed
)");
    constexpr const char* kPath = "Device.X_QRN_CaptivePortal";
    std::string rules = "config nodogsplash\n";
    for (int i = 0; i < 255; ++i) {
        rules += "\tlist preauthenticated_users 'allow tcp " + std::to_string(i) + "'\n";
    }
    put("nodogsplash", rules);
    EXPECT_EQ(change(kPath, "AllowedList=192.0.2.1"), "");
    EXPECT_EQ(values(kPath, "AllowedList"), "\"192.0.2.1\"");
    EXPECT_EQ(change(kPath, "AllowedList=192.0.2.1,192.0.2.2"),
              "AllowedList: the portal has no room for so many rules");
    std::filesystem::remove_all("/tmp/.uci");
    put("nodogsplash", rules + "\tlist preauthenticated_users 'x'\n\tlist preauthenticated_users 'y'\n");
    EXPECT_EQ(change(kPath, "AllowedList=192.0.2.2"), "AllowedList: the rules of the portal cannot be read");
}

TEST_F(Portal, ClientsAreWhatItSaysWhileItRuns)
{
    play(R"(
Device.X_QRN_CaptivePortal
get Status X_QRN_List -> Status="Disabled" X_QRN_List="[]"
uci nodogsplash.@nodogsplash[0].enabled=1
get Status X_QRN_List -> Status="Error" X_QRN_List="[]"
program ndsctl cat /tmp/clients
file /tmp/clients {"02:00:00:00:00:0a":{"ip":"192.168.20.7","state":"Authenticated","downloaded":"12","uploaded":3},"no address":{"ip":7},"02:00:00:00:00:0b":7,"02:00:00:00:00:0c":{}}
get Status X_QRN_List
  run ndsctl json
  Status="Enabled" X_QRN_List="[{\"MACAddress\":\"02:00:00:00:00:0A\",\"IPAddress\":\"192.168.20.7\",\"State\":\"Authenticated\",\"BytesSent\":12000,\"BytesReceived\":3000},{\"MACAddress\":\"02:00:00:00:00:0C\",\"IPAddress\":\"\",\"State\":\"\",\"BytesSent\":0,\"BytesReceived\":0}]"
file /tmp/clients {"clients":{"02:00:00:00:00:0d":{}}}
get X_QRN_List
  run ndsctl json
  X_QRN_List="[{\"MACAddress\":\"02:00:00:00:00:0D\",\"IPAddress\":\"\",\"State\":\"\",\"BytesSent\":0,\"BytesReceived\":0}]"
)");
}

TEST_F(Portal, ItIsToldOfAClientInWordsThatItsToolKnows)
{
    play(R"(
Device.X_QRN_Ndsctl = portal client
set Auth=192.168.20.7 -> ! Auth: nodogsplash is not installed
program ndsctl
set Auth=192.168.20.7
  run ndsctl auth 192.168.20.7
set Auth=02:00:00:00:00:0A
  run ndsctl auth 02:00:00:00:00:0a
set Deauth=02:00:00:00:00:0A
  run ndsctl deauth 02:00:00:00:00:0a
set Block=02:00:00:00:00:0A
  run ndsctl block 02:00:00:00:00:0a
set Unblock=02:00:00:00:00:0A
  run ndsctl unblock 02:00:00:00:00:0a
set Trust=02:00:00:00:00:0A
  run ndsctl trust 02:00:00:00:00:0a
set Untrust=02:00:00:00:00:0a
  run ndsctl untrust 02:00:00:00:00:0a
set Auth=--help -> ! Auth: it has 6 characters, not 7 to 17
set Auth=192.168.20.300 -> ! Auth: it is neither a MAC address nor an IPv4 address
set Auth=192.168.1.1 or Auth=127.0.0.1 -> ! Auth: it is an address of the router
set Deauth=example -> ! Deauth: it is neither a MAC address nor an IPv4 address
set Block=192.168.20.7 -> ! Block: '192.168.20.7' is no MAC address of one device
set Block= -> ! Block: it is empty
set Trust=00:00:00:00:00:00 -> ! Trust: '00:00:00:00:00:00' is no MAC address of one device
program ndsctl exit 1
set Auth=192.168.20.7
  run ndsctl auth 192.168.20.7
  ! Auth: the portal knows no such client, or has done that already
program ndsctl exit 2
set Auth=192.168.20.7
  run ndsctl auth 192.168.20.7
  ! Auth: the portal could not be told
program ndsctl exit 3
set Auth=192.168.20.7
  run ndsctl auth 192.168.20.7
  ! Auth: the portal does not run
)");
    EXPECT_EQ(outside().logs.front().priority, 3);
}
