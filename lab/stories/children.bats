#!/usr/bin/env bats
load ../lab.bash

rules=Device.X_QRN_Firewall.ParentalControl.

# clock FORMAT OFFSET: the router's time of day, so many minutes from now.
clock() { TZ=GMT0 date -d "$2 minutes" +"$1"; }

# bats test_tags=quick
@test "a child's device is refused in its hours, and passes outside of them" {
    needs nft busybox
    settle lan1
    settle lan2
    wan_is_up
    serve wan tcp 80 far
    qsc add $rules MACAddress=02:00:00:00:10:01 StartTime="$(clock %H:%M -60)" EndTime="$(clock %H:%M +60)" Enable=1 --apply
    is_silent lan1 tcp $far_host 80
    answers "far from $(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)" lan2 tcp $far_host 80
    # The router itself still answers the child.
    reaches lan1 192.168.1.1
    # It is not its hour now.
    qsc set ${rules}1 StartTime="$(clock %H:%M +60)" EndTime="$(clock %H:%M +120)" --apply
    ask lan1 tcp $far_host 80
    qsc set ${rules}1 Enable=0 StartTime="$(clock %H:%M -60)" --apply
    ask lan1 tcp $far_host 80
}

@test "all hours of a day, and hours over midnight" {
    needs nft busybox
    settle lan1
    wan_is_up
    serve wan tcp 80 far
    qsc add $rules MACAddress=02:00:00:00:10:01 StartTime=00:00 EndTime=00:00 Days="$(clock %w 0)" Enable=1 --apply
    is_silent lan1 tcp $far_host 80
    qsc set ${rules}1 Days="$((($(clock %w 0) + 3) % 7))" --apply
    ask lan1 tcp $far_host 80
    # Over midnight: the night that is not now.
    qsc set ${rules}1 StartTime="$(clock %H:%M +60)" EndTime="$(clock %H:%M -60)" Days= --apply
    ask lan1 tcp $far_host 80
    qsc set ${rules}1 StartTime="$(clock %H:%M -60)" EndTime="$(clock %H:%M -120)" --apply
    is_silent lan1 tcp $far_host 80
}

@test "a connection that is open when the hours begin is ended" {
    needs nft busybox conntrack socat
    settle lan1
    wan_is_up
    wan socat TCP-LISTEN:5000,fork EXEC:cat 3>&- &
    coproc talk { exec nsenter --net=/run/netns/lan1 -- socat - "TCP:$far_host:5000,retry=20,interval=0.1" 3>&-; }
    echo one >&"${talk[1]}"
    read -r -t 5 answer <&"${talk[0]}"
    same "$answer" one
    qsc add $rules MACAddress=02:00:00:00:10:01 StartTime="$(clock %H:%M -60)" EndTime="$(clock %H:%M +60)" Enable=1 --apply
    echo two >&"${talk[1]}"
    ! read -r -t 1 answer <&"${talk[0]}"
}

@test "blocked names have no address, for anybody" {
    needs dnsmasq busybox
    settle lan1
    wan_is_up
    eventually resolves lan1 far.example $far_host
    qsc set ${rules%.} BlockedNames=far.example,games.example.org --apply
    run resolve lan1 far.example
    same "$output" ""
    run resolve lan1 www.far.example
    same "$output" ""
    qsc set ${rules%.} BlockedNames=games.example.org --apply
    eventually resolves lan1 far.example $far_host
}

@test "the hours are those of the router's time zone, also when it changes" {
    needs nft busybox
    settle lan1
    wan_is_up
    serve wan tcp 80 far
    there() { TZ="<+1245>-12:45" date -d "$1 minutes" +%H:%M; }
    qsc set Device.Time XQrnTimeZoneLocation=Pacific/Chatham XQrnDSTDisable=1 --apply
    qsc add $rules MACAddress=02:00:00:00:10:01 StartTime="$(there -60)" EndTime="$(there +60)" Enable=1 --apply
    is_silent lan1 tcp $far_host 80
    qsc set ${rules}1 StartTime="$(there +60)" EndTime="$(there +120)" --apply
    ask lan1 tcp $far_host 80
    # It is not this hour there, but elsewhere.
    qsc set ${rules}1 StartTime="$(clock %H:%M -60)" EndTime="$(clock %H:%M +60)" --apply
    ask lan1 tcp $far_host 80
    qsc set Device.Time XQrnTimeZoneLocation=Africa/Abidjan --apply
    is_silent lan1 tcp $far_host 80
}
