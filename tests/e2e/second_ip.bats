#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_2ndStaticIp

stored() {
    awk '/^config/ { on = $3 == "\047lan2\047" } on && /option/ { gsub("\047", ""); printf "%s=%s ", $2, $3 }' \
        "$state/etc/config/network"
}

@test "the second address is made, waits until it is enabled, and is changed" {
    same "$(qsc -q get $path | tr '\n' ' ')" "  0 Disabled "
    qsc set $path IPAddress=192.168.7.1 SubnetMask=255.255.255.0 --apply
    same "$(stored)" "ipaddr=192.168.7.1 proto=static device=@lan disabled=1 netmask=255.255.255.0 "
    qsc set $path Enable=1 --apply
    same "$(qsc -q get $path | tr '\n' ' ')" "192.168.7.1 255.255.255.0 1 Error "
    # The address of the loopback device is one that the router has for certain.
    sed -i 's/192\.168\.7\.1/127.0.0.1/' "$state/etc/config/network"
    same "$(qsc -q get $path Status)" Enabled
    same "$(journal)" "/etc/init.d/network restart
/etc/init.d/network restart"
}

@test "an enabled address comes whole in one request" {
    qsc set $path Enable=1 SubnetMask=255.255.255.0 IPAddress=10.0.0.1 --apply
    same "$(stored)" "ipaddr=10.0.0.1 proto=static device=@lan disabled=0 netmask=255.255.255.0 "
    same "$(events)" "set second static ip IPAddress 10.0.0.1 by CLI
set second static ip SubnetMask 255.255.255.0 by CLI
set second static ip Enable 1 by CLI"
}

@test "addresses that the router cannot have are refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $path $arguments
        same "$status $output" "1 qsc: $path: $sentence"
    done <<'REFUSED'
Enable=1|Enable: it needs an address and a mask
Enable=1 IPAddress=10.0.0.1|IPAddress: it needs an address and a mask
IPAddress=10.0.0.0 SubnetMask=255.255.255.0|IPAddress: the address is none of a host in its network
IPAddress=10.0.0.255 SubnetMask=255.255.255.0|IPAddress: the address is none of a host in its network
IPAddress=224.0.0.1 SubnetMask=255.0.0.0|IPAddress: the address is none of a host in its network
IPAddress=192.168.1.77 SubnetMask=255.255.255.252|IPAddress: the network overlaps that of lan
IPAddress=192.168.9.1 SubnetMask=255.255.0.0|IPAddress: the network overlaps that of lan
SubnetMask=255.0.255.0|SubnetMask: '255.0.255.0' is no contiguous netmask
Status=Enabled|Status: it cannot be set
REFUSED
    [ ! -e "$state/tmp/.uci/network" ]
}
