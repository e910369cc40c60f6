#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_Throughput.

@test "counters are told, and a process that asks for the first time has no rate yet" {
    echo 18446744073709551615 >"$state/sys/class/net/br-lan/statistics/rx_bytes"
    echo 5000000000 >"$state/sys/class/net/eth1/statistics/rx_bytes"
    same "$(qsc -q get $path WANReceived WANSent LANSent WANReceiveRate LANSendRate | tr '\n' ' ')" \
        "5000000000 500 500 0 0 "
    rm -r "$state/sys/class/net/eth1"
    same "$(qsc -q get $path WANReceived WANSendRate | tr '\n' ' ')" "0 0 "
    run qsc set $path WANSent=1
    [ "$status" -ne 0 ]
}
