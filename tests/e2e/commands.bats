#!/usr/bin/env bats
load device.bash

@test "get answers every parameter, aligned and in table order" {
    same "$(qsc get Device.X_QRN_RemoteLog)" "Enable   = 0
Protocol = udp
Server   = 192.0.2.1
Port     = 514
Prefix   = router"
    same "$(qsc get Device.X_QRN_RemoteLog Port)" "Port = 514"
    same "$(journal)" ""
}

@test "set is visible at once, and only a commit changes the file" {
    qsc set Device.X_QRN_RemoteLog Server=192.0.2.7 "Prefix=it's \$HOME"
    same "$(qsc get Device.X_QRN_RemoteLog Server)" "Server = 192.0.2.7"
    grep -q "log_ip '192.0.2.1'" "$state/etc/config/system"
    same "$(device uci get system.@system[0].log_prefix)" "it's \$HOME"
    qsc commit Device.X_QRN_RemoteLog
    grep -q "log_ip '192.0.2.7'" "$state/etc/config/system"
    [ ! -s "$state/tmp/.uci/system" ]
    same "$(events)" "set Remote Log Server 192.0.2.7 by CLI
set Remote Log Prefix it's \$HOME by CLI"
}

@test "set --apply commits and restarts what uses it, in order" {
    qsc set Device.X_QRN_RemoteLog Server=192.0.2.7 Port=514 --apply
    grep -q "log_ip '192.0.2.7'" "$state/etc/config/system"
    same "$(journal)" "/etc/init.d/log restart
/etc/init.d/system restart"
    same "$(events)" "set Remote Log Server 192.0.2.7 by CLI
set Remote Log Port 514 by CLI"
}

@test "a set of several paths is applied as one" {
    qsc set Device.X_QRN_RemoteLog Port=1 Server=192.0.2.7 Device.Time.NTPServer1=a.example \
        Device.X_QRN_RemoteLog.Prefix=x --apply
    same "$(qsc -q get Device.X_QRN_RemoteLog Port Device.Time.NTPServer1 Device.X_QRN_RemoteLog Server Prefix)" "1
a.example
192.0.2.7
x"
    same "$(journal)" "/etc/init.d/log restart
/etc/init.d/system restart
/etc/init.d/sysntpd restart"
    grep -q a.example "$state/etc/config/system"
    run qsc set Device.X_QRN_RemoteLog Port=2 Device.Time Enabel=1
    same "$status" 2
    same "$(qsc -q get Device.X_QRN_RemoteLog.Port)" 1
    run qsc set Device.X_QRN_RemoteLog Port=2 Device.WiFi.Radio.2 PossibleChannels=9
    same "$status" 1
    [[ $output == "qsc: Device.WiFi.Radio.2: PossibleChannels: "* ]]
    same "$(qsc -q get Device.X_QRN_RemoteLog.Port)" 1
    run qsc set Device.X_QRN_RemoteLog Port=2 Device.WiFi.SSID.9 SSID=x
    same "$status" 1
    [[ $output == *"
qsc: set before that: Device.X_QRN_RemoteLog" ]]
}

@test "events name the commander and are JSON" {
    qsc --as web set Device.X_QRN_RemoteLog 'Prefix=a"b'
    run cat "$state/var/log/events.log"
    [[ $output == '{"Time":"'*'","Tag":"QSCD","Pid":'*',"Status":"n","Msg":"set Remote Log Prefix a\"b by WEB"}' ]]
}

@test "service runs the init scripts until one fails" {
    qsc service Device.X_QRN_RemoteLog start
    same "$(journal)" "/etc/init.d/log start
/etc/init.d/system start"
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/log"
    : >"$state/var/log/journal.txt"
    run qsc service Device.X_QRN_RemoteLog start
    same "$status" 1
    same "$(journal)" "/etc/init.d/log start"
}

@test "a failing service step is named after a set --apply" {
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/system"
    run qsc set Device.X_QRN_RemoteLog Port=99 --apply
    same "$status" 1
    [[ $output == "qsc: service restart: Device.X_QRN_RemoteLog: "* ]]
    grep -q "log_port '99'" "$state/etc/config/system"
}

@test "the device keeps its state until it is reset" {
    qsc set Device.X_QRN_RemoteLog Port=1 --apply
    same "$(qsc get Device.X_QRN_RemoteLog Port)" "Port = 1"
    "$root/sim/device" --state "$state" --reset
    same "$(qsc get Device.X_QRN_RemoteLog Port)" "Port = 514"
    same "$(journal)" ""
}

@test "driver tools keep what they are told and journal it on one line" {
    device iwpriv ra0 set Channel=11
    device iwpriv ra1 set "SSID=two
lines 'and' more"
    [[ $(device iwconfig ra3) == *"Mode:Managed  Channel:11  Access Point: 02:0C:43:26:60:03"* ]]
    same "$(cat "$state/var/lib/sim/ra1/SSID")" "two
lines 'and' more"
    same "$(journal)" "/usr/sbin/iwpriv ra0 set Channel=11
/usr/sbin/iwpriv ra1 set 'SSID=two\\012lines '\\''and'\\'' more'
/usr/sbin/iwconfig ra3"
}
