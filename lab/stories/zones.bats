#!/usr/bin/env bats
load ../lab.bash

zones=Device.X_QRN_NetworkZone.
cafe=Device.X_QRN_NewZone.3

# A zone of its own for the second port, with addresses and a way to the provider.
make_cafe() {
    needs nft dnsmasq busybox
    qsc add ${zones} Name=cafe Interfaces=eth2 --apply >/dev/null
    qsc set $cafe IPAddress=192.168.30.1 SubnetMask=255.255.255.0 MinAddress=192.168.30.10 MaxAddress=192.168.30.19 \
        LeaseTime=600 DHCPEnable=1 Enable=1 --apply
    settle lan1
    wan_is_up
}

@test "a new zone has addresses, names and a way out of its own" {
    make_cafe
    [[ $(lease lan2) == "ip=192.168.30.1"*" router=192.168.30.1 dns=192.168.30.1 "*" lease=600 "* ]]
    eventually resolves lan1 far.example $far_host
    same "$(resolve lan2 far.example 192.168.30.1)" "$far_host"
    reaches lan2 $far_host
    reaches lan1 $far_host
    [[ $(qsc -q get $cafe.DHCP X_QRN_List) == *'"MACAddress":"02:00:00:00:10:02"'* ]]
    [[ $(qsc -q get Device.X_QRN_NewZone.1.DHCP X_QRN_List) != *'02:00:00:00:10:02'* ]]
    # A forwarding finds its host in any zone.
    host=$(client2 ip -4 -o addr show dev eth0 | sed 's/.*inet \([0-9.]*\).*/\1/')
    serve lan2 tcp 80 cafe
    qsc add Device.X_QRN_Firewall.PortForwarding. ExternalPort=8080 InternalPort=80 Protocol=TCP InternalClient="$host" Enable=1 --apply
    answers "cafe from $provider" wan tcp "$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)" 8080
    qsc delete Device.X_QRN_Firewall.PortForwarding.1 --apply
    qsc set $cafe InternetAccess=0 --apply
    wan_is_up
    is_cut_off lan2 $far_host
    reaches lan1 $far_host
    reaches lan2 192.168.30.1
    # The port comes back to the LAN when the zone goes.
    qsc set ${zones}1 Interfaces="$(qsc -q get ${zones}1 Interfaces),eth2"
    qsc delete ${zones}3 --apply
    [[ $(lease lan2) == "ip=192.168.1."* ]]
    run router_net ip link show dev br-cafe
    [ "$status" -ne 0 ]
}

@test "an isolated zone reaches nobody but the provider, and the router for names and addresses" {
    make_cafe
    settle lan2
    guest=$(client2 ip -4 -o addr show dev eth0 | sed 's/.*inet \([0-9.]*\).*/\1/')
    home=$(client1 ip -4 -o addr show dev eth0 | sed 's/.*inet \([0-9.]*\).*/\1/')
    serve lan1 tcp 80 home
    serve lan2 tcp 80 cafe
    serve router tcp 8000 router
    answers "home from $guest" lan2 tcp "$home" 80
    answers "cafe from $home" lan1 tcp "$guest" 80
    answers "router from $guest" lan2 tcp 192.168.1.1 8000
    qsc set ${zones}3 Isolation=1 --apply
    wan_is_up
    is_silent lan2 tcp "$home" 80
    is_silent lan2 tcp 192.168.30.1 8000
    is_silent lan2 tcp 192.168.1.1 8000
    is_silent lan1 tcp "$guest" 80
    answers "router from $home" lan1 tcp 192.168.1.1 8000
    settle lan2
    eventually test -n "$(resolve lan2 far.example 192.168.30.1)"
    reaches lan2 $far_host
}

@test "a zone with a VLAN takes its frames from a port with a tag" {
    ip link add lab-br type bridge vlan_filtering 1 2>/dev/null || skip "this kernel's bridges do not filter VLANs"
    ip link add link lab-br name lab-br.5 type vlan id 5 2>/dev/null || { ip link del lab-br && skip "this kernel has no VLAN devices"; }
    ip link del lab-br
    make_cafe
    qsc set ${zones}3 VLANID=30 --apply
    client2 ip link add link eth0 name eth0.30 type vlan id 30
    client2 ip link set eth0.30 up
    client2 ip addr add 192.168.30.15/24 dev eth0.30
    qsc set Device.X_QRN_NetworkZone.ManagementVlan VLANID=30 Tagged=1 Enable=1 --apply
    reaches lan2 192.168.30.1
}
