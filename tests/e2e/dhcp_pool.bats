#!/usr/bin/env bats
load device.bash

pool=Device.DHCPv4.Server.Pool.1
hosts=$pool.StaticAddress.

# The options of a section of the package "dhcp", those of all if there are several of its type, one line each.
stored() {
    awk -v wanted="$1" '/^config/ { if (line != "") print line; line = ""; gsub("\047", ""); on = $2 == wanted || $3 == wanted }
        on && /option|list/ { gsub("\047", ""); line = line (line == "" ? "" : " ") $2 "=" $3 }
        END { if (line != "") print line }' "$state/etc/config/dhcp"
}

# The configuration that the script made is one that the server takes.
is_accepted() {
    command -v dnsmasq >/dev/null || return 0
    dnsmasq --test --conf-file="$state/tmp/dnsmasq.conf" 2>&1 | grep -q "syntax check OK"
}

@test "the pool answers what the server does" {
    same "$(qsc -q get $pool | tr '\n' ' ')" \
        "192.168.1.100 192.168.1.249 192.168.1.1 lan 192.168.1.1 43200 1 255.255.255.0 Device.X_QRN_NetworkZone.1 Error 0 0  [] "
    # What is missing is what the server takes for it, and the end of the network ends the pool.
    sed -i "/start\|leasetime\|domain\|dhcpv4\|local/d; s/limit '150'/limit '900'/" "$state/etc/config/dhcp"
    same "$(qsc -q get $pool MinAddress MaxAddress LeaseTime DomainName Enable | tr '\n' ' ')" \
        "192.168.1.100 192.168.1.254 43200 lan 1 "
    sed -i "s/option interface 'lan'/&\n\toption leasetime '9999999w'/" "$state/etc/config/dhcp"
    same "$(qsc -q get $pool LeaseTime)" 2147483647
    sed -i "s/limit '900'/option start '10.9.8.7'\n\toption limit '1'/; s/option option/option/" "$state/etc/config/dhcp"
    same "$(qsc -q get $pool MinAddress MaxAddress | tr '\n' ' ')" "192.168.1.7 192.168.1.7 "
    sed -i "/netmask '255.255.255.0'/d; s/option ipaddr '192.168.1.1'/list ipaddr '192.168.1.1\/24'/" "$state/etc/config/network"
    same "$(qsc -q get $pool SubnetMask MinAddress IPRouters | tr '\n' ' ')" "255.255.255.0 192.168.1.7 192.168.1.1 "
    sed -i "/ipaddr '192/d" "$state/etc/config/network"
    same "$(qsc -q get $pool SubnetMask MinAddress MaxAddress DNSServers Status | tr '\n' ' ')" "    Error_Misconfigured "
    rm "$state/etc/config/dhcp"
    same "$(qsc -q get $pool Enable Status StaticAddressNumberOfEntries DomainName | tr '\n' ' ')" "0 Disabled 0 lan "
}

@test "the pool is stored as the server's script reads it" {
    qsc set $pool MinAddress=192.168.1.20 MaxAddress=192.168.1.29 LeaseTime=5400 DNSServers=192.168.1.53,9.9.9.9 \
        DomainName=home.example IPRouters= --apply
    same "$(stored lan)" "interface=lan start=20 limit=10 leasetime=90m dhcpv4=server dhcp_option=42,192.168.1.9 dhcp_option=6,192.168.1.53,9.9.9.9"
    same "$(stored dnsmasq)" "domain=home.example local=/home.example/ expandhosts=1 authoritative=1 leasefile=/tmp/dhcp.leases"
    grep -qx 'dhcp-range=set:lan,192.168.1.20,192.168.1.29,255.255.255.0,90m' "$state/tmp/dnsmasq.conf"
    is_accepted
    # One end alone leaves the other where it is; what is ours among the options keeps its place.
    qsc set $pool MaxAddress=192.168.1.40 LeaseTime=-1 DNSServers=1.1.1.1 IPRouters=192.168.1.254 --apply
    same "$(stored lan)" "interface=lan start=20 limit=21 leasetime=infinite dhcpv4=server dhcp_option=42,192.168.1.9 dhcp_option=6,1.1.1.1 dhcp_option=3,192.168.1.254"
    is_accepted
    qsc set $pool Enable=0 DNSServers= --apply
    same "$(stored lan)" "interface=lan start=20 limit=21 leasetime=infinite dhcpv4=disabled dhcp_option=42,192.168.1.9 dhcp_option=3,192.168.1.254 ignore=1"
    same "$(qsc -q get $pool Status LeaseTime DNSServers | tr '\n' ' ')" "Disabled -1 192.168.1.1 "
    qsc set $pool Enable=1 --apply
    same "$(stored lan)" "interface=lan start=20 limit=21 leasetime=infinite dhcpv4=server dhcp_option=42,192.168.1.9 dhcp_option=3,192.168.1.254"
    same "$(journal | sort -u)" "/etc/init.d/dnsmasq restart"
    same "$(events | tail -n 3)" "set dhcp pool DNSServers <empty> by CLI
set dhcp pool Enable 0 by CLI
set dhcp pool Enable 1 by CLI"
}

@test "what is set as it is writes nothing, and a plain option becomes a list" {
    sed -i "s/start '100'/start '192.168.1.100'/; s/list dhcp_option.*/option dhcp_option '6,1.1.1.1 42,192.168.1.9'/" "$state/etc/config/dhcp"
    qsc set $pool MinAddress=192.168.1.100 MaxAddress=192.168.1.249 LeaseTime=43200 DNSServers=1.1.1.1 \
        IPRouters=192.168.1.1 DomainName=lan Enable=1
    [ ! -s "$state/tmp/.uci/dhcp" ]
    qsc set $pool IPRouters=192.168.1.2 --apply
    same "$(stored lan)" "interface=lan start=192.168.1.100 limit=150 leasetime=12h dhcpv4=server dhcp_option=6,1.1.1.1 dhcp_option=42,192.168.1.9 dhcp_option=3,192.168.1.2"
    sed -i '/dhcp .lan/,$ d' "$state/etc/config/dhcp"
    qsc set $pool LeaseTime=7200 --apply
    same "$(stored lan)" "interface=lan start=100 limit=150 leasetime=2h dhcpv4=disabled ignore=1"
}

@test "leases are told as the server wrote them, whatever their names are" {
    cat >"$state/tmp/dhcp.leases" <<'LEASES'
1795326519 aa:bb:cc:00:11:22 192.168.1.120 phone 01:aa:bb:cc:00:11:22
0 AA:BB:CC:00:11:23 192.168.1.121 * *
broken line
1795326519 aa:bb:cc:00:11:24 192.168.20.5 elsewhere *
1795326519 aa:bb:cc:00:11:25 192.168.1.256 wrong *
1795326519 06-aa:bb:cc:00:11:25 192.168.1.122 wrong *
duid 00:01
1795326519 aa:bb:cc:00:11:26 192.168.1.123 six *
LEASES
    printf '1795326519 aa:bb:cc:00:11:27 192.168.1.124 "\\\033\377/ *\n' | cat - "$state/tmp/dhcp.leases" >"$state/tmp/new"
    mv "$state/tmp/new" "$state/tmp/dhcp.leases"
    device qsc --json get $pool X_QRN_List ClientNumberOfEntries >"$BATS_TEST_TMPDIR/answer"
    python3 - "$BATS_TEST_TMPDIR/answer" <<'CHECK'
import json, sys
text = open(sys.argv[1]).read()
def find(value, name):
    if isinstance(value, dict):
        for key, member in value.items():
            if key.endswith(name):
                return member
            found = find(member, name)
            if found is not None:
                return found
def plain(value):
    return value["ParamValue"] if isinstance(value, dict) else value
answer = json.loads(text)
rows = json.loads(plain(find(answer, "X_QRN_List")))
time = "2026-11-22T05:48:39Z"
wanted = [["AA:BB:CC:00:11:27", "192.168.1.124", '"\\\x1b\ufffd/', time], ["AA:BB:CC:00:11:22", "192.168.1.120", "phone", time],
          ["AA:BB:CC:00:11:23", "192.168.1.121", "", "0001-01-01T00:00:00Z"]]
assert [[row[name] for name in ("MACAddress", "IPAddress", "HostName", "Expires")] for row in rows] == wanted, rows
assert plain(find(answer, "ClientNumberOfEntries")) == 3
CHECK
    # The configuration says where they are, and a list has its end.
    sed -i "s|/tmp/dhcp.leases|/tmp/other.leases|" "$state/etc/config/dhcp"
    for number in $(seq 1000); do
        echo "0 aa:bb:cc:00:$((number / 100 + 10)):$((number % 90 + 10)) 192.168.1.$((number % 250 + 2)) a-rather-long-host-name"
    done >"$state/tmp/other.leases"
    length=$(qsc -q get $pool X_QRN_List | wc -c)
    [ "$length" -gt 60000 ] && [ "$length" -le 61441 ]
    same "$(qsc -q get $pool ClientNumberOfEntries)" 1000
}

@test "a static address is added, changed and deleted" {
    same "$(qsc add $hosts Chaddr=aa:bb:cc:00:11:22 Yiaddr=192.168.1.50 X_QRN_Name=printer --apply)" "${hosts}1"
    same "$(stored host)" "qrn_index=1 enable=0 mac=AA:BB:CC:00:11:22 ip=192.168.1.50 name=printer"
    same "$(journal)" "/etc/init.d/dnsmasq restart"
    qsc add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.51 Enable=1
    qsc set ${hosts}1 Enable=1 X_QRN_Name= --apply
    same "$(stored host)" "qrn_index=1 enable=1 mac=AA:BB:CC:00:11:22 ip=192.168.1.50
qrn_index=2 mac=AA:BB:CC:00:11:23 ip=192.168.1.51"
    grep -qx 'dhcp-host=AA:BB:CC:00:11:23,192.168.1.51' "$state/tmp/dnsmasq.conf"
    is_accepted
    same "$(qsc -q get $pool StaticAddressNumberOfEntries X_QRN_Instances | tr '\n' ' ')" "2 1,2 "
    qsc delete ${hosts}1 --apply
    same "$(stored host)" "qrn_index=2 mac=AA:BB:CC:00:11:23 ip=192.168.1.51"
    same "$(events | tail -n 1)" "delete static address [1] by CLI"
}

@test "hosts of others count, with the first of their addresses" {
    cat >>"$state/etc/config/dhcp" <<'HOSTS'

config host
	option name 'camera'
	list mac 'aa:bb:cc:00:11:30'
	list mac 'aa:bb:cc:00:11:31'
	option ip 'ignore'

config host
	option mac 'aa:bb:cc:00:11:32 aa:bb:cc:00:11:33'
	option ip '192.168.1.60'
HOSTS
    same "$(qsc -q get ${hosts}1 Chaddr Yiaddr X_QRN_Name Enable | tr '\n' ' ')" "AA:BB:CC:00:11:30  camera 1 "
    same "$(qsc -q get ${hosts}2 Chaddr Yiaddr | tr '\n' ' ')" "AA:BB:CC:00:11:32 192.168.1.60 "
    # One of another zone stays as it is, but nobody is moved there.
    sed -i "s/192.168.1.60/192.168.20.60/" "$state/etc/config/dhcp"
    qsc set ${hosts}2 Yiaddr=192.168.20.60
    run qsc set ${hosts}2 Yiaddr=192.168.20.61
    same "$output" "qsc: ${hosts}2: Yiaddr: it is no address of the LAN"
    sed -i "s/192.168.20.60/192.168.1.60/" "$state/etc/config/dhcp"
    run qsc add $hosts Chaddr=AA:BB:CC:00:11:33 Yiaddr=192.168.1.61
    same "$output" "qsc: ${hosts}3: Chaddr: static address 2 has this MAC address already"
    qsc set ${hosts}1 Chaddr=AA:BB:CC:00:11:30 Yiaddr=192.168.1.62 --apply
    same "$(stored host)" "name=camera mac=AA:BB:CC:00:11:30 ip=192.168.1.62 qrn_index=1
mac=aa:bb:cc:00:11:32 ip=192.168.1.60 qrn_index=2"
}

@test "what the server could not give is refused, and nothing is written" {
    qsc add $hosts Chaddr=AA:BB:CC:00:11:22 Yiaddr=192.168.1.50
    before=$(cat "$state/tmp/.uci/dhcp")
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
set $pool MinAddress=192.168.0.100|$pool: MinAddress: the pool 192.168.0.100 to 192.168.1.249 does not fit into the network
set $pool MinAddress=192.168.1.250|$pool: MinAddress: the pool ends before it begins
set $pool MinAddress=192.168.1.0|$pool: MinAddress: the pool 192.168.1.0 to 192.168.1.249 does not fit into the network
set $pool MaxAddress=192.168.1.255|$pool: MaxAddress: the pool 192.168.1.100 to 192.168.1.255 does not fit into the network
set $pool MinAddress=192.168.1.1|$pool: MinAddress: the pool holds the address of the router
set $pool MinAddress=|$pool: MinAddress: a pool has two ends
set $pool MaxAddress=192.168.1.999|$pool: MaxAddress: '192.168.1.999' is no IPv4 address
set $pool LeaseTime=119|$pool: LeaseTime: 119 is not -1 or 120 to 2147483647
set $pool LeaseTime=0|$pool: LeaseTime: 0 is not -1 or 120 to 2147483647
set $pool DNSServers=1.1.1.1,1.1.1.2,1.1.1.3,1.1.1.4,1.1.1.5|$pool: DNSServers: there are more than 4
set $pool DNSServers=::1|$pool: DNSServers: '::1' is no IPv4 address
set $pool DomainName=a/b|$pool: DomainName: 'a/b' is no host name
set $pool SubnetMask=255.0.0.0|$pool: SubnetMask: it cannot be set
add $hosts Chaddr=AA:BB:CC:00:11:22 Yiaddr=192.168.1.51|${hosts}2: Chaddr: static address 1 has this MAC address already
add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.50|${hosts}2: Yiaddr: static address 1 is this one already
add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.1|${hosts}2: Yiaddr: it is the address of the router
add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.255|${hosts}2: Yiaddr: it is no address of the LAN
add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=10.0.0.1|${hosts}2: Yiaddr: it is no address of the LAN
add $hosts Chaddr=AA:BB:CC:00:11:23|${hosts}2: X_QRN_Add: a new instance needs Yiaddr
add $hosts Yiaddr=192.168.1.51|${hosts}2: X_QRN_Add: a new instance needs Chaddr
set ${hosts}1 Chaddr=01:BB:CC:00:11:23|${hosts}1: Chaddr: '01:BB:CC:00:11:23' is no MAC address of one device
set ${hosts}1 Yiaddr=|${hosts}1: Yiaddr: it is empty
set ${hosts}1 X_QRN_Name=a_b|${hosts}1: X_QRN_Name: 'a_b' is no host name
set ${hosts}9 Enable=1|${hosts}9: Enable: there is no instance 9
REFUSED
    same "$(cat "$state/tmp/.uci/dhcp")" "$before"
    rm "$state/etc/config/dhcp" "$state/tmp/.uci/dhcp"
    run qsc set $pool LeaseTime=300
    same "$output" "qsc: $pool: LeaseTime: dhcp is not installed"
}
