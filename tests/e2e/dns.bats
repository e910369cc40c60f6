#!/usr/bin/env bats
load device.bash

servers=Device.DNS.Client.Server.
custom=${servers}X_QRN_Custom

add_six() {
    cat >>"$state/etc/config/network" <<'SECTION'

config interface 'wan6'
	option device '@wan'
	option proto 'dhcpv6'
SECTION
}

# What the file says of servers, one option a line.
stored() {
    awk '/^config/ { section = $3 } $2 == "peerdns" || $2 ~ /dns$/ { print section, $2, $3 }' \
        "$state/etc/config/network" | tr -d "'"
}

# server NUMBER NAME...: what is answered for one server.
server() {
    local number=$1 members
    shift
    members=$(printf ',"%s":{}' "$@")
    device sh -c "echo '{${members#,}}' | qsc request $servers$number get" | sed -n 's/.*"ParamValue":"\(.*\)",/\1/p' | tr '\n' ' '
}

@test "the servers are told in the order in which they are asked" {
    same "$(qsc -q get ${servers%.} X_QRN_DNSServers)" 203.0.113.53,203.0.113.54
    add_six
    : >"$state/var/log/journal.txt"
    same "$(qsc -q get ${servers%.} X_QRN_DNSServers)" 203.0.113.53,203.0.113.54,2001:db8::53
    same "$(journal)" "/usr/bin/ubus call network.interface.wan status
/usr/bin/ubus call network.interface.wan6 status"
    same "$(server 2 DNSServer Type Interface Status)" \
        "203.0.113.54 DHCPv4 Device.IP.Interface.1 Enabled "
    same "$(server 3 DNSServer Type)" "2001:db8::53 DHCPv6 "
    sed -i "s/option proto 'dhcp'/option proto 'pppoe'/; s/option proto 'dhcpv6'/option proto 'none'/" "$state/etc/config/network"
    same "$(server 1 Type)$(server 3 Type)" "IPCP RouterAdvertisement "
    echo "	option dns_metric '-1'" >>"$state/etc/config/network"
    same "$(server 1 DNSServer)" "2001:db8::53 "
    for number in 4 0 99999999999; do
        run device sh -c "echo '{\"Type\":{}}' | qsc request $servers$number get"
        [[ $output == *"Type: there is no server"* ]]
    done
    # Without a number there is nothing to say of one, and with it nothing of all.
    same "$(device sh -c "echo '{\"DNSServer\":{},\"Status\":{}}' | qsc request $servers get" | tr -d ' \n')" \
        '{"DNSServer":{"ParamId":0},"Status":{"ParamId":0}}'
    same "$(device sh -c "echo '{\"X_QRN_DNSServers\":{}}' | qsc request ${servers}1 get" | tr -d ' \n')" \
        '{"X_QRN_DNSServers":{"ParamId":0}}'
}

@test "servers of one's own take the place of the provider's, and wait while they are off" {
    add_six
    qsc set $custom DNSServer1=2001:db8::9 DNSServer2=9.9.9.9 --apply
    same "$(stored)" "wan qrn_dns 2001:db8::9
wan qrn_dns 9.9.9.9"
    same "$(qsc -q get $custom | tr '\n' ' ')" "2001:db8::9 9.9.9.9 0 "
    qsc set $custom Enable=1 --apply
    same "$(stored)" "wan qrn_dns 2001:db8::9
wan qrn_dns 9.9.9.9
wan dns 9.9.9.9
wan peerdns 0
wan6 dns 2001:db8::9
wan6 peerdns 0"
    same "$(journal)" "/etc/init.d/network restart
/etc/init.d/network restart"
    same "$(qsc -q get $custom | tr '\n' ' ')" "2001:db8::9 9.9.9.9 1 "
    qsc set $custom DNSServer1= --apply
    same "$(stored | grep -v qrn_)" "wan dns 9.9.9.9
wan peerdns 0
wan6 peerdns 0"
    same "$(qsc -q get $custom | tr '\n' ' ')" " 9.9.9.9 1 "
    qsc set $custom Enable=0 DNSServer1=149.112.112.112 --apply
    same "$(stored)" "wan qrn_dns 149.112.112.112
wan qrn_dns 9.9.9.9"
    same "$(events | tail -2)" "set custom dns DNSServer1 149.112.112.112 by CLI
set custom dns Enable 0 by CLI"
}
