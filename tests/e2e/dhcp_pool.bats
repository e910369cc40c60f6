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

@test "a static address is added, changed and deleted" {
    same "$(qsc add $hosts Chaddr=aa:bb:cc:00:11:22 Yiaddr=192.168.1.50 X_QRN_Name=printer --apply)" "${hosts}1"
    same "$(stored host)" "qrn_index=1 enable=0 mac=AA:BB:CC:00:11:22 ip=192.168.1.50 name=printer"
    same "$(journal)" "/etc/init.d/dnsmasq restart"
    qsc add $hosts Chaddr=AA:BB:CC:00:11:23 Yiaddr=192.168.1.51 Enable=1
    qsc set ${hosts}1 Enable=1 X_QRN_Name= --apply
    same "$(stored host)" "qrn_index=1 enable=1 mac=AA:BB:CC:00:11:22 ip=192.168.1.50
qrn_index=2 mac=AA:BB:CC:00:11:23 ip=192.168.1.51 enable=1"
    grep -qx 'dhcp-host=AA:BB:CC:00:11:23,192.168.1.51' "$state/tmp/dnsmasq.conf"
    is_accepted
    same "$(qsc -q get $pool StaticAddressNumberOfEntries X_QRN_Instances | tr '\n' ' ')" "2 1,2 "
    qsc delete ${hosts}1 --apply
    same "$(stored host)" "qrn_index=2 mac=AA:BB:CC:00:11:23 ip=192.168.1.51 enable=1"
    same "$(events | tail -n 1)" "delete static address [1] by CLI"
}
