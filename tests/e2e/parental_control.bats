#!/usr/bin/env bats
load device.bash

list=Device.X_QRN_Firewall.ParentalControl.
tablet=02:00:00:00:00:0a

# The rules of ours in the file, one a line, their options in the file's order.
stored() {
    awk '/^config/ { if (line ~ / qrn=/) print line; line = $2 == "rule" ? $3 ":" : "" }
        line != "" && /option|list/ { name = $2; sub(/^[ \t]*(option|list) [^ ]+ /, ""); line = line " " name "=" $0 ";" }
        END { if (line ~ / qrn=/) print line }' "$state/etc/config/firewall" | tr -d \'
}

# checked: the firewall can use every section as it is.
checked() { same "$(device fw4 check 2>&1 | grep -v 'specifies unknown option qrn')" ""; }

blocked() { sed -n "s/^\tlist address '\(.*\)'/\1/p" "$state/etc/config/dhcp" | tr '\n' ' '; }

@test "a rule within the day is one section" {
    same "$(qsc add $list MACAddress=$tablet Days=5,1,1 StartTime=14:00 EndTime=15:30 Description="Lena's tablet" Enable=1 --apply)" \
        "${list}1"
    same "$(stored)" ": qrn_index=1; qrn=parental; src=lan; dest=*; proto=all; target=REJECT; qrn_description=Lena\\s tablet; name=Lena s tablet; src_mac=02:00:00:00:00:0A; weekdays=Mon Fri; start_time=14:00; stop_time=15:29:59;"
    checked
    same "$(journal)" "/etc/init.d/firewall restart
/etc/init.d/dnsmasq restart"
    same "$(qsc -q get ${list}1 | tr '\n' '|')" "0|0|Lena's tablet|02:00:00:00:00:0A|1,5|14:00|15:30|1|Enabled|"
    same "$(qsc -q get ${list%.} | tr '\n' '|')" "1|1||"
}

@test "a rule over midnight is two sections, which go together" {
    qsc add $list MACAddress=$tablet Days=6 StartTime=21:00 EndTime=06:30 Enable=1 --apply
    qsc add $list MACAddress=02:00:00:00:00:0b StartTime=22:00 EndTime=00:00 --apply
    same "$(stored)" ": qrn_index=1; qrn=parental; src=lan; dest=*; proto=all; target=REJECT; src_mac=02:00:00:00:00:0A; weekdays=Sat; start_time=21:00; stop_time=23:59:59;
: qrn=parental2; qrn_of=1; src=lan; dest=*; proto=all; target=REJECT; weekdays=Sun; start_time=00:00; stop_time=06:29:59; src_mac=02:00:00:00:00:0A;
: qrn_index=2; enabled=0; qrn=parental; src=lan; dest=*; proto=all; target=REJECT; src_mac=02:00:00:00:00:0B; start_time=22:00; stop_time=23:59:59;"
    checked
    same "$(qsc -q get ${list%.} X_QRN_Instances)" "1,2"
    same "$(qsc -q get ${list}1 Days StartTime EndTime | tr '\n' '|')" "6|21:00|06:30|"
    same "$(qsc -q get ${list}2 Days StartTime EndTime Status | tr '\n' '|')" "|22:00|00:00|Disabled|"
    qsc set ${list}1 MACAddress=02:00:00:00:00:0c Enable=0 Description=Tablet Days= --apply
    [[ $(stored | sed -n 2p) == *" src_mac=02:00:00:00:00:0C; name=Tablet; enabled=0;" && $(stored) != *weekdays* ]]
    qsc set ${list}1 EndTime=23:00 --apply
    same "$(stored | grep -c parental2)" "0"
    qsc set ${list}1 EndTime=20:59 --apply
    same "$(stored | grep -c parental2)" "1"
    qsc delete ${list}1 --apply
    same "$(stored)" ": qrn_index=2; enabled=0; qrn=parental; src=lan; dest=*; proto=all; target=REJECT; src_mac=02:00:00:00:00:0B; start_time=22:00; stop_time=23:59:59;"
}

@test "what changes nothing writes nothing" {
    qsc add $list MACAddress=$tablet Days=6,0 StartTime=21:00 EndTime=06:30 Enable=1 --apply
    qsc set ${list%.} BlockedNames=a.example --apply
    qsc set ${list}1 MACAddress=$tablet Days=0,6 StartTime=21:00 EndTime=06:30 Enable=1 Description=
    qsc set ${list%.} BlockedNames=a.example
    [ ! -s "$state/tmp/.uci/firewall" ] && [ ! -s "$state/tmp/.uci/dhcp" ]
}

@test "whole days have no times" {
    qsc add $list MACAddress=$tablet StartTime=08:00 EndTime=09:00 Enable=1 --apply
    qsc set ${list}1 StartTime=00:00 EndTime=00:00 Days=0,1,2,3,4,5,6 --apply
    same "$(stored)" ": qrn_index=1; qrn=parental; src=lan; dest=*; proto=all; target=REJECT; src_mac=02:00:00:00:00:0A; weekdays=Sun Mon Tue Wed Thu Fri Sat;"
    same "$(qsc -q get ${list}1 Days StartTime EndTime | tr '\n' '|')" "0,1,2,3,4,5,6|00:00|00:00|"
}

@test "names are blocked beside what others have there" {
    sed -i "s|^\toption expandhosts.*|&\n\tlist address '/nas.lan/192.168.1.9'\n\tlist address '/ads.example.net/'|" "$state/etc/config/dhcp"
    qsc set ${list%.} BlockedNames="ads.example.net,games.example.org" --apply
    same "$(blocked)" "/nas.lan/192.168.1.9 /ads.example.net/ /ads.example.net/ /games.example.org/ "
    same "$(qsc -q get ${list%.} BlockedNames)" "ads.example.net,games.example.org"
    qsc set ${list%.} BlockedNames=chat.example.org --apply
    same "$(blocked)" "/nas.lan/192.168.1.9 /ads.example.net/ /chat.example.org/ "
    qsc set ${list%.} BlockedNames= --apply
    same "$(blocked)" "/nas.lan/192.168.1.9 /ads.example.net/ "
    same "$(journal | sort | uniq -c | awk '{ print $1, $2 }')" "3 /etc/init.d/dnsmasq
3 /etc/init.d/firewall"
}

@test "connections of a device that has no way out now are ended" {
    printf '#!/bin/sh\n. /usr/share/sim/journal.sh\njournal "$@"\n' >"$state/usr/bin/conntrack"
    chmod +x "$state/usr/bin/conntrack"
    echo "0 $tablet 192.168.1.33 tablet *" >"$state/tmp/dhcp.leases"
    echo "0 02:00:00:00:00:0b 192.168.1.34 phone *" >>"$state/tmp/dhcp.leases"
    qsc add $list MACAddress=$tablet Enable=1
    qsc add $list MACAddress=02:00:00:00:00:0b
    qsc commit ${list%.}
    qsc service ${list%.} reload
    same "$(journal)" "/etc/init.d/firewall reload
/etc/init.d/dnsmasq reload
/usr/bin/conntrack -D -s 192.168.1.33"
}

@test "what makes no sense is refused, and nothing is written" {
    qsc add $list MACAddress=$tablet StartTime=08:00 EndTime=09:00
    before=$(cat "$state/tmp/.uci/firewall")
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
add $list Days=1|${list}2: X_QRN_Add: a new instance needs MACAddress
set ${list}1 MACAddress=01:00:5e:00:00:01|${list}1: MACAddress: '01:00:5e:00:00:01' is no MAC address of one device
set ${list}1 MACAddress=00:00:00:00:00:00|${list}1: MACAddress: '00:00:00:00:00:00' is no MAC address of one device
set ${list}1 Days=7|${list}1: Days: 7 is not 0 to 6
set ${list}1 StartTime=24:00|${list}1: StartTime: '24:00' is no time of day, such as 03:30
set ${list}1 EndTime=8:00|${list}1: EndTime: '8:00' is no time of day, such as 03:30
set ${list}1 EndTime=08:00|${list}1: EndTime: it ends when it starts
set ${list}1 StartTime=10:00 EndTime=10:00|${list}1: StartTime: it ends when it starts
set ${list%.} BlockedNames=a_b.example|${list%.}.: BlockedNames: 'a_b.example' is no host name
set ${list%.} BlockedNames=good.example,/|${list%.}.: BlockedNames: '/' is no host name
REFUSED
    same "$(cat "$state/tmp/.uci/firewall")" "$before"
    [ ! -e "$state/tmp/.uci/dhcp" ]
}
