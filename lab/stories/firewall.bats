#!/usr/bin/env bats
load ../lab.bash

forwardings=Device.X_QRN_Firewall.PortForwarding.

# Both clients at known addresses, and where the provider sees the router.
lan_with_hosts() {
    needs nft dnsmasq busybox
    qsc add Device.DHCPv4.Server.Pool.1.StaticAddress. Chaddr=02:00:00:00:10:01 Yiaddr=192.168.1.20 Enable=1 >/dev/null
    qsc add Device.DHCPv4.Server.Pool.1.StaticAddress. Chaddr=02:00:00:00:10:02 Yiaddr=192.168.1.30 Enable=1 --apply >/dev/null
    settle lan1
    settle lan2
    wan_is_up
    public=$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)
}

# bats test_tags=quick
@test "a forwarding reaches the host in the LAN, and stops when it is disabled" {
    lan_with_hosts
    serve lan1 tcp 80 web
    is_silent wan tcp "$public" 8080
    qsc add $forwardings ExternalPort=8080 InternalPort=80 Protocol=TCP InternalClient=192.168.1.20 \
        Description="Anna's web server, \"quoted\"" Enable=1 --apply
    answers "web from $provider" wan tcp "$public" 8080
    is_silent wan tcp "$public" 80
    # Clients of the LAN come by the public address as well.
    answers "web from 192.168.1.1" lan2 tcp "$public" 8080
    qsc set ${forwardings}1 Enable=0 --apply
    is_silent wan tcp "$public" 8080
}

@test "a forwarding of a range, for one remote host, in both protocols" {
    lan_with_hosts
    serve lan1 tcp 9003 game
    serve lan1 udp 9003 game
    wan ip addr add 203.0.113.2/24 dev eth0
    qsc add $forwardings ExternalPort=9000 ExternalPortEndRange=9010 Protocol=X_QRN_Both InternalClient=192.168.1.20 \
        RemoteHost=203.0.113.1 Enable=1 --apply
    answers "game from $provider" wan tcp "$public" 9003
    answers "game from $provider" wan udp "$public" 9003
    qsc set ${forwardings}1 RemoteHost=203.0.113.2 --apply
    is_silent wan tcp "$public" 9003
    qsc set ${forwardings}1 RemoteHost= ExternalPort=9003 ExternalPortEndRange=0 InternalPort=0 Protocol=UDP --apply
    answers "game from $provider" wan udp "$public" 9003
    is_silent wan tcp "$public" 9003
    qsc delete ${forwardings}1 --apply
    is_silent wan udp "$public" 9003
}

@test "the DMZ gets what no forwarding takes, and nothing when it is off" {
    lan_with_hosts
    serve lan1 tcp 80 web
    serve lan2 tcp 4444 dmz
    serve lan2 tcp 80 dmz
    qsc add $forwardings ExternalPort=80 InternalPort=80 Protocol=TCP InternalClient=192.168.1.20 Enable=1 >/dev/null
    qsc commit $forwardings
    qsc set Device.X_QRN_DMZ Enable=1 DestIP=192.168.1.30 --apply
    answers "dmz from $provider" wan tcp "$public" 4444
    answers "web from $provider" wan tcp "$public" 80
    qsc set Device.X_QRN_DMZ Enable=0 --apply
    is_silent wan tcp "$public" 4444
    answers "web from $provider" wan tcp "$public" 80
}

@test "the router's own services stay its own beside a DMZ" {
    needs dropbear
    lan_with_hosts
    serve lan2 tcp 22 dmz
    serve lan2 tcp 2022 dmz
    wan ip addr add 203.0.113.2/24 dev eth0
    is_own() { in_space wan "$LAB/talk" ask tcp "$public" "$1" "$2" | grep -qa ^SSH-2.0-dropbear; }
    qsc set Device.X_QRN_DMZ Enable=1 DestIP=192.168.1.30 --apply
    answers "dmz from $provider" wan tcp "$public" 22
    # Opened after the DMZ was, for one address of the two.
    qsc set Device.X_QRN_RemoteAccess.SSH WANAccess=1 WANSourcePrefix=203.0.113.2/32 --apply
    is_own 22 203.0.113.2
    answers "dmz from $provider" wan tcp "$public" 22
    # Who comes by another address of the router's gets no further.
    wan ip route add 192.168.1.0/24 via "$public"
    answers "dmz from $provider" wan tcp 192.168.1.1 22
    qsc set Device.X_QRN_RemoteAccess.SSH Port=2022 WANSourcePrefix= --apply
    is_own 2022 203.0.113.1
    is_own 2022 203.0.113.2
    answers "dmz from $provider" wan tcp "$public" 22
    qsc set Device.X_QRN_RemoteAccess.SSH WANAccess=0 --apply
    answers "dmz from $provider" wan tcp "$public" 2022
}
