#!/usr/bin/env bats
load ../lab.bash

wan=Device.IP.Interface.1

@test "the WAN's status is what the provider gave; a fixed address takes its place" {
    needs dnsmasq busybox
    wan_is_up
    [[ $(qsc -q get $wan X_QRN_IPAddress) == 203.0.113.* ]]
    same "$(qsc -q get $wan Status X_QRN_SubnetMask X_QRN_DefaultGateway X_QRN_DNSServers Name | tr '\n' ' ')" \
        "Up 255.255.255.0 203.0.113.1 203.0.113.1 eth1 "
    settle lan1
    reaches lan1 $far_host
    qsc set $wan X_QRN_AddressingType=Static X_QRN_IPAddress=203.0.113.200 X_QRN_SubnetMask=255.255.255.0 \
        X_QRN_DefaultGateway=203.0.113.1 MaxMTUSize=1400 --apply
    same "$(router_net ip -4 -o addr show dev eth1 | awk '{ print $4 }')" "203.0.113.200/24"
    router_net ip link show dev eth1 | grep -q "mtu 1400"
    serve wan tcp 7000 far
    answers "far from 203.0.113.200" lan1 tcp $far_host 7000
    qsc set $wan X_QRN_AddressingType=DHCP --apply
    wan_is_up
    [[ $(qsc -q get $wan X_QRN_IPAddress) == 203.0.113.[5-9]? ]]
    qsc set $wan Enable=0 --apply
    same "$(qsc -q get $wan Status)" "Down"
    is_cut_off lan1 $far_host
}

# has_mac ADDRESS: the router's side of the line to the provider.
has_mac() { router_net ip link show dev eth1 | grep -q "ether $1 "; }

@test "the provider sees the MAC address that was chosen, until it is off" {
    needs dnsmasq busybox
    wan_is_up
    custom=Device.Ethernet.X_QRN_Custommac.
    qsc set $custom Enable=1 MACAddress=02:00:00:00:AB:CD --apply
    wan_is_up
    grep -q " 02:00:00:00:ab:cd $(qsc -q get $wan X_QRN_IPAddress)" "$folder/provider.leases"
    has_mac 02:00:00:00:ab:cd
    qsc set $custom Enable=0 --apply
    has_mac 02:00:00:00:00:02
    # Many boards describe the device: what is said of the interface does not count there.
    printf "config device\n\toption name 'eth1'\n\toption macaddr '02:00:00:00:00:02'\n" >>"$state/etc/config/network"
    qsc set $custom Enable=1 MACAddress=02:00:00:00:AB:CE --apply
    qsc set $wan MaxMTUSize=1400 --apply
    has_mac 02:00:00:00:ab:ce
    router_net ip link show dev eth1 | grep -q "mtu 1400"
    qsc set $custom Enable=0 --apply
    has_mac "$(qsc -q get $custom FactoryMACAddress | tr A-F a-f)"
}

@test "clients ask the servers of names that were chosen" {
    needs dnsmasq busybox
    settle lan1
    wan_is_up
    eventually resolves lan1 far.example $far_host
    # Another server of the provider's knows another address.
    wan ip addr add 203.0.113.53/32 dev lo
    wan dnsmasq --no-daemon --conf-file=/dev/null --pid-file --bind-interfaces --listen-address=203.0.113.53 --no-resolv --no-hosts \
        --address=/far.example/198.18.0.99 >"$folder/names.log" 2>&1 3>&- &
    qsc set Device.DNS.Client.Server.X_QRN_Custom DNSServer1=203.0.113.53 Enable=1 --apply
    wan_is_up
    eventually resolves lan1 far.example 198.18.0.99
    same "$(qsc -q get Device.DNS.Client.Server X_QRN_DNSServers)" "203.0.113.53"
    qsc set Device.DNS.Client.Server.X_QRN_Custom Enable=0 --apply
    wan_is_up
    eventually resolves lan1 far.example $far_host
}

@test "a second address of the LAN answers, and is gone when it is off" {
    needs busybox
    client1 ip addr add 192.168.9.2/24 dev eth0
    is_cut_off lan1 192.168.9.1
    qsc set Device.X_QRN_2ndStaticIp IPAddress=192.168.9.1 SubnetMask=255.255.255.0 Enable=1 --apply
    reaches lan1 192.168.9.1
    same "$(qsc -q get Device.X_QRN_2ndStaticIp Status)" "Enabled"
    qsc set Device.X_QRN_2ndStaticIp Enable=0 --apply
    is_cut_off lan1 192.168.9.1
}

# bats test_tags=quick
@test "a route is used, and is gone when it is deleted" {
    needs busybox
    routes=Device.Routing.Router.1.IPv4Forwarding.
    # Behind the second client is a network of its own.
    client2 ip addr add 192.168.1.30/24 dev eth0
    client2 ip addr add 10.99.0.1/32 dev lo
    client2 ip route add default via 192.168.1.1
    client1 ip addr add 192.168.1.20/24 dev eth0
    client1 ip route add default via 192.168.1.1
    is_cut_off lan1 10.99.0.1
    qsc add $routes DestIPAddress=10.99.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.30 Enable=1 --apply
    reaches lan1 10.99.0.1
    same "$(qsc -q get ${routes}1 Status)" "Enabled"
    qsc set ${routes}1 ForwardingMetric=7 Interface=Device.X_QRN_NetworkZone.1 --apply
    router_net ip route show 10.99.0.0/16 | grep -q "via 192.168.1.30 dev br-lan .*metric 7"
    reaches lan1 10.99.0.1
    qsc delete ${routes}1 --apply
    is_cut_off lan1 10.99.0.1
}

@test "the throughput counts what went through" {
    needs socat busybox
    router ls /mnt/class/net/eth1 >/dev/null 2>&1 || skip "the kernel's counters are not to be seen in this namespace"
    settle lan1
    wan_is_up
    counters() { qsc -q get Device.X_QRN_Throughput. WANReceived LANSent | tr '\n' ' '; }
    read -r received sent <<<"$(counters)"
    wan sh -c 'head -c 3000000 /dev/zero | socat -u - TCP-LISTEN:7000,reuseaddr' 3>&- &
    same "$(client1 socat -u "TCP:$far_host:7000,retry=20,interval=0.1" - | wc -c)" 3000000
    read -r received_now sent_now <<<"$(counters)"
    echo "received $((received_now - received)), sent $((sent_now - sent))"
    [ $((received_now - received)) -ge 3000000 ]
    [ $((received_now - received)) -lt 4000000 ]
    [ $((sent_now - sent)) -ge 3000000 ]
    [ $((sent_now - sent)) -lt 4000000 ]
}
