#!/usr/bin/env bats
load ../lab.bash

# apply VALUES OPTIONS: asks the daemon to make a change that waits to be confirmed.
apply() {
    cp "$LAB/../tools/python/qsc.py" "$state/tmp/"
    router /host/usr/bin/python3 -IB -c "import sys; sys.path.insert(0, '/tmp'); import qsc
print(qsc.Client(timeout=60, commander='WEB').apply($1, $2))"
}

managed() {
    needs dnsmasq busybox nft
    router /etc/init.d/qscd start
    settle lan1
    wan_is_up
    reaches lan1 192.168.1.1
}

is_settled() { [[ $(qsc pending) == "nothing waits to be confirmed"* ]]; }

@test "a change that cuts the management line comes back by itself" {
    managed
    apply "{'Device.X_QRN_NewZone.1.IPAddress': '10.20.30.1'}" confirm=3
    eventually is_cut_off lan1 192.168.1.1
    same "$(router_net ip -4 -o addr show dev br-lan | awk '{ print $4 }')" 10.20.30.1/24
    # Nobody confirms: the address, the pool and the rules are those of before.
    eventually is_settled
    eventually reaches lan1 192.168.1.1
    [[ $(qsc pending) == *": restored" ]]
    [[ $(lease lan1) == "ip=192.168.1."*" router=192.168.1.1 "* ]]
    reaches lan1 $far_host
}

@test "a change that is confirmed over the new line stays" {
    managed
    apply "{'Device.X_QRN_NewZone.1.IPAddress': '10.20.30.1'}" "confirm=30, id='move'"
    has_moved() { lease lan1 | grep -q "^ip=10.20.30."; }
    eventually has_moved
    reaches lan1 10.20.30.1
    qsc confirm move
    eventually is_settled
    reaches lan1 10.20.30.1
    same "$(qsc -q get Device.DHCPv4.Server.Pool.1 MinAddress)" 10.20.30.100
}

@test "the router takes back what costs it its gateway" {
    managed
    apply "{'Device.IP.Interface.1.X_QRN_AddressingType': 'Static', 'Device.IP.Interface.1.X_QRN_IPAddress': '203.0.113.200',
        'Device.IP.Interface.1.X_QRN_SubnetMask': '255.255.255.0', 'Device.IP.Interface.1.X_QRN_DefaultGateway': '203.0.113.99'}" \
        "confirm=60, checks=['gateway'], retries=0"
    eventually is_settled
    [[ $(qsc pending) == *": restored" ]]
    wan_is_up
    eventually reaches lan1 $far_host
    # The same with the provider's gateway confirms itself.
    apply "{'Device.IP.Interface.1.X_QRN_AddressingType': 'Static', 'Device.IP.Interface.1.X_QRN_IPAddress': '203.0.113.200',
        'Device.IP.Interface.1.X_QRN_SubnetMask': '255.255.255.0', 'Device.IP.Interface.1.X_QRN_DefaultGateway': '203.0.113.1'}" \
        "checks=['gateway'], retries=3"
    eventually is_settled
    [[ $(qsc pending) == *": confirmed" ]]
    reaches lan1 $far_host
}
