#!/usr/bin/env bats
load device.bash

path=Device.Ethernet.X_QRN_Custommac.

stored() { sed -n 's/.*option \(\(qrn_\)\?macaddr\) /\1 /p' "$state/etc/config/network" | tr -d "'"; }

add_port_section() {
    printf "\nconfig device\n\toption name 'eth1'\n\toption macaddr '%s'\n" "$1" >>"$state/etc/config/network"
}

@test "another address is used while it is switched on, and waits otherwise" {
    same "$(qsc -q get $path | tr '\n' ' ')" " 0 02:00:5E:00:53:02 "
    same "$(journal)" "/usr/sbin/fw_printenv -n wanaddr
/usr/sbin/fw_printenv -n ethaddr"
    qsc set $path MACAddress=02:00:5e:aa:bb:cc --apply
    same "$(stored)" "qrn_macaddr 02:00:5E:AA:BB:CC"
    qsc set $path Enable=1 --apply
    same "$(stored)" "macaddr 02:00:5E:AA:BB:CC"
    same "$(qsc -q get $path MACAddress Enable | tr '\n' ' ')" "02:00:5E:AA:BB:CC 1 "
    qsc set $path MACAddress=02:00:5e:aa:bb:cd Enable=0 --apply
    same "$(stored)" "qrn_macaddr 02:00:5E:AA:BB:CD"
    qsc set $path MACAddress= --apply
    same "$(stored)" ""
    same "$(journal | tail -1)" "/etc/init.d/network restart"
    same "$(events)" "set custom mac MACAddress 02:00:5E:AA:BB:CC by CLI
set custom mac Enable 1 by CLI
set custom mac MACAddress 02:00:5E:AA:BB:CD by CLI
set custom mac Enable 0 by CLI
set custom mac MACAddress <empty> by CLI"
}

@test "the section that names the device counts, and its address from the factory is no custom one" {
    add_port_section 02:00:5e:00:53:02
    same "$(qsc -q get $path MACAddress Enable | tr '\n' ' ')" " 0 "
    qsc set $path MACAddress=02:00:5e:aa:bb:cc Enable=1 --apply
    same "$(stored)" "macaddr 02:00:5E:AA:BB:CC"
    # A VLAN has the address of the device below it.
    qsc set Device.IP.Interface.1 X_QRN_VLANID=7 --apply
    same "$(qsc -q get $path MACAddress Enable | tr '\n' ' ')" "02:00:5E:AA:BB:CC 1 "
    qsc set $path Enable=0 --apply
    same "$(stored)" "qrn_macaddr 02:00:5E:AA:BB:CC
macaddr 02:00:5E:00:53:02"
}

@test "the address from the factory is asked of the boot loader" {
    while read -r wan own factory; do
        printf '#!/bin/sh\ncase $2 in\nwanaddr) echo %s ;;\nethaddr) echo %s ;;\nesac\n' "$wan" "$own" >"$state/usr/sbin/fw_printenv"
        same "$(qsc -q get $path FactoryMACAddress)" "${factory:-}"
    done <<'ADDRESSES'
02:00:5e:00:00:0a 02:00:5e:00:00:01 02:00:5E:00:00:0A
none 02:00:5e:00:ff:ff 02:00:5E:01:00:00
none 02:ff:ff:ff:ff:ff 02:FF:FF:00:00:00
none none
ADDRESSES
    rm "$state/usr/sbin/fw_printenv"
    add_port_section 02:00:5e:aa:bb:cc
    same "$(qsc -q get $path | tr '\n' ' ')" "02:00:5E:AA:BB:CC 1  "
    qsc set $path Enable=0 --apply
    same "$(stored)" "qrn_macaddr 02:00:5e:aa:bb:cc"
}

@test "what is no address of its own is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $path $arguments
        same "$status $output" "1 qsc: $path: $sentence"
    done <<'REFUSED'
Enable=1|Enable: it needs an address
MACAddress=01:00:5e:00:00:01|MACAddress: '01:00:5e:00:00:01' is no MAC address of one device
MACAddress=00:00:00:00:00:00|MACAddress: '00:00:00:00:00:00' is no MAC address of one device
MACAddress=02-00-5e-00-00-01|MACAddress: '02-00-5e-00-00-01' is no MAC address of one device
MACAddress=02:00:5e:00:53|MACAddress: '02:00:5e:00:53' is no MAC address of one device
MACAddress=02:00:5E:00:53:01 Enable=1|MACAddress: it is the address of eth0
MACAddress=02:00:5e:00:53:03|MACAddress: it is the address of br-lan
FactoryMACAddress=02:00:5e:00:00:01|FactoryMACAddress: it cannot be set
REFUSED
    [ ! -s "$state/tmp/.uci/network" ]
    # The one that it has already is no other's.
    echo 02:00:5e:00:53:02 >"$state/sys/class/net/eth0/address"
    qsc set $path MACAddress=02:00:5e:00:53:02
}
