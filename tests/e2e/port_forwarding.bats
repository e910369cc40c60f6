#!/usr/bin/env bats
load device.bash

list=Device.X_QRN_Firewall.PortForwarding.

# The redirects in the file, one a line, their options in the file's order.
stored() {
    awk '/^config/ { if (line != "") print line; line = $2 == "redirect" ? "redirect " $3 ":" : "" }
        line != "" && /option|list/ { name = $2; sub(/^[ \t]*(option|list) [^ ]+ /, ""); gsub("\047", ""); line = line " " name "=" $0 ";" }
        END { if (line != "") print line }' "$state/etc/config/firewall"
}

# checked: the firewall can use every section as it is.
checked() { same "$(device fw4 check 2>&1 | grep -v 'specifies unknown option qrn_')" ""; }

@test "a forwarding is added, changed and deleted" {
    same "$(qsc add $list ExternalPort=8080 InternalPort=80 Protocol=TCP InternalClient=192.168.1.20 \
        Description="Anna's web server, \"quoted\"" Enable=1 --apply)" "${list}1"
    same "$(stored)" "redirect : qrn_index=1; target=DNAT; src=wan; qrn_description=Anna\\s web server, \"quoted\"; name=Anna s web server quoted; src_dport=8080; dest_port=80; proto=tcp; dest_ip=192.168.1.20; dest=lan;"
    same "$(journal)" "/etc/init.d/firewall restart"
    checked
    same "$(qsc -q get ${list}1 | tr '\n' '|')" "0|0|Anna's web server, \"quoted\"||8080|0|80|TCP|192.168.1.20|1|Enabled|"
    qsc set ${list}1 RemoteHost=198.51.100.7 ExternalPort=9000 ExternalPortEndRange=9010 InternalPort=0 Protocol=X_QRN_Both \
        Description= --apply
    same "$(stored)" "redirect : qrn_index=1; target=DNAT; src=wan; src_dport=9000-9010; dest_ip=192.168.1.20; dest=lan; src_ip=198.51.100.7; proto=tcp; proto=udp;"
    checked
    same "$(qsc -q get ${list}1 RemoteHost ExternalPort ExternalPortEndRange InternalPort Protocol | tr '\n' '|')" \
        "198.51.100.7|9000|9010|0|X_QRN_Both|"
    qsc set ${list}1 InternalPort=9000 --apply
    [[ $(stored) == *" dest_port=9000-9010;" ]]
    qsc set ${list}1 ExternalPortEndRange=0 --apply
    [[ $(stored) == *" dest_port=9000;"* && $(stored) == *" src_dport=9000;"* ]]
    same "$(qsc -q get ${list%.} PortMappingNumberOfEntries X_QRN_Instances | tr '\n' '|')" "1|1|"
    qsc delete ${list}1 --apply
    same "$(stored)" ""
    same "$(events | sed -n '1,3p;$p')" "add port forwarding [1] by CLI
set port forwarding [1] Description Anna's web server, \\\"quoted\\\" by CLI
set port forwarding [1] ExternalPort 8080 by CLI
delete port forwarding [1] by CLI"
}

@test "what others wrote is shown, and stays as it is" {
    cat >>"$state/etc/config/firewall" <<'OTHERS'

config redirect
	option name 'Games & more'
	option src 'wan'
	option src_dport '3000:3009'
	option proto 'tcp udp'
	option dest_ip '192.168.1.30'

config redirect
	option target 'snat'
	option src 'wan'
	option src_dip '192.0.2.1'

config redirect 'nas'
	option src 'wan'
	option target 'dnat'
	option proto 'TCP'
	option src_dport '5000'
	option dest_port '5001'
	option dest_ip '192.0.2.99'
	option enabled '1'
OTHERS
    before=$(stored)
    qsc set ${list}1 RemoteHost= ExternalPort=3000 ExternalPortEndRange=3009 InternalPort=0 Description="Games & more" Enable=1 --apply
    same "$(stored | sed 's/ qrn_index=[12];//')" "$before"
    same "$(qsc -q get ${list%.} X_QRN_Instances)" "1,2"
    same "$(qsc -q get ${list}1 | tr '\n' '|')" "0|0|Games & more||3000|3009|0|X_QRN_Both|192.168.1.30|1|Enabled|"
    same "$(qsc -q get ${list}2 ExternalPort InternalPort Protocol Enable Status | tr '\n' '|')" "5000|5001|TCP|1|Error_Misconfigured|"
    qsc add $list ExternalPort=80 Protocol=TCP InternalClient=192.168.1.20 --apply
    same "$(stored | sed 's/ qrn_index=[12];//' | head -n 3)" "$before"
    run qsc set ${list}3 ExternalPort=3005 Enable=1
    same "$output" "qsc: ${list}3: ExternalPort: port forwarding 1 takes port 3000 to 3009"
}

@test "forwardings of different senders or protocols share a port, and those that are off any" {
    qsc add $list ExternalPort=80 Protocol=TCP InternalClient=192.168.1.20 RemoteHost=198.51.100.7 Enable=1
    qsc add $list ExternalPort=80 Protocol=TCP InternalClient=192.168.1.21 RemoteHost=198.51.100.8 Enable=1
    qsc add $list ExternalPort=80 Protocol=UDP InternalClient=192.168.1.22 Enable=1
    qsc add $list ExternalPort=80 Protocol=X_QRN_Both InternalClient=192.168.1.23
    run qsc set ${list}4 Enable=1
    same "$output" "qsc: ${list}4: Enable: port forwarding 1 takes port 80"
    run qsc set ${list}2 RemoteHost=198.51.100.0/24
    same "$output" "qsc: ${list}2: RemoteHost: port forwarding 1 takes port 80"
    qsc set ${list}4 ExternalPort=81 Enable=1
}

@test "the way in stays the router's" {
    ssh=Device.X_QRN_RemoteAccess.SSH
    qsc set $ssh Port=2222 WANAccess=1 --apply
    run qsc add $list ExternalPort=2200 ExternalPortEndRange=2300 Protocol=TCP InternalClient=192.168.1.20 Enable=1
    same "$output" "qsc: ${list}1: ExternalPort: the router itself serves port 2222 on the WAN"
    qsc add $list ExternalPort=2222 Protocol=UDP InternalClient=192.168.1.20 Enable=1
    qsc set $ssh WANAccess=0
    qsc add $list ExternalPort=2222 Protocol=TCP InternalClient=192.168.1.20 Enable=1
    run qsc set $ssh WANAccess=1
    same "$output" "qsc: $ssh: WANAccess: port forwarding 2 takes port 2222"
    qsc set $ssh WANAccess=1 Port=22
    run qsc set $ssh Port=2222
    same "$output" "qsc: $ssh: Port: port forwarding 2 takes port 2222"
}

@test "what changes nothing writes nothing" {
    qsc add $list ExternalPort=8000 ExternalPortEndRange=8010 Protocol=X_QRN_Both InternalClient=192.168.1.20 \
        RemoteHost=198.51.100.0/24 Description="a \"b\"" --apply
    qsc set ${list}1 ExternalPort=8000 ExternalPortEndRange=8010 InternalPort=0 Protocol=X_QRN_Both \
        InternalClient=192.168.1.20 RemoteHost=198.51.100.0/24 Description="a \"b\"" Enable=0
    [ ! -s "$state/tmp/.uci/firewall" ]
}

@test "what cannot be forwarded is refused, and nothing is written" {
    qsc add $list ExternalPort=8000 ExternalPortEndRange=8010 Protocol=TCP InternalClient=192.168.1.20 Enable=1
    before=$(cat "$state/tmp/.uci/firewall")
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
add $list ExternalPort=80 Protocol=TCP|${list}2: X_QRN_Add: a new instance needs InternalClient
add $list ExternalPort=80 InternalClient=192.168.1.20|${list}2: X_QRN_Add: a new instance needs Protocol
add $list Protocol=TCP InternalClient=192.168.1.20|${list}2: X_QRN_Add: a new instance needs ExternalPort
set ${list}1 ExternalPort=0|${list}1: ExternalPort: all ports together are the business of the DMZ
set ${list}1 ExternalPort=65536|${list}1: ExternalPort: 65536 is not 0 to 65535
set ${list}1 ExternalPort=8011|${list}1: ExternalPort: the range ends before it begins
set ${list}1 ExternalPortEndRange=7999|${list}1: ExternalPortEndRange: the range ends before it begins
set ${list}1 InternalPort=80|${list}1: InternalPort: a range keeps its ports: InternalPort is 0 or ExternalPort
set ${list}1 Protocol=tcp|${list}1: Protocol: 'tcp' is not one of TCP|UDP|X_QRN_Both
set ${list}1 RemoteHost=host.example.net|${list}1: RemoteHost: it is neither an IPv4 address nor a prefix of some
set ${list}1 RemoteHost=192.0.2.1/33|${list}1: RemoteHost: it is neither an IPv4 address nor a prefix of some
set ${list}1 RemoteHost=2001:db8::1|${list}1: RemoteHost: it is neither an IPv4 address nor a prefix of some
set ${list}1 InternalClient=192.0.2.1|${list}1: InternalClient: 192.0.2.1 is no address in a zone of the router
set ${list}1 InternalClient=192.168.1.255|${list}1: InternalClient: 192.168.1.255 is no address in a zone of the router
set ${list}1 InternalClient=192.168.1.1|${list}1: InternalClient: it is the address of the router
set ${list}1 InternalClient=192.168.1.2x|${list}1: InternalClient: '192.168.1.2x' is no IPv4 address
set ${list}1 InternalClient=|${list}1: InternalClient: it is empty
add $list ExternalPort=8010 Protocol=X_QRN_Both InternalClient=192.168.1.21 Enable=1|${list}2: ExternalPort: port forwarding 1 takes port 8000 to 8010
add $list ExternalPort=68 Protocol=UDP InternalClient=192.168.1.21 Enable=1|${list}2: ExternalPort: the router itself serves port 68 on the WAN
set ${list}7 Enable=1|${list}7: Enable: there is no instance 7
REFUSED
    same "$(cat "$state/tmp/.uci/firewall")" "$before"
}

@test "rules that do not load are not loaded" {
    mkdir -p "$state/var/lib/sim/fail"
    touch "$state/var/lib/sim/fail/fw4"
    run qsc add $list ExternalPort=80 Protocol=TCP InternalClient=192.168.1.20 --apply
    [ "$status" -ne 0 ]
    [[ $output == *"the firewall would not load its rules"* ]]
    same "$(journal)" ""
}
