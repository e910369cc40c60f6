#!/usr/bin/env bats
load device.bash

path=Device.Ethernet.X_QRN_Custommac.

stored() { sed -n 's/.*option \(\(qrn_\)\?macaddr\) /\1 /p' "$state/etc/config/network" | tr -d "'"; }

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
