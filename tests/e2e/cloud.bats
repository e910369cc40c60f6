#!/usr/bin/env bats
load device.bash

@test "the agent's state is shown, and what is none is not" {
    path=Device.X_QRN_Orvane
    same "$(qsc -q get $path | tr '\n' ';')" "0;Disabled;;;;0001-01-01T00:00:00Z;"
    device uci set orvane.config.enable=1
    device uci set orvane.config.server=cloud.example.net
    device uci set orvane.config.device_id=QRN-0007
    same "$(qsc -q get $path Status)" Error
    printf 'status=Connected\nversion=1.4.2\nlast_contact=1795239939\n' >"$state/tmp/orvane.status"
    same "$(qsc -q get $path | tr '\n' ';')" "1;Connected;cloud.example.net;QRN-0007;1.4.2;2026-11-21T05:45:39Z;"
    printf 'status=Owned\nversion=1\033[2J\nlast_contact=-5\n' >"$state/tmp/orvane.status"
    same "$(qsc -q get $path Status Version LastContact | tr '\n' ';')" "Error;;0001-01-01T00:00:00Z;"
    printf 'version=%065d\nlast_contact=999999999999\n' 0 >"$state/tmp/orvane.status"
    same "$(qsc -q get $path Version LastContact | tr '\n' ';')" ";0001-01-01T00:00:00Z;"
    run qsc set $path Enable=0
    [ "$status" -ne 0 ]
}

@test "applications are blocked, and their traffic is listed" {
    path=Device.X_QRN_nDPI
    same "$(qsc -q get $path | tr '\n' ';')" ";0;[];"
    qsc set $path BlockedApplications=chat,Video.Net Enable=1 --apply
    same "$(grep -c "list blocked_applications '\(chat\|Video.Net\)'" "$state/etc/config/ndpi")" 2
    same "$(journal)" "/etc/init.d/ndpi restart"
    printf 'chat 1200\n<script> 7\nvideo\nmail 12x\nweb 18446744073709551616\n\377\376 5\ngame 0\n' >"$state/tmp/ndpi.status"
    same "$(qsc -q get $path X_QRN_List)" '[{"Name":"chat","Bytes":1200},{"Name":"game","Bytes":0}]'
    ln -sf /etc/shadow "$state/tmp/ndpi.status"
    same "$(qsc -q get $path X_QRN_List)" "[]"
    for bad in "--exec" "a b" "a;b" "$(printf '%033d' 0)"; do
        run qsc set $path BlockedApplications="chat,$bad"
        [ "$status" -eq 1 ]
    done
    same "$(qsc -q get $path BlockedApplications)" chat,Video.Net
}
