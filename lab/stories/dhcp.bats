#!/usr/bin/env bats
load ../lab.bash

pool=Device.DHCPv4.Server.Pool.1

# bats test_tags=quick
@test "a static lease is given to the client that it was made for" {
    needs dnsmasq busybox
    qsc add $pool.StaticAddress. Chaddr=02:00:00:00:10:01 Yiaddr=192.168.1.50 X_QRN_Name=printer Enable=1 --apply
    lease lan1
    has_address lan1 192.168.1.50
    lease lan2
    run has_address lan2 192.168.1.50
    [ "$status" -ne 0 ]
}
