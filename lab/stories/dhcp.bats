#!/usr/bin/env bats
load ../lab.bash

pool=Device.DHCPv4.Server.Pool.1

# bats test_tags=quick
@test "a static lease is given to the client that it was made for" {
    needs dnsmasq busybox
    qsc add $pool.StaticAddress. Chaddr=02:00:00:00:10:01 Yiaddr=192.168.1.50 X_QRN_Name=printer Enable=1 --apply
    lease lan1
    has_address lan1 192.168.1.50
    lease lan2
    run has_address lan2 192.168.1.50
    [ "$status" -ne 0 ]
}

@test "the pool is what clients get: addresses, names, routers, servers, time" {
    needs dnsmasq busybox
    qsc set $pool MinAddress=192.168.1.30 MaxAddress=192.168.1.31 LeaseTime=5400 DNSServers=192.168.1.53,9.9.9.9 \
        DomainName=home.example IPRouters=192.168.1.254 --apply
    same "$(lease lan1 | sed 's/^ip=192.168.1.3[01] //')" \
        "router=192.168.1.254 dns=192.168.1.53 9.9.9.9 domain=home.example lease=5400 hostname="
    settle lan2
    same "$(qsc -q get $pool ClientNumberOfEntries Status | tr '\n' ' ')" "2 Enabled "
    [[ $(qsc -q get $pool X_QRN_List) == *'"MACAddress":"02:00:00:00:10:01","IPAddress":"192.168.1.3'* ]]
    # Two clients, two addresses; the third client gets none.
    client2 ip link set eth0 down
    client2 ip link set eth0 address 02:00:00:00:10:03 up
    run lease lan2 -t 1
    [ "$status" -ne 0 ]
    qsc set $pool Enable=0 --apply
    run lease lan1 -t 1
    [ "$status" -ne 0 ]
}

# bats test_tags=quick
@test "the pool moves with the LAN's address" {
    needs dnsmasq busybox
    qsc set Device.X_QRN_NewZone.1 IPAddress=10.20.30.1 --apply
    [[ $(lease lan1) == "ip=10.20.30."*" router=10.20.30.1 dns=10.20.30.1 domain=lan"* ]]
    reaches lan1 10.20.30.1
    is_cut_off lan1 192.168.1.1
    wan_is_up
    reaches lan1 $far_host
}

# options FILE: the options of the last request of the router, one a line: number and bytes.
options() {
    python3 - "$1" <<'READ'
import sys
data = bytes.fromhex(open(sys.argv[1]).read().split()[-1])[240:]
while data and data[0] != 255:
    print(data[0], data[2 : 2 + data[1]].hex())
    data = data[2 + data[1] :]
READ
}

@test "the options that are sent and requested reach the provider byte by byte" {
    needs dnsmasq busybox
    wan_is_up
    wan "$LAB/talk" capture eth0 67 "$folder/requests" >"$folder/capture.log" 3>&- &
    eventually grep -q ready "$folder/capture.log"
    client=Device.DHCPv4.Client.1
    vendor="it's \"a router\", 100 %"
    qsc set $client.SentOption.1 Value="$vendor" Enable=1
    qsc set $client.SentOption.2 XQrnValueStr="id-7:é" Enable=1
    qsc set $client.ReqOption.1 Enable=1 --apply
    eventually grep -q . "$folder/requests"
    eventually test -s "$state/var/run/lab/options.wan"
    options "$folder/requests" >"$folder/options"
    same "$(sed -n 's/^60 //p' "$folder/options")" "$(printf '%s' "$vendor" | od -An -tx1 | tr -d ' \n')"
    same "$(sed -n 's/^61 //p' "$folder/options")" "$(printf '%s' "id-7:é" | od -An -tx1 | tr -d ' \n')"
    [[ " $(sed -n 's/^55 //p' "$folder/options" | sed 's/../& /g')" == *" 2b "* ]]
    qsc set $client.ReqOption.1 Enable=0
    qsc set $client.SentOption.1 Enable=0 --apply
    : >"$folder/requests"
    router /etc/init.d/network restart
    eventually grep -q . "$folder/requests"
    options "$folder/requests" >"$folder/options"
    [[ " $(sed -n 's/^55 //p' "$folder/options" | sed 's/../& /g')" != *" 2b "* ]]
    same "$(sed -n 's/^60 //p' "$folder/options" | cut -c1-10)" "$(printf udhcp | od -An -tx1 | tr -d ' \n')"
}

@test "a static address has its name, and newer forms of the files are understood" {
    needs dnsmasq busybox
    sed -i "s|option ipaddr '192.168.1.1'|list ipaddr '192.168.1.1/24'|; /option netmask '255.255.255.0'/d" "$state/etc/config/network"
    qsc add $pool.StaticAddress. Chaddr=02:00:00:00:10:01 Yiaddr=192.168.1.50 X_QRN_Name=printer Enable=1 --apply
    [[ $(lease lan1) == "ip=192.168.1.50 "*" hostname=printer" ]]
    same "$(resolve lan1 printer.lan) $(resolve lan1 printer)" "192.168.1.50 192.168.1.50"
    qsc delete $pool.StaticAddress.1 --apply
    qsc set Device.X_QRN_NewZone.1 IPAddress=10.20.30.1 SubnetMask=255.255.0.0 --apply
    [[ $(lease lan1) == "ip=10.20.0."*" router=10.20.30.1 dns=10.20.30.1 domain=lan"* ]]
    same "$(router_net ip -4 -o addr show dev br-lan | awk '{ print $4 }')" 10.20.30.1/16
    qsc set $pool DomainName=home.example --apply
    [[ $(lease lan1) == *" domain=home.example "* ]]
}

@test "the client asks for answers by broadcast, and says what it is called" {
    needs busybox
    wan_is_up
    wan "$LAB/talk" capture eth0 67 "$folder/requests" >"$folder/capture.log" 3>&- &
    eventually grep -q ready "$folder/capture.log"
    qsc set Device.DeviceInfo HostName=hall-7 --apply
    qsc set Device.DHCPv4.Client.1 Broadcast=1 --apply
    eventually grep -q . "$folder/requests"
    same "$(tail -n 1 "$folder/requests" | cut -c21-22)" 80
    options "$folder/requests" >"$folder/options"
    same "$(sed -n 's/^12 //p' "$folder/options")" "$(printf hall-7 | od -An -tx1 | tr -d ' \n')"
}
