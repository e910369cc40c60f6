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
