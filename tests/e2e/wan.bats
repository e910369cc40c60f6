#!/usr/bin/env bats
load device.bash

wan=Device.IP.Interface.1
six=$wan.IPv6

# The options of a section of the file that match, one a line.
stored() { # SECTION WORD...
    local section=$1
    shift
    awk -v name="'$section'" '/^config/ { on = $3 == name } on && NF > 2 { print $2, $3 }' "$state/etc/config/network" |
        tr -d "'" | grep -E "^($(IFS='|' && echo "$*")) " | sort
}

@test "what is live is read with one call" {
    same "$(qsc -q get $wan | tr '\n' ' ')" "0 1500 203.0.113.17 255.255.255.0 203.0.113.1 DHCP 1 Up eth1 3600 Normal \
203.0.113.53,203.0.113.54 "
    same "$(journal)" "/usr/bin/ubus call network.interface.wan status"
    same "$(qsc -q get $six | tr '\n' ' ')" "auto  0  DHCPv6 0 Down   "
    qsc set $six IPv6Enable=1 --apply
    same "$(stored wan6 device proto disabled)" "device @wan
disabled 0
proto dhcpv6"
    same "$(qsc -q get $six | tr '\n' ' ')" \
        "auto 2001:db8:0:1::2a 64 fe80::1 DHCPv6 1 Up 2001:db8:100::/56 2001:db8::53 "
    same "$(journal | grep -v qrnmsgupd | tail -2)" "/etc/init.d/network restart
/usr/bin/ubus call network.interface.wan6 status"
}

@test "the service lets the others know" {
    # They are told in the background.
    device sh -c "qsc service $wan reload && until grep -q updinfo /var/log/journal.txt; do sleep 0.05; done"
    same "$(journal)" "/etc/init.d/network reload
/etc/init.d/qrnmsgupd updinfo"
}

@test "the state is told in the standard's words" {
    mkdir -p "$state/var/lib/sim/ubus"
    while IFS='|' read -r answer carrier word; do
        echo "$answer" >"$state/var/lib/sim/ubus/network.interface.wan.status.json"
        echo "$carrier" >"$state/sys/class/net/eth1/carrier"
        same "$(qsc -q get $wan Status)" "$word"
    done <<'STATES'
{"up":true}|1|Up
{"up":false,"available":false}|1|NotPresent
{"up":false,"available":true,"pending":true}|0|LowerLayerDown
{"up":false,"available":true,"pending":true}|1|Dormant
{"up":false,"available":true,"pending":true,"errors":[{"code":"AUTH_TOPEER_FAILED"}]}|1|Error
{"up":false,"available":true}|1|Down
STATES
    echo '["no object"' >"$state/var/lib/sim/ubus/network.interface.wan.status.json"
    same "$(qsc -q get $wan Status X_QRN_IPAddress X_QRN_DNSServers | tr '\n' ' ')" "Unknown   "
    : >"$state/var/log/journal.txt"
    qsc set $wan Enable=0
    same "$(qsc -q get $wan Enable Status X_QRN_IPAddress Name | tr '\n' ' ')" "0 Down  eth1 "
    same "$(qsc -q get Device.DHCPv4.Client.1 Enable)" 0
    same "$(journal)" "" # what is switched off is not asked for
}

@test "without the network daemon the kernel is asked" {
    rm "$state/usr/bin/ubus"
    sed -i "s/'eth1'/'lo'/" "$state/etc/config/network"
    same "$(qsc -q get $wan X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway Status Name | tr '\n' ' ')" \
        "127.0.0.1 255.0.0.0  Up lo "
    sed -i "s/'lo'/'eth7'/" "$state/etc/config/network"
    same "$(qsc -q get $wan X_QRN_IPAddress Status | tr '\n' ' ')" " Unknown "
}

@test "a fixed address waits while there is another, and comes back" {
    local all=(ipaddr netmask gateway proto qrn_ipaddr qrn_netmask qrn_gateway)
    qsc set $wan X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.0 --apply
    same "$(stored wan "${all[@]}")" "proto dhcp
qrn_ipaddr 198.51.100.7
qrn_netmask 255.255.255.0"
    same "$(qsc -q get $wan X_QRN_IPAddress)" 203.0.113.17
    qsc set $wan X_QRN_AddressingType=Static X_QRN_DefaultGateway=198.51.100.1 --apply
    same "$(stored wan "${all[@]}")" "gateway 198.51.100.1
ipaddr 198.51.100.7
netmask 255.255.255.0
proto static"
    same "$(qsc -q get $wan X_QRN_IPAddress X_QRN_SubnetMask X_QRN_DefaultGateway | tr '\n' ' ')" \
        "198.51.100.7 255.255.255.0 198.51.100.1 "
    # What would be asked for from the provider's server must go.
    qsc set $wan X_QRN_AddressingType=DHCP X_QRN_IPAddress=198.51.100.8 --apply
    same "$(stored wan "${all[@]}")" "proto dhcp
qrn_gateway 198.51.100.1
qrn_ipaddr 198.51.100.8
qrn_netmask 255.255.255.0"
    qsc set Device.DHCPv4.Client.1 XQrnPppoeUsername=anna@example --apply
    qsc set $wan X_QRN_AddressingType=PPPoE --apply
    qsc set $wan X_QRN_AddressingType=Static --apply
    same "$(stored wan "${all[@]}" username)" "gateway 198.51.100.1
ipaddr 198.51.100.8
netmask 255.255.255.0
proto static
username anna@example"
    same "$(events | tail -2)" "set wan X_QRN_AddressingType PPPoE by CLI
set wan X_QRN_AddressingType Static by CLI"
}

@test "an address with its length keeps that form" {
    sed -i "/interface 'wan'/,\$s|option proto 'dhcp'|option proto 'static'\n\tlist ipaddr '198.51.100.7/24'\n\toption gateway '198.51.100.1'|" \
        "$state/etc/config/network"
    same "$(qsc -q get $wan X_QRN_IPAddress X_QRN_SubnetMask | tr '\n' ' ')" "198.51.100.7 255.255.255.0 "
    qsc set $wan X_QRN_SubnetMask=255.255.255.128 --apply
    qsc set $wan X_QRN_IPAddress=198.51.100.9 --apply
    same "$(stored wan ipaddr netmask)" "ipaddr 198.51.100.9/25"
    grep -q "list ipaddr" "$state/etc/config/network"
}

@test "IPv6 can have a fixed address as well" {
    qsc set $six X_QRN_AddressingType=Static X_QRN_PrefixLength=64 X_QRN_IPAddress=2001:db8::7 IPv6Enable=1 --apply
    same "$(stored wan6 ip6addr ip6gw proto disabled)" "disabled 0
ip6addr 2001:db8::7/64
proto static"
    qsc set $six X_QRN_AddressingType=DHCPv6 X_QRN_DefaultGateway=fe80::9 X_QRN_PrefixRequest=56 --apply
    same "$(stored wan6 ip6addr ip6gw proto disabled reqprefix qrn_ip6addr qrn_ip6gw)" "disabled 0
proto dhcpv6
qrn_ip6addr 2001:db8::7/64
qrn_ip6gw fe80::9
reqprefix 56"
    same "$(qsc -q get $six X_QRN_IPAddress X_QRN_PrefixRequest | tr '\n' ' ')" "2001:db8:0:1::2a 56 "
    same "$(events | tail -3)" "set wan ipv6 X_QRN_PrefixRequest 56 by CLI
set wan ipv6 X_QRN_DefaultGateway fe80::9 by CLI
set wan ipv6 X_QRN_AddressingType DHCPv6 by CLI"
}

@test "the size of packets goes where the network daemon looks for it" {
    qsc set $wan MaxMTUSize=1400 --apply
    same "$(stored wan mtu)" "mtu 1400"
    cat >>"$state/etc/config/network" <<'SECTION'

config device 'port'
	option name 'eth1'
	option mtu '1480'
SECTION
    same "$(qsc -q get $wan MaxMTUSize)" 1480
    qsc set $wan MaxMTUSize=1450 --apply
    same "$(stored wan mtu) $(stored port mtu)" "mtu 1400 mtu 1450"
    # PPPoE has its own, which is never that of the device.
    qsc set Device.DHCPv4.Client.1 XQrnPppoeUsername=anna --apply
    qsc set $wan X_QRN_AddressingType=PPPoE MaxMTUSize=1492 --apply
    same "$(stored wan mtu) $(stored port mtu)" "mtu 1492 mtu 1450"
    sed -i '/option mtu/d' "$state/etc/config/network"
    same "$(qsc -q get $wan MaxMTUSize)" 1492
    qsc set $wan MaxMTUSize=1492
    [ ! -s "$state/tmp/.uci/network" ]
}

@test "a VLAN is part of the device's name" {
    qsc set $six IPv6Enable=1 --apply
    sed -i "s/'@wan'/'eth1'/" "$state/etc/config/network"
    qsc set $wan X_QRN_VLANID=835 --apply
    same "$(stored wan device) $(stored wan6 device)" "device eth1.835 device eth1.835"
    same "$(qsc -q get $wan X_QRN_VLANID)" 835
    qsc set $wan X_QRN_VLANID=0 --apply
    same "$(stored wan device) $(stored wan6 device)" "device eth1 device eth1"
}

@test "what cannot be is refused, and nothing is written" {
    cat >>"$state/etc/config/network" <<'SECTIONS'

config interface 'guest'
	option device 'eth1.20'
	option proto 'static'
	option ipaddr '192.168.20.1'
	option netmask '255.255.255.0'

config interface 'wan6'
	option device '@wan'
	option proto 'dhcpv6'
SECTIONS
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
$wan X_QRN_AddressingType=Static|$wan: X_QRN_AddressingType: Static needs an address, a mask and a gateway
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.0|$wan: X_QRN_IPAddress: Static needs an address, a mask and a gateway
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.0 X_QRN_SubnetMask=255.255.255.0 X_QRN_DefaultGateway=198.51.100.1|$wan: X_QRN_IPAddress: the address is none of a host in its network
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.0 X_QRN_DefaultGateway=198.51.101.1|$wan: X_QRN_IPAddress: the gateway is none of a host in the network
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.0 X_QRN_DefaultGateway=198.51.100.255|$wan: X_QRN_IPAddress: the gateway is none of a host in the network
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.0 X_QRN_DefaultGateway=198.51.100.7|$wan: X_QRN_IPAddress: the gateway is the router itself
$wan X_QRN_AddressingType=Static X_QRN_IPAddress=192.168.0.7 X_QRN_SubnetMask=255.255.0.0 X_QRN_DefaultGateway=192.168.0.1|$wan: X_QRN_IPAddress: the network overlaps that of lan
$wan X_QRN_AddressingType=PPPoE|$wan: X_QRN_AddressingType: PPPoE needs a user name, which Device.DHCPv4.Client.1 has
$wan X_QRN_AddressingType=dhcp|$wan: X_QRN_AddressingType: 'dhcp' is not one of DHCP|Static|PPPoE
$wan X_QRN_IPAddress=1.2.3|$wan: X_QRN_IPAddress: '1.2.3' is no IPv4 address
$wan X_QRN_SubnetMask=255.0.255.0|$wan: X_QRN_SubnetMask: '255.0.255.0' is no contiguous netmask
$wan MaxMTUSize=67|$wan: MaxMTUSize: 67 is not 68 to 65535
$wan MaxMTUSize=1279|$wan: MaxMTUSize: the MTU is 1280 at least with IPv6
$wan X_QRN_VLANID=4095|$wan: X_QRN_VLANID: 4095 is not 0 to 4094
$wan X_QRN_VLANID=20|$wan: X_QRN_VLANID: eth1.20 is the device of guest
$wan Status=Up|$wan: Status: it cannot be set
$six X_QRN_AddressingType=Static|$six: X_QRN_AddressingType: Static needs an address and a prefix length
$six X_QRN_AddressingType=Static X_QRN_IPAddress=2001:db8::1|$six: X_QRN_IPAddress: Static needs an address and a prefix length
$six X_QRN_AddressingType=Static X_QRN_IPAddress=ff02::1 X_QRN_PrefixLength=64|$six: X_QRN_IPAddress: the address is none of a host
$six X_QRN_AddressingType=Static X_QRN_IPAddress=fe80::1 X_QRN_PrefixLength=64|$six: X_QRN_IPAddress: the address is none of a host
$six X_QRN_AddressingType=Static X_QRN_IPAddress=2001:db8::1 X_QRN_PrefixLength=64 X_QRN_DefaultGateway=2001:db8::1|$six: X_QRN_IPAddress: the gateway is none of another host
$six X_QRN_PrefixLength=129|$six: X_QRN_PrefixLength: 129 is not 0 to 128
$six X_QRN_PrefixRequest=47|$six: X_QRN_PrefixRequest: it is neither auto nor no nor 48 to 64
$six X_QRN_IPAddress=192.0.2.1|$six: X_QRN_IPAddress: '192.0.2.1' is no IPv6 address
REFUSED
    [ ! -s "$state/tmp/.uci/network" ]
    qsc set Device.DHCPv4.Client.1 XQrnPppoeUsername=anna --apply
    run qsc set $wan X_QRN_AddressingType=PPPoE MaxMTUSize=1493
    same "$output" "qsc: $wan: MaxMTUSize: the MTU is 1492 at most with PPPoE"
    qsc set $wan MaxMTUSize=1493 --apply
    run qsc set $wan X_QRN_AddressingType=PPPoE
    same "$output" "qsc: $wan: X_QRN_AddressingType: the MTU is 1492 at most with PPPoE"
    qsc set $six IPv6Enable=0
    qsc set $wan MaxMTUSize=1279
    run qsc set $six IPv6Enable=1
    same "$output" "qsc: $six: IPv6Enable: the MTU is 1280 at least with IPv6"
    # A network of one address has its gateway elsewhere.
    qsc set $wan X_QRN_AddressingType=Static X_QRN_IPAddress=198.51.100.7 X_QRN_SubnetMask=255.255.255.255 \
        X_QRN_DefaultGateway=198.51.101.1
}
