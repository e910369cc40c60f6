#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_CaptivePortal
client=Device.X_QRN_Ndsctl
guest=Device.X_QRN_NetworkZone.2

config() { sed -n "s/^[[:space:]]*\(option\|list\) \([a-z_]*\) '\(.*\)'$/\2 \3/p" "$state/etc/config/nodogsplash"; }

run_portal() {
    mkdir -p "$state/var/lib/sim/ndsctl"
    echo '{"id":1,"ip":"192.168.20.7","mac":"02:00:00:00:00:0a","state":"Authenticated","downloaded":"12","uploaded":3}' \
        >"$state/var/lib/sim/ndsctl/02:00:00:00:00:0a"
}

@test "the portal is set up for a zone of guests" {
    same "$(qsc -q get $path | tr '\n' ';')" ";;OpenWrt Nodogsplash;Device.X_QRN_NetworkZone.1;72000;250;;;0;Disabled;[];"
    qsc set $path URL=https://welcome.example.net/ AllowedList=198.51.100.0/24,203.0.113.9 GatewayName='Guests here' \
        Interface=$guest SessionTimeout=3600 MaxClients=40 TrustedList=02:00:00:00:00:0A,02:00:00:00:00:0b \
        BlockedList=02:00:00:00:00:0C Enable=1 --apply
    same "$(config | tr '\n' ';')" "enabled 1;gatewayname Guests here;gatewayinterface guest;maxclients 40;\
sessiontimeout 60;users_to_router allow udp port 53;redirecturl https://welcome.example.net/;\
preauthenticated_users allow tcp port 443 to 198.51.100.1;preauthenticated_users allow all to 198.51.100.0/24;\
preauthenticated_users allow all to 203.0.113.9;trustedmac 02:00:00:00:00:0a;\
trustedmac 02:00:00:00:00:0b;blockedmac 02:00:00:00:00:0c;macmechanism block;"
    same "$(journal)" "/etc/init.d/nodogsplash restart"
    same "$(qsc -q get $path | sed -n 1,9p | tr '\n' ';')" "https://welcome.example.net/;\
198.51.100.0/24,203.0.113.9;Guests here;$guest;3600;40;02:00:00:00:00:0A,02:00:00:00:00:0B;02:00:00:00:00:0C;1;"
    qsc set $path AllowedList=198.51.100.0/24,203.0.113.9 TrustedList=02:00:00:00:00:0A,02:00:00:00:00:0B
    [ ! -s "$state/tmp/.uci/nodogsplash" ]
    qsc set $path AllowedList= BlockedList= TrustedList=02:00:00:00:00:0B --apply
    same "$(config | grep -E 'pre|mac' | sort | tr '\n' ';')" "macmechanism block;\
preauthenticated_users allow tcp port 443 to 198.51.100.1;trustedmac 02:00:00:00:00:0b;"
}

@test "a zone is known by its device, as the portal stores it" {
    printf "\nconfig interface 'guest'\n\toption device 'br-guest'\n\toption proto 'static'\n" >>"$state/etc/config/network"
    qsc set $path Interface=$guest Enable=1 --apply
    same "$(config | grep interface)" "gatewayinterface br-guest"
    same "$(qsc -q get $path Interface)" $guest
}

@test "clients come from what the portal says, while it runs" {
    qsc set $path Interface=$guest Enable=1 --apply
    same "$(qsc -q get $path Status X_QRN_List | tr '\n' ';')" "Error;[];"
    run_portal
    echo '{"ip":7}' >"$state/var/lib/sim/ndsctl/no address"
    same "$(qsc -q get $path Status X_QRN_List | tr '\n' ';')" "Enabled;[{\"MACAddress\":\"02:00:00:00:00:0A\",\
\"IPAddress\":\"192.168.20.7\",\"State\":\"Authenticated\",\"BytesSent\":12000,\"BytesReceived\":3000}];"
    # Asked once for both.
    same "$(journal | grep -c 'ndsctl json')" 2
}

@test "the portal is told of a client, by what its tool understands" {
    run qsc set $client Auth=192.168.20.7
    same "$status $output" "1 qsc: $client: Auth: the portal does not run"
    run_portal
    qsc set $client Auth=192.168.20.7
    for verb in Auth Deauth Block Unblock Trust Untrust; do
        qsc set $client $verb=02:00:00:00:00:0A
    done
    same "$(journal | sed -n 's|/usr/bin/ndsctl ||p' | tr '\n' ';')" "auth 192.168.20.7;auth 192.168.20.7;\
auth 02:00:00:00:00:0a;deauth 02:00:00:00:00:0a;block 02:00:00:00:00:0a;unblock 02:00:00:00:00:0a;\
trust 02:00:00:00:00:0a;untrust 02:00:00:00:00:0a;"
    same "$(events | tail -1)" "set portal client Untrust 02:00:00:00:00:0A by CLI"
    run qsc set $client Trust=02:00:00:00:00:0B
    same "$output" "qsc: $client: Trust: the portal knows no such client, or has done that already"
    rm "$state/usr/bin/ndsctl"
    run qsc set $client Trust=02:00:00:00:00:0B
    same "$output" "qsc: $client: Trust: nodogsplash is not installed"
    run qsc get $client
    same "$status $output" "1 qsc: $client: the operation 0x1 is not served"
    qsc get Device. >"$BATS_TEST_TMPDIR/all"
    same "$(grep -c Ndsctl "$BATS_TEST_TMPDIR/all")" 0
}

@test "what the portal cannot use is refused, and its tool is not asked" {
    run_portal
    while IFS='|' read -r object assignment why; do
        run qsc set "$object" "$assignment"
        same "$status $output" "1 qsc: $object: ${assignment%%=*}: $why"
    done <<REFUSED
$path|Enable=1|it needs an interface: a zone other than the first
$path|URL=https://example.net/#top|it has a character that no address has here
$path|URL=example.net|it begins with neither http:// nor https://
$path|AllowedList=example.net|it holds what is neither an IPv4 address nor a network
$path|AllowedList=192.0.2.0/33|it holds what is neither an IPv4 address nor a network
$path|GatewayName=Guests #1|it has a '#'
$path|GatewayName=|it has 0 characters, not 1 to 126
$path|Interface=Device.X_QRN_NetworkZone.1|it is no zone, or the first
$path|Interface=Device.IP.Interface.1|it is no zone, or the first
$path|Interface=|it is no zone, or the first
$path|SessionTimeout=90|90 seconds are no whole minutes
$path|MaxClients=0|0 is not 1 to 65535
$path|TrustedList=02:00:00:00:00:0A,02:00:00:00:00:0a|'02:00:00:00:00:0a' is named twice
$path|BlockedList=03:00:00:00:00:01|'03:00:00:00:00:01' is no MAC address of one device
$client|Auth=--help|it has 6 characters, not 7 to 17
$client|Auth=192.168.20.300|it is neither a MAC address nor an IPv4 address
$client|Auth=192.168.1.1|it is an address of the router
$client|Deauth=example|it is neither a MAC address nor an IPv4 address
$client|Block=192.168.20.7|'192.168.20.7' is no MAC address of one device
$client|Block=|it is empty
$client|Trust=00:00:00:00:00:00|'00:00:00:00:00:00' is no MAC address of one device
REFUSED
    run qsc set $path TrustedList=02:00:00:00:00:0A BlockedList=02:00:00:00:00:0a
    same "$output" "qsc: $path: TrustedList: it would be trusted and blocked at once"
    device uci set "nodogsplash.@nodogsplash[0].macmechanism=allow"
    run qsc set $path BlockedList=02:00:00:00:00:0A
    same "$output" "qsc: $path: BlockedList: the portal is set up to let in listed devices alone"
    [ ! -s "$state/var/log/journal.txt" ] || same "$(journal | grep ndsctl)" ""
    rm "$state/etc/config/nodogsplash"
    run qsc set $path MaxClients=5
    same "$output" "qsc: $path: MaxClients: nodogsplash is not installed"
}
