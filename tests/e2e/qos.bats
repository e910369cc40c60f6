#!/usr/bin/env bats
load device.bash

path=Device.QoS

# The queues of ours in the file, one a line, their options in the file's order.
stored() {
    awk '/^config/ { if (line != "") print line; line = $3 ~ /wan|zone/ ? $3 ":" : "" }
        line != "" && /option/ { name = $2; sub(/^[ \t]*option [^ ]+ /, ""); line = line " " name "=" $0 ";" }
        END { if (line != "") print line }' "$state/etc/config/sqm" | tr -d \'
}

@test "the line's limits become a queue of the WAN's device" {
    same "$(qsc -q get $path | tr '\n' '|')" "0|0|fq_codel|0|0|Disabled|"
    qsc set $path X_QRN_DownloadRate=90000 X_QRN_Discipline=cake X_QRN_Overhead=44 X_QRN_Enable=1 --apply
    same "$(stored)" "wan: download=90000; qdisc=cake; overhead=44; enabled=1; interface=eth1; script=piece_of_cake.qos; upload=0; linklayer=ethernet;"
    same "$(journal | grep -v ubus)" "/etc/init.d/sqm enable
/etc/init.d/sqm restart"
    same "$(qsc -q get $path X_QRN_UploadRate X_QRN_Status | tr '\n' '|')" "0|Error|"
    mkdir -p "$state/tmp/sqm"
    touch "$state/tmp/sqm/eth1.state"
    same "$(qsc -q get $path X_QRN_Status)" "Enabled"
    qsc set $path X_QRN_Enable=0 X_QRN_Discipline=fq_codel X_QRN_Overhead=0 --apply
    same "$(stored)" "wan: download=90000; qdisc=fq_codel; overhead=0; enabled=0; interface=eth1; script=simple.qos; upload=0; linklayer=none;"
    same "$(journal | tail -n 2)" "/etc/init.d/sqm disable
/etc/init.d/sqm restart"
}

@test "a zone's limits are as its clients see them, and 0 is none" {
    zone=$path.X_QRN_NetZone.1
    qsc set $zone DownloadRate=0 UploadRate=0 --apply
    same "$(stored)" ""
    qsc set $zone DownloadRate=20000 --apply
    same "$(stored)" "zone1: upload=20000; download=0; interface=br-lan; qdisc=fq_codel; script=simple.qos; enabled=0;"
    same "$(qsc -q get $zone | tr '\n' '|')" "20000|0|"
    qsc set $path X_QRN_Enable=1 X_QRN_Discipline=cake --apply
    [[ $(stored) == *"zone1: upload=20000; download=0; interface=br-lan; qdisc=cake; script=piece_of_cake.qos; enabled=1;"* ]]
    qsc set $zone DownloadRate=0 UploadRate=5000 --apply
    [[ $(stored) == *"zone1: upload=0; download=5000;"* ]]
    qsc set $zone UploadRate=0 --apply
    [[ $(stored) != *zone1* ]]
    same "$(events | tail -n 1)" "set qos zone [1] UploadRate 0 by CLI"
    [ ! -s "$state/tmp/.uci/qrnnetworkzone" ]
}

@test "what cannot be is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
$path X_QRN_DownloadRate=-1|$path: X_QRN_DownloadRate: -1 is not 0 to 100000000
$path X_QRN_Discipline=sfq|$path: X_QRN_Discipline: 'sfq' is not one of cake|fq_codel
$path X_QRN_Overhead=300|$path: X_QRN_Overhead: 300 is not 0 to 256
$path.X_QRN_NetZone.2 DownloadRate=100|$path.X_QRN_NetZone.2: DownloadRate: the zone has no device
$path.X_QRN_NetZone.9 DownloadRate=100|$path.X_QRN_NetZone.9: DownloadRate: there is no instance 9
REFUSED
    [ ! -e "$state/tmp/.uci/sqm" ]
    mv "$state/etc/config/sqm" "$state/tmp/sqm.away"
    run qsc set $path X_QRN_Enable=1
    same "$output" "qsc: $path: X_QRN_Enable: sqm is not installed"
    same "$(qsc -q get $path X_QRN_Enable X_QRN_Status | tr '\n' ' ')" "0 Disabled "
    mv "$state/tmp/sqm.away" "$state/etc/config/sqm"
    sed -i "s/enabled '0'/enabled '1'/" "$state/etc/config/sqm"
    run qsc set $path X_QRN_Enable=1
    same "$output" "qsc: $path: X_QRN_Enable: eth1 has a queue already, \"eth1\""
}
