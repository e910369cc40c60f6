#!/usr/bin/env bats
load device.bash

path=Device.IP.Diagnostics.X_QRN_Speedtest.
result=tmp/qrn_speedtest/result

# measured COMMAND: asks for a measurement, and waits on the device for its end.
measured() {
    device sh -c "qsc set $path DiagnosticsState=Requested || exit
        while [ \"\$(qsc -q get $path DiagnosticsState)\" = Requested ]; do sleep 0.1; done"
}

@test "a measurement runs in the background and is read when it is complete" {
    same "$(qsc -q get $path | tr '\n' ' ')" " None 0 0 0 0001-01-01T00:00:00Z "
    qsc set $path Server=speed.example.net
    measured
    same "$(qsc -q get $path Server DiagnosticsState DownloadRate UploadRate Latency | tr '\n' ' ')" \
        "speed.example.net Complete 93000 21000 12 "
    [[ $(qsc -q get $path CompleteTime) == 20*Z ]]
    same "$(journal)" "/usr/bin/qrn_speedtest.sh speed.example.net"
    # What the script says is not trusted.
    printf 'download=1e9\nupload=-1\nlatency=x\nstate=Complete\n' >"$state/$result"
    same "$(qsc -q get $path DownloadRate UploadRate Latency | tr '\n' ' ')" "0 0 0 "
    printf 'download=1\nstate=<b>\n' >"$state/$result"
    same "$(qsc -q get $path DiagnosticsState DownloadRate | tr '\n' ' ')" "Error_Internal 0 "
}

@test "one at a time, and it can be canceled" {
    mkdir -p "$state/var/lib/sim/speedtest" && touch "$state/var/lib/sim/speedtest/waits"
    run device sh -c "qsc set $path DiagnosticsState=Requested && qsc set $path DiagnosticsState=Requested
        qsc -q get $path DiagnosticsState; qsc set $path DiagnosticsState=Canceled
        qsc -q get $path DiagnosticsState; ps -e | grep -c qrn_speedtest"
    same "$output" "qsc: $path: DiagnosticsState: a measurement is under way
Requested
Canceled
0"
}
