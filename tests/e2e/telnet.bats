#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_RemoteAccess.Telnet

@test "telnet is switched on with a port of its own" {
    same "$(qsc -q get $path | tr '\n' ' ')" "23 0 Disabled "
    qsc set $path Enable=1 Port=2323 --apply
    same "$(qsc -q get $path | tr '\n' ' ')" "2323 1 Error "
    same "$(journal)" "/etc/init.d/telnetd restart"
    same "$(stat -c %a "$state/etc/config/telnetd")" 600
    same "$(events)" "set telnet Port 2323 by CLI
set telnet Enable 1 by CLI"
    run qsc set $path Port=22
    same "$status $output" "1 qsc: $path: Port: port 22 is that of SSH"
    run qsc set $path Port=0
    same "$status $output" "1 qsc: $path: Port: 0 is not 1 to 65535"
}

@test "the last way to the router stays" {
    qsc set $path Enable=1 --apply
    sed -i "s/option enable '1'/option enable '0'/" "$state/etc/config/dropbear"
    run qsc set $path Enable=0
    same "$status $output" "1 qsc: $path: Enable: it is the last way to the router"
    sed -i "s/option enable '0'/option enable '1'/" "$state/etc/config/dropbear"
    qsc set $path Enable=0
}

@test "without its package telnet cannot be set" {
    rm "$state/etc/config/telnetd"
    same "$(qsc -q get $path Enable)" 0
    run qsc set $path Enable=1
    same "$status $output" "1 qsc: $path: Enable: telnetd is not installed"
}
