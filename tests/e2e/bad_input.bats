#!/usr/bin/env bats
load device.bash

@test "a service action that could start a second command runs nothing" {
    for action in 'restart;reboot' 'restart
reboot' '$(reboot)' '`reboot`' 'restart>/etc/passwd' 'a|b' ''; do
        run qsc service Device.X_QRN_RemoteLog "$action"
        same "$status" 1
        [[ $output == "qsc: service "*": Device.X_QRN_RemoteLog: "* ]]
    done
    same "$(journal)" ""
}

@test "a misspelt path or parameter is wrong usage with a suggestion" {
    run qsc get Device.Foo
    same "$status" 2
    [[ $output == *"no path 'Device.Foo'. 'qsc list' shows"* ]]
    run qsc set Device.X_QRN_RemoteLog Sever=1
    same "$status" 2
    [[ $output == *"did you mean 'Server'?"* ]]
    [ ! -e "$state/tmp/.uci/system" ]
}

@test "values beyond the limit are refused and nothing is stored" {
    run qsc set Device.X_QRN_RemoteLog "Server=$(printf '%0127d' 0)"
    same "$status" 1
    [[ $output == "qsc: Device.X_QRN_RemoteLog: Server: "* ]]
    qsc set Device.X_QRN_RemoteLog "Server=$(printf '%0126d' 0)"
    for json in null '{}' '[]' '"a\u0000b"'; do
        run qsc set Device.X_QRN_RemoteLog "Port:=$json"
        same "$status" 1
    done
}

@test "a missing or malformed package reads as empty and is never overwritten" {
    printf 'config system\n\toption open '"'"'quote\n' >"$state/etc/config/system"
    cp "$state/etc/config/system" "$state/before"
    same "$(qsc get Device.X_QRN_RemoteLog Port)" "Port = "
    run qsc set Device.X_QRN_RemoteLog Port=1 --apply
    same "$status" 1
    cmp "$state/before" "$state/etc/config/system"
    rm "$state/etc/config/system"
    same "$(qsc get Device.X_QRN_RemoteLog Port)" "Port = "
    run qsc commit Device.X_QRN_RemoteLog
    same "$status" 1
}

@test "a missing or broken zlog.conf costs the events, not the command" {
    rm "$state/etc/zlog.conf"
    qsc set Device.X_QRN_RemoteLog Port=1
    printf '[rules]\nnonsense\n' >"$state/etc/zlog.conf"
    qsc set Device.X_QRN_RemoteLog Port=2
    run qsc -v get Device.X_QRN_RemoteLog Port
    same "$status" 0
    [[ $output == *"[E] QEvtLog_Init, error 14"* ]]
    [[ $output == *"Port = 2"* ]]
}

@test "without -v the library's log stays off the terminal" {
    rm "$state/etc/config/system"
    same "$(qsc get Device.X_QRN_RemoteLog Port 2>&1)" "Port = "
    [[ $(qsc -v get Device.X_QRN_RemoteLog Port 2>&1) == *"[W] system.@system[0].log_port not found"* ]]
}

@test "the device says what is missing" {
    run env PATH=/nowhere /bin/bash "$root/sim/device" --state "$state" qsc list
    [ "$status" -ne 0 ]
    run "$root/sim/device" --build "$BATS_TEST_TMPDIR" --state "$state" qsc list
    same "$status" 3
    [[ $output == *"./dev build"* ]]
}

@test "nothing on the device reaches the host's files" {
    device sh -c 'echo x >/etc/host-marker; echo x >/tmp/host-marker'
    [ -e "$state/etc/host-marker" ] && [ ! -e /etc/host-marker ] && [ ! -e /tmp/host-marker ]
    run device touch /usr/lib/host-marker
    [ "$status" -ne 0 ]
}
