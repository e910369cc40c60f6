#!/usr/bin/env bats
load device.bash

path=Device.Routing.Rip.InterfaceSetting.1

@test "the routing daemon gets its lines, and loses them" {
    same "$(qsc -q get $path | tr '\n' ' ')" " 1 1 0 Disabled "
    echo "log syslog" >"$state/etc/frr/frr.conf"
    qsc set $path Interface=Device.IP.Interface.1 Enable=1 --apply
    same "$(stat -c %a "$state/etc/config/ripd")" 600
    same "$(cat "$state/etc/frr/frr.conf")" "log syslog
! RIP as qsc has set it, begin
router rip
 redistribute connected
 network eth1
ip prefix-list qrn_none seq 5 deny any
! RIP as qsc has set it, end"
    same "$(tr '\n' ' ' <"$state/etc/frr/daemons")" "zebra=yes bgpd=no ripd=yes "
    same "$(journal)" "/etc/init.d/ripd restart
/etc/init.d/frr restart"
    qsc set $path Interface=Device.X_QRN_NetworkZone.1 AcceptRA=0 SendRA=0 --apply
    same "$(sed -n '/ network/,/prefix-list/p' "$state/etc/frr/frr.conf")" " network br-lan
 passive-interface br-lan
 distribute-list prefix qrn_none in br-lan
ip prefix-list qrn_none seq 5 deny any"
    same "$(qsc -q get $path | tr '\n' ' ')" "Device.X_QRN_NetworkZone.1 0 0 1 Error "
    # What has not changed disturbs nobody.
    : >"$state/var/log/journal.txt"
    qsc service $path restart
    same "$(journal)" "/etc/init.d/ripd restart"
    qsc set $path Enable=0 --apply
    same "$(cat "$state/etc/frr/frr.conf")" "log syslog"
    same "$(tr '\n' ' ' <"$state/etc/frr/daemons")" "zebra=yes bgpd=no ripd=no "
    same "$(events | tail -4)" "set rip Interface Device.X_QRN_NetworkZone.1 by CLI
set rip AcceptRA 0 by CLI
set rip SendRA 0 by CLI
set rip Enable 0 by CLI"
}

@test "the state is that of the daemon" {
    qsc set $path Interface=Device.IP.Interface.1 Enable=1
    mkdir -p "$state/var/run/frr"
    device sh -c "cp /bin/sleep /tmp/ripd && exec 3<>/dev/null
        /tmp/ripd 60 & echo \$! >/var/run/frr/ripd.pid
        until grep -qx ripd /proc/\$!/comm; do :; done; qsc -q get $path Status; kill \$!" >"$BATS_TEST_TMPDIR/status"
    same "$(cat "$BATS_TEST_TMPDIR/status")" Enabled
    echo 1 >"$state/tmp/frr/ripd.pid" # somebody else's process
    same "$(qsc -q get $path Status)" Error
    device uci set ripd.config.interface=gone
    same "$(qsc -q get $path Interface Status | tr '\n' ' ')" " Error_Misconfigured "
}

@test "without the routing daemon the service fails, and may be stopped" {
    rm "$state/etc/init.d/frr"
    qsc set $path Interface=Device.IP.Interface.1 Enable=1
    qsc commit $path
    run qsc service $path restart
    same "$status $output" "1 qsc: service restart: $path: /etc/init.d/ripd restart failed"
    qsc service $path stop
    qsc set $path Enable=0 --apply
}

@test "what RIP cannot be is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $path $arguments
        same "$status $output" "1 qsc: $path: $sentence"
    done <<'REFUSED'
Enable=1|Enable: it needs an interface
Enable=1 Interface=|Interface: it needs an interface
Interface=Device.X_QRN_NetworkZone.9|Interface: there is no such interface
Interface=eth1|Interface: there is no such interface
SendRA=2|SendRA: '2' is neither 0 nor 1
Status=Enabled|Status: it cannot be set
REFUSED
    [ ! -s "$state/tmp/.uci/ripd" ]
    rm "$state/etc/config/ripd"
    run qsc set $path SendRA=0
    same "$status $output" "1 qsc: $path: SendRA: ripd is not installed"
}
