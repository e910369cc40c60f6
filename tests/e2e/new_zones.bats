#!/usr/bin/env bats
load device.bash

lan=Device.X_QRN_NewZone.1
guest=Device.X_QRN_NewZone.2
pool=Device.DHCPv4.Server.Pool.1

# of PACKAGE SECTION: the options of a section, on one line.
of() {
    awk -v wanted="$2" '{ gsub("\047", "") } $1 == "config" { on = $3 == wanted }
        on && /option|list/ { text = $0; sub(/^[ \t]*(option|list)[ \t]+[^ \t]+[ \t]/, "", text); printf "%s%s=%s", sep, $2, text; sep = " " }' \
        "$state/etc/config/$1"
}

@test "a zone that has nothing yet is made with its first value" {
    same "$(qsc -q get $guest | tr '\n' ' ')" "guest      43200 0 0 0 "
    qsc set $guest IPAddress=192.168.20.1 SubnetMask=255.255.255.0 MinAddress=192.168.20.10 MaxAddress=192.168.20.19 \
        DNSServers=9.9.9.9 LeaseTime=600 DHCPEnable=1 Enable=1 --apply
    same "$(of network guest)" "proto=static device=br-guest disabled=0 ipaddr=192.168.20.1 netmask=255.255.255.0"
    same "$(of dhcp guest)" "interface=guest start=10 limit=10 leasetime=10m dhcpv4=server dhcp_option=6,9.9.9.9"
    same "$(of firewall guest)" "name=guest input=ACCEPT output=ACCEPT forward=REJECT network=guest"
    same "$(qsc -q get $guest | tr '\n' ' ')" \
        "guest 192.168.20.1 255.255.255.0 192.168.20.10 192.168.20.19 9.9.9.9 600 1 1 1 "
    same "$(qsc -q get Device.X_QRN_NewZone. | head -n 2 | tr '\n' ' ')" "2 1,2 "
    same "$(journal | head -n 4 | tr '\n' ' ')" \
        "/etc/init.d/qrnnetworkzone restart /etc/init.d/network restart /etc/init.d/dnsmasq restart /etc/init.d/firewall restart "
    qsc set $guest InternetAccess=0 --apply
    same "$(qsc -q get $guest InternetAccess; grep -c "enabled '0'" "$state/etc/config/firewall")" "0
1"
    qsc set $guest InternetAccess=1 IPAddress= SubnetMask= DHCPEnable=0 --apply
    same "$(of network guest)" "proto=static device=br-guest disabled=0"
    grep -qx 'dhcp-option=tag:lan,42,192.168.1.9' "$state/tmp/dnsmasq.conf"
    [ ! -x "$(command -v dnsmasq)" ] || dnsmasq --test --conf-file="$state/tmp/dnsmasq.conf"
    same "$(events | sed -n '1p;$p')" "set zone [2] IPAddress 192.168.20.1 by CLI
set zone [2] DHCPEnable 0 by CLI"
}

@test "the leases of a zone are its own" {
    qsc set $guest IPAddress=192.168.20.1 SubnetMask=255.255.255.0 --apply
    printf '0 aa:bb:cc:00:11:22 192.168.20.5 tv *\n0 aa:bb:cc:00:11:23 192.168.1.6 * *\n' >"$state/tmp/dhcp.leases"
    same "$(qsc -q get $guest.DHCP)" \
        '[{"MACAddress":"AA:BB:CC:00:11:22","IPAddress":"192.168.20.5","HostName":"tv","Expires":"0001-01-01T00:00:00Z"}]'
    same "$(qsc -q get $lan.DHCP | grep -o '192[0-9.]*')" "192.168.1.6"
    run qsc get Device.X_QRN_NewZone.7.DHCP
    [[ $output == *"there is no instance 7" ]]
}

@test "the LAN moves with its pool, in the form that its address has" {
    qsc set $lan IPAddress=10.20.30.1 --apply
    same "$(of network lan)" "device=br-lan proto=static ipaddr=10.20.30.1 netmask=255.255.255.0"
    same "$(qsc -q get $pool MinAddress MaxAddress IPRouters | tr '\n' ' ')" "10.20.30.100 10.20.30.249 10.20.30.1 "
    same "$(of dhcp lan | cut -d' ' -f2,3)" "start=100 limit=150"
    # A smaller network takes it along when it fits, with an end that is named in the same request.
    qsc set $lan SubnetMask=255.255.255.128 MaxAddress=10.20.30.120 --apply
    same "$(of network lan; of dhcp lan | cut -d' ' -f2,3)" "device=br-lan proto=static ipaddr=10.20.30.1 netmask=255.255.255.128start=100 limit=21"
    # An end that is written as an address keeps its place in the network, and the pool its size.
    sed -i "s/ipaddr '10.20.30.1'/ipaddr '10.20.30.1\/24'/; s/option ipaddr '10/list ipaddr '10/; /netmask '255.255.255.128'/d" \
        "$state/etc/config/network"
    sed -i "s/start '100'/start '10.20.30.100'/" "$state/etc/config/dhcp"
    qsc set $lan IPAddress=172.16.0.1 SubnetMask=255.255.0.0 --apply
    same "$(of network lan; of dhcp lan | cut -d' ' -f2,3)" "device=br-lan proto=static ipaddr=172.16.0.1/16start=100 limit=21"
    grep -q "list ipaddr '172.16.0.1/16'" "$state/etc/config/network"
    same "$(qsc -q get $pool MinAddress MaxAddress | tr '\n' ' ')" "172.16.0.100 172.16.0.120 "
    qsc set $lan IPAddress=172.16.0.1 SubnetMask=255.255.0.0 MinAddress=172.16.0.100
    same "$(cat "$state"/tmp/.uci/{network,dhcp})" ""
}

@test "networks that cannot be are refused, and nothing is written" {
    qsc set $guest IPAddress=192.168.20.1 SubnetMask=255.255.255.0
    qsc set Device.X_QRN_2ndStaticIp IPAddress=192.168.7.1 SubnetMask=255.255.255.0 Enable=1
    qsc add $pool.StaticAddress. Chaddr=AA:BB:CC:00:11:22 Yiaddr=192.168.1.50
    printf "\toption ipaddr '203.0.113.5'\n\toption netmask '255.255.255.0'\n" >"$BATS_TEST_TMPDIR/wan"
    sed -i "/device 'eth1'/r $BATS_TEST_TMPDIR/wan" "$state/etc/config/network"
    before=$(cat "$state"/tmp/.uci/*)
    # A network that is what it was is not judged again.
    sed -i "s/203.0.113.5/192.168.1.9/" "$state/etc/config/network"
    qsc set $lan IPAddress=192.168.1.1 SubnetMask=255.255.255.0
    sed -i "s/192.168.1.9/203.0.113.5/" "$state/etc/config/network"
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
$guest IPAddress=192.168.1.77|$guest: IPAddress: the network overlaps that of lan
$guest IPAddress=203.0.113.9|$guest: IPAddress: the network overlaps that of wan
$guest IPAddress=192.168.7.9|$guest: IPAddress: the network overlaps that of lan2
$guest IPAddress=192.168.20.255|$guest: IPAddress: the address is none of a host in its network
$guest SubnetMask=255.255.0.0|$guest: SubnetMask: the network overlaps that of lan
$guest SubnetMask=255.0.255.0|$guest: SubnetMask: '255.0.255.0' is no contiguous netmask
$guest SubnetMask=|$guest: SubnetMask: an address needs its mask
$guest IPAddress=192.168.20.100 DHCPEnable=1|$guest: IPAddress: the pool holds the address of the router
$guest IPAddress=192.168.20.1 SubnetMask=255.255.255.192 DHCPEnable=1|$guest: IPAddress: the pool 192.168.20.100 to 192.168.20.249 does not fit into the network
$guest MinAddress=192.168.21.10|$guest: MinAddress: the pool ends before it begins
$guest MaxAddress=192.168.21.10|$guest: MaxAddress: the pool 192.168.20.100 to 192.168.21.10 does not fit into the network
$guest LeaseTime=60|$guest: LeaseTime: 60 is not -1 or 120 to 2147483647
$guest IPAddress= SubnetMask= DHCPEnable=1|$guest: IPAddress: the pool needs the zone to have an address
$guest Name=other|$guest: Name: it cannot be set
$lan IPAddress=|$lan: IPAddress: the LAN needs an address
$lan Enable=0|$lan: Enable: the LAN is where the router is managed from
$lan IPAddress=10.1.1.1|$lan: IPAddress: the static address 192.168.1.50 would not fit
$lan IPAddress=192.168.1.50|$lan: IPAddress: the static address 192.168.1.50 would not fit
$lan SubnetMask=255.255.255.128|$lan: SubnetMask: the pool 192.168.1.100 to 192.168.1.249 does not fit into the network
$lan IPAddress=192.168.7.5|$lan: IPAddress: the network overlaps that of lan2
Device.X_QRN_NewZone.7 Enable=1|Device.X_QRN_NewZone.7: Enable: there is no instance 7
REFUSED
    same "$(cat "$state"/tmp/.uci/*)" "$before"
}
