#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_DMZ
list=Device.X_QRN_Firewall.PortForwarding.

# The redirects in the file, one a line, their options in the file's order.
stored() {
    awk '/^config/ { if (line != "") print line; line = $2 == "redirect" ? $3 ":" : "" }
        line != "" && /option|list/ { name = $2; sub(/^[ \t]*(option|list) [^ ]+ /, ""); line = line " " name "=" $0 ";" }
        END { if (line != "") print line }' "$state/etc/config/firewall" | tr -d \'
}

# checked: the firewall can use every section as it is.
checked() { same "$(device fw4 check 2>&1 | grep -v 'specifies unknown option qrn_')" ""; }

@test "the client gets what comes, and the router keeps what it serves" {
    same "$(qsc -q get $path | tr '\n' '|')" "|||0|Disabled|"
    qsc set $path DestIP=192.168.1.50 SourcePrefix=198.51.100.0/24 Description="Spiele-Konsole" --apply
    same "$(stored)" "dmz: name=Spiele Konsole; target=DNAT; src=wan; proto=all; family=ipv4; enabled=0; qrn_description=Spiele-Konsole; src_ip=198.51.100.0/24; qrn_dest_ip=192.168.1.50;"
    checked
    same "$(qsc -q get $path | tr '\n' '|')" "Spiele-Konsole|198.51.100.0/24|192.168.1.50|0|Disabled|"
    qsc set $path Enable=1 --apply
    same "$(stored)" "qrn_own_1: src=wan; proto=udp; src_dport=68; family=ipv4; target=DNAT;
dmz: name=Spiele Konsole; target=DNAT; src=wan; proto=all; family=ipv4; enabled=1; qrn_description=Spiele-Konsole; src_ip=198.51.100.0/24; dest_ip=192.168.1.50; dest=lan;"
    checked
    same "$(qsc -q get $path DestIP Enable Status | tr '\n' '|')" "192.168.1.50|1|Enabled|"
    same "$(journal)" "/etc/init.d/firewall restart
/etc/init.d/firewall restart"
    qsc set $path Enable=0 SourcePrefix= --apply
    same "$(stored)" "dmz: name=Spiele Konsole; target=DNAT; src=wan; proto=all; family=ipv4; enabled=0; qrn_description=Spiele-Konsole; qrn_dest_ip=192.168.1.50;"
    same "$(events | tail -n 2)" "set dmz SourcePrefix <empty> by CLI
set dmz Enable 0 by CLI"
}

@test "the DMZ stays the last redirect, whatever is added" {
    qsc set $path DestIP=192.168.1.50 Enable=1 --apply
    qsc add $list ExternalPort=8080 Protocol=TCP InternalClient=192.168.1.20 --apply
    same "$(stored | cut -d: -f1)" "qrn_own_1

dmz"
    same "$(qsc -q get ${list%.} X_QRN_Instances)" "1"
    # The names and the order of all other sections are as they were.
    same "$(grep '^config' "$state/etc/config/firewall")" "$(grep '^config' "$root/sim/root/etc/config/firewall")
config redirect 'qrn_own_1'
config redirect
config redirect 'dmz'"
}

@test "the router keeps a port for those alone that its rule lets in" {
    ssh=Device.X_QRN_RemoteAccess.SSH
    cat >>"$state/etc/config/firewall" <<'RULES'

config rule
	option src 'wan'
	list src_ip '203.0.113.5'
	list src_ip '203.0.113.64/26'
	list src_ip '2001:db8::/32'
	option dest_port '8443 9000-9009'
	option target 'accept'

config rule
	option src 'wan'
	option proto 'tcp'
	option dest_port '7000'
	option limit '3/minute'
	option target 'ACCEPT'

config rule
	option src 'wan'
	option dest 'lan'
	option proto 'tcp'
	option dest_port '7001'
	option target 'ACCEPT'

config rule
	option src 'wan'
	option proto 'tcp'
	option dest_port '7002'
	option target 'ACCEPT'
	option enabled '0'

config rule
	option src 'wan'
	option proto 'udp'
	option dest_port '546'
	option family 'ipv6'
	option target 'ACCEPT'
RULES
    qsc set $path DestIP=192.168.1.50 Enable=1 --apply
    qsc set $ssh WANAccess=1 WANSourcePrefix=198.51.100.0/24 --apply
    same "$(stored)" "qrn_own_1: src=wan; proto=udp; src_dport=68; family=ipv4; target=DNAT;
qrn_own_2: src=wan; proto=tcpudp; src_dport=8443; src_ip=203.0.113.5; family=ipv4; target=DNAT;
qrn_own_3: src=wan; proto=tcpudp; src_dport=8443; src_ip=203.0.113.64/26; family=ipv4; target=DNAT;
qrn_own_4: src=wan; proto=tcpudp; src_dport=9000-9009; src_ip=203.0.113.5; family=ipv4; target=DNAT;
qrn_own_5: src=wan; proto=tcpudp; src_dport=9000-9009; src_ip=203.0.113.64/26; family=ipv4; target=DNAT;
qrn_own_6: src=wan; proto=tcp; src_dport=22; src_ip=198.51.100.0/24; family=ipv4; target=DNAT;
dmz: name=DMZ; target=DNAT; src=wan; proto=all; family=ipv4; enabled=1; dest_ip=192.168.1.50; dest=lan;"
    checked
    qsc set $ssh Port=2222 --apply
    [[ $(stored) == *"src_dport=2222; src_ip=198.51.100.0/24;"* ]]
    qsc set $ssh WANAccess=0 --apply
    [[ $(stored) != *qrn_own_6* ]]
}

@test "what no rule lets in any more does not come in by a redirect" {
    printf '\nconfig rule %s\n\toption src wan\n\toption dest_port 8443\n\toption target ACCEPT\n' "'own'" \
        >>"$state/etc/config/firewall"
    qsc set $path DestIP=192.168.1.50 Enable=1 --apply
    [[ $(stored) == *qrn_own_2*8443* ]]
    sed -i "/^config rule 'own'/,/^\$/d" "$state/etc/config/firewall"
    qsc commit $path
    [[ $(stored) != *8443* && $(stored) == *qrn_own_1*dmz* ]]
}

@test "what changes nothing writes nothing" {
    qsc set $path Enable=0 DestIP= SourcePrefix= Description=
    [ ! -s "$state/tmp/.uci/firewall" ]
    qsc set $path DestIP=192.168.1.50 Description="den" Enable=1 --apply
    qsc set $path DestIP=192.168.1.50 Description="den" SourcePrefix= Enable=1
    [ ! -s "$state/tmp/.uci/firewall" ]
}

@test "without the firewall's package nothing is stored" {
    rm "$state/etc/config/firewall"
    for set in "$path DestIP=192.168.1.50" "${list}1 X_QRN_Add=1 ExternalPort=80 Protocol=TCP InternalClient=192.168.1.20"; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $set
        [ "$status" -eq 1 ]
        [[ $output == *": firewall is not installed" ]]
    done
    same "$(qsc -q get $path Enable Status | tr '\n' ' ')" "0 Disabled "
    same "$(qsc -q get ${list%.} PortMappingNumberOfEntries)" "0"
}

@test "what would lead nowhere or to the router is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $path $arguments
        same "$status $output" "1 qsc: $path: $sentence"
    done <<'REFUSED'
Enable=1|Enable: it needs the address of a client
DestIP=192.168.1.1|DestIP: it is the address of the router
DestIP=192.0.2.7|DestIP: 192.0.2.7 is no address in a zone of the router
DestIP=192.168.1.0|DestIP: 192.168.1.0 is no address in a zone of the router
DestIP=host|DestIP: 'host' is no IPv4 address
DestIP= Enable=1|DestIP: it needs the address of a client
SourcePrefix=198.51.100.7|SourcePrefix: '198.51.100.7' is no address with a prefix length
SourcePrefix=2001:db8::/32|SourcePrefix: it is no prefix of IPv4 addresses
REFUSED
    [ ! -e "$state/tmp/.uci/firewall" ]
    qsc set $path DestIP=192.168.1.50 Enable=1 --apply
    run qsc set $path DestIP=
    same "$output" "qsc: $path: DestIP: it needs the address of a client"
}

@test "somebody's own section dmz is left alone" {
    printf '\nconfig zone %s\n\toption name %s\n' "'dmz'" "'dmz'" >>"$state/etc/config/firewall"
    run qsc set $path DestIP=192.168.1.50 Enable=1
    same "$status $output" "1 qsc: $path: DestIP: the firewall has a section \"dmz\" that is another"
    [ ! -e "$state/tmp/.uci/firewall" ]
}
