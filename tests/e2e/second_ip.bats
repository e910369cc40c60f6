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
