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
}
