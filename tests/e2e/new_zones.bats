#!/usr/bin/env bats
load device.bash

guest=Device.X_QRN_NewZone.2

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
    same "$(qsc -q get $guest | tr '\n' ' ')" \
        "guest 192.168.20.1 255.255.255.0 192.168.20.10 192.168.20.19 9.9.9.9 600 1 1 1 "
    same "$(qsc -q get Device.X_QRN_NewZone. | head -n 2 | tr '\n' ' ')" "2 1,2 "
    same "$(journal | head -n 4 | tr '\n' ' ')" \
        "/etc/init.d/qrnnetworkzone restart /etc/init.d/network restart /etc/init.d/dnsmasq restart /etc/init.d/firewall restart "
    qsc set $guest IPAddress= SubnetMask= DHCPEnable=0 --apply
    grep -qx 'dhcp-option=tag:lan,42,192.168.1.9' "$state/tmp/dnsmasq.conf"
    [ ! -x "$(command -v dnsmasq)" ] || dnsmasq --test --conf-file="$state/tmp/dnsmasq.conf"
    same "$(events | sed -n '1p;$p')" "set zone [2] IPAddress 192.168.20.1 by CLI
set zone [2] DHCPEnable 0 by CLI"
}
