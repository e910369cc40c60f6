#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_SNMP

# section NAME...: the options of sections in the file, one a line.
section() {
    for name in "$@"; do
        awk -v name="$name" '/^config/ { on = $3 == "\047" name "\047" || (NF == 2 && $2 == name) }
            on && /option|list/ { gsub("\047", ""); sub(/^[ \t]*(option|list) /, ""); printf "%s;", $0 } END { print "" }' \
            "$state/etc/config/snmpd"
    done
}

@test "the usual communities go with the first set, and nobody gets in until he is named" {
    same "$(qsc -q get $path | tr '\n' '|')" "161|192.168.1.0/24|router|office|nobody@example.com|||0||SHA||AES||0|Disabled|"
    qsc set $path Enable=1 --apply
    same "$(section general public public6 private private6)" \
        "enabled 1;qrn_managed 1;snmp_version v1/v2c;network lan;
secname ro;source 192.168.1.0/24;
secname ro;source ::1;
secname rw;source 192.168.1.0/24;
secname rw;source ::1;"
    same "$(journal)" "/etc/init.d/snmpd restart
/etc/init.d/firewall restart"
    same "$(qsc -q get $path Enable Status | tr '\n' '|')" "1|Error|"
}

@test "communities let in from the LAN, or from where it is said" {
    qsc set $path ReadCommunity=public WriteCommunity=s3cr3t --apply
    same "$(section public public6 private private6)" "secname ro;source 192.168.1.0/24;community public;
secname ro;source ::1;community public;
secname rw;source 192.168.1.0/24;qrn_community s3cr3t;
secname rw;source ::1;"
    qsc set $path WriteEnable=1 AllowedSource=10.0.0.0/8 --apply
    same "$(section private private6)" "secname rw;source 10.0.0.0/8;qrn_community s3cr3t;community s3cr3t;
secname rw;source ::1;community s3cr3t;"
    qsc set $path AllowedSource=2001:db8::/32 ReadCommunity= --apply
    same "$(section public public6)" "secname ro;source localhost;community public;
secname ro;source 2001:db8::/32;community public;"
    qsc set $path AllowedSource= WriteEnable=0 --apply
    same "$(section private private6)" "secname rw;source 192.168.1.0/24;qrn_community s3cr3t;
secname rw;source ::1;"
    same "$(qsc -q get $path ReadCommunity WriteCommunity | tr '\n' '|')" "||"
    ! events | grep -q s3cr3t
}

@test "the port and the system's texts are where the agent reads them" {
    qsc set $path Port=1161 SystemName=gate SystemLocation="the hall, upstairs" SystemContact=anna@example.net --apply
    same "$(section agent system)" "agentaddress UDP:1161,UDP6:1161;
sysLocation the hall, upstairs;sysContact anna@example.net;sysName gate;"
    same "$(qsc -q get $path Port)" "1161"
    rule="config rule 'qrn_snmp'
	option name 'SNMP from LAN'
	option src 'lan'
	option proto 'udp'
	option dest_port '1161'
	option target 'ACCEPT'"
    same "$(sed -n "/qrn_snmp/,\$p" "$state/etc/config/firewall")" "$rule"
    same "$(device fw4 check 2>&1)" ""
    qsc set $path Port=161 --apply
    ! grep -q qrn_snmp "$state/etc/config/firewall"
}

@test "a user of version 3 has a password, and goes as a whole" {
    qsc set $path V3User=anna V3AuthPassword="long enough" V3AuthProtocol=SHA256 --apply
    same "$(section v3 general | sed 's/enabled.*snmp_version/.../')" "username anna;auth_type SHA-256;auth_pass long enough;allow_write 0;
... v1/v2c/v3;network lan;"
    qsc set $path V3PrivPassword=also-long-enough WriteEnable=1 --apply
    same "$(section v3)" "username anna;auth_type SHA-256;auth_pass long enough;allow_write 1;privacy_pass also-long-enough;privacy_type AES;"
    qsc set $path V3User= --apply
    same "$(section v3)" ""
    [[ $(section general) == *"snmp_version v1/v2c;"* ]]
}

@test "traps go to an address while they are on" {
    qsc set $path.trap Address=192.0.2.9 Community=traps --apply
    same "$(section qrn_trap)" ""
    qsc set $path.trap Enable=1 Version=1 --apply
    same "$(section qrn_trap)" "HostIP 192.0.2.9;Port 162;Community traps;Type trapsink;"
    qsc set $path.trap Address=2001:db8::9 Port=1162 Version=2c --apply
    same "$(section qrn_trap)" "HostIP udp6:[2001:db8::9];Port 1162;Community traps;Type trap2sink;"
    same "$(qsc -q get $path.trap | tr '\n' '|')" "2001:db8::9|1162||2c|1|"
    qsc set $path V3User=anna V3AuthPassword="long enough" --apply
    qsc set $path.trap Version=3 Address=192.0.2.9 --apply
    same "$(section qrn_trap trapsess)" "
qrn 1;trapsess -v 3 -u anna -a SHA -A \"long enough\" -l authNoPriv 192.0.2.9:1162;"
    run qsc set $path V3User=
    same "$output" "qsc: $path: V3User: traps of version 3 are sent as this user"
    qsc set $path V3PrivPassword=also-long-enough --apply
    same "$(section trapsess)" "qrn 1;trapsess -v 3 -u anna -a SHA -A \"long enough\" -x AES -X \"also-long-enough\" -l authPriv 192.0.2.9:1162;"
    qsc set $path.trap Enable=0 --apply
    same "$(section qrn_trap trapsess)" ""
}

@test "what changes nothing writes nothing" {
    qsc set $path ReadCommunity=look V3User=anna V3AuthPassword="long enough" Enable=1 --apply
    qsc set $path.trap Address=192.0.2.9 Version=3 Enable=1 --apply
    qsc set $path ReadCommunity= V3User=anna V3AuthPassword= Port=161 AllowedSource=192.168.1.0/24 Enable=1
    qsc set $path.trap Enable=1
    [ ! -s "$state/tmp/.uci/snmpd" ]
}

@test "without its package nothing is stored" {
    rm "$state/etc/config/snmpd"
    run qsc set $path Enable=1
    same "$output" "qsc: $path: Enable: snmpd is not installed"
    same "$(qsc -q get $path Port Enable Status | tr '\n' ' ')" "161 0 Disabled "
}

@test "what would let in anybody is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
$path WriteCommunity=private|$path: WriteCommunity: everybody knows it
$path WriteCommunity=public|$path: WriteCommunity: everybody knows it
$path ReadCommunity=a#b|$path: ReadCommunity: it has a blank, a quote, a '#' or a backslash
$path AllowedSource=0.0.0.0/0|$path: AllowedSource: it would let in everybody
$path AllowedSource=192.168.1.0|$path: AllowedSource: '192.168.1.0' is no address with a prefix length
$path Port=0|$path: Port: 0 is not 1 to 65535
$path V3User=anna|$path: V3User: a user needs a password
$path V3AuthPassword=longenough|$path: V3AuthPassword: it needs V3User
$path V3User=anna V3AuthPassword=short|$path: V3AuthPassword: it has 5 characters, not 8 to 64
$path V3User=anna V3AuthPassword=long"enough|$path: V3AuthPassword: it has a quote or a backslash
$path V3PrivProtocol=DES|$path: V3PrivProtocol: 'DES' is not one of AES
$path V3AuthProtocol=MD5|$path: V3AuthProtocol: 'MD5' is not one of SHA|SHA256
$path.trap Enable=1|$path.trap: Enable: it needs an address
$path.trap Address=192.0.2.9 Enable=1|$path.trap: Address: versions 1 and 2c need a community
$path.trap Address=192.0.2.9 Version=3 Enable=1|$path.trap: Address: version 3 needs the user of version 3
$path.trap Address=host|$path.trap: Address: 'host' is no IP address
REFUSED
    [ ! -e "$state/tmp/.uci/snmpd" ] || same "$(cat "$state/tmp/.uci/snmpd")" ""
}
