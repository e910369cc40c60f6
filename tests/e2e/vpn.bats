#!/usr/bin/env bats
load device.bash

vpn=Device.X_QRN_VPN
lan=Device.X_QRN_NetworkZone.1
file=$(printf 'client\nremote vpn.example.net 1194 udp\n<ca>\nQUJD\n</ca>')

# The options of a section: "name value;", lists as they stand.
section() { # PACKAGE SECTION
    awk -v name="'$2'" '/^config/ { on = $3 == name } on && NF > 1 && !/^config/ {
        sub(/^[ \t]*(option|list) /, ""); gsub("\047", ""); print }' "$state/etc/config/$1" | sort | tr '\n' ';'
}

wan_networks() { sed -n "/name 'wan'/,/^config/s/.*list network '\(.*\)'/\1/p" "$state/etc/config/firewall" | tr '\n' ' '; }

ubus_says() { # INTERFACE JSON
    mkdir -p "$state/var/lib/sim/ubus"
    echo "$2" >"$state/var/lib/sim/ubus/network.interface.$1.status.json"
}

@test "PPTP and L2TP are interfaces in the zone of the WAN" {
    same "$(qsc -q get $vpn.1 | tr '\n' ';')" ";;;1500;0;Required;0;Disabled;;0;"
    qsc set $vpn.1 Enable=0 MTU=1500 Encryption=Required DefaultRoute=0
    [ ! -s "$state/tmp/.uci/network" ]
    qsc set $vpn.1 Server=vpn.example.net Username=anna Password='ge heim' MTU=1400 Encryption=Off --apply
    same "$(section network vpn1)" "defaultroute 0;disabled 1;mtu 1400;password ge heim;pppd_options nomppe;proto pptp;\
server vpn.example.net;username anna;"
    same "$(wan_networks)" "wan "
    qsc set $vpn.1 Enable=1 Encryption=Required DefaultRoute=1 --apply
    same "$(section network vpn1)" "defaultroute 1;disabled 0;mtu 1400;password ge heim;proto pptp;\
server vpn.example.net;username anna;"
    same "$(wan_networks)" "wan vpn1 "
    same "$(journal | grep init.d)" "/etc/init.d/network restart
/etc/init.d/firewall restart
/etc/init.d/network restart
/etc/init.d/firewall restart"
    qsc set $vpn.2 Server=192.0.2.9 Username=anna Password=geheim Enable=1 --apply
    same "$(section network vpn2)" \
        "defaultroute 0;disabled 0;password geheim;proto l2tp;server 192.0.2.9;username anna;"
    same "$(wan_networks)" "wan vpn1 vpn2 "
    same "$(grep -rlE 'ge ?heim' "$state/var/log" "$state/tmp")" ""
    same "$(events | grep Password | sort -u)" "set L2TP Password by CLI
set PPTP Password by CLI"
}

@test "another user name needs its password, and none has none" {
    qsc set $vpn.1 Username=anna Password=geheim --apply
    run qsc set $vpn.1 Username=berta Password=
    same "$output" "qsc: $vpn.1: Username: another user name needs its password"
    qsc set $vpn.1 Username=anna Password= MTU=1300
    qsc set $vpn.1 Username=berta Password=neu
    qsc set $vpn.1 Username= --apply
    same "$(section network vpn1)" "defaultroute 0;disabled 1;mtu 1300;proto pptp;"
}

@test "what is live comes from the network daemon, and for all tunnels at once" {
    qsc set $vpn.1 Server=192.0.2.9 Username=anna Password=geheim Enable=1 --apply
    same "$(qsc -q get $vpn.1 Status)" Error
    same "$(qsc --as MQTT -q get $vpn.1 Enable)$(qsc --as MQTT -q get $vpn.2 Enable)" truefalse
    ubus_says vpn1 '{"up":false,"pending":true}'
    same "$(qsc -q get $vpn.1 Status)" Connecting
    ubus_says vpn1 '{"up":true,"uptime":61,"ipv4-address":[{"address":"10.9.0.2","mask":32}]}'
    same "$(qsc -q get $vpn.1 Status IPAddress UpTime | tr '\n' ';')" "Up;10.9.0.2;61;"
    qsc set $vpn.3 RemoteGateway=192.0.2.1 LocalSubnet=192.168.1.0/24 RemoteSubnet=10.1.0.0/16 PreSharedKey=geheim Enable=1
    same "$(qsc -q get $vpn.3 Status)" Connecting
    mkdir -p "$state/var/lib/sim/swanctl"
    echo 'list-sa event {vpn3 {state=ESTABLISHED established=90 child-sas {vpn3_net-1 {state=INSTALLED}}}}' \
        >"$state/var/lib/sim/swanctl/sas"
    same "$(qsc -q get $vpn.3 Status)" Up
    same "$(qsc -q get $vpn TunnelNumberOfEntries)" 6
    off='"Enable":0,"Status":"Disabled","IPAddress":"","UpTime":0}'
    same "$(qsc -q get $vpn X_QRN_List)" '[{"Number":1,"Type":"PPTP","Enable":1,"Status":"Up","IPAddress":"10.9.0.2","UpTime":61},'\
'{"Number":2,"Type":"L2TP",'"$off"',{"Number":3,"Type":"IPsec","Enable":1,"Status":"Up","IPAddress":"","UpTime":90},'\
'{"Number":4,"Type":"OpenVPN",'"$off"',{"Number":5,"Type":"GRE",'"$off"',{"Number":6,"Type":"GRE-TAP",'"$off"']'
    qsc commit $vpn
    qsc service $vpn reload
    same "$(journal | grep init.d | tail -4)" "/etc/init.d/network reload
/etc/init.d/firewall reload
/etc/init.d/swanctl reload
/etc/init.d/openvpn reload"
}

@test "IPsec has its sections for both kinds of scripts, and keeps the remote network out of the NAT" {
    qsc set $vpn.3 RemoteGateway=gate.example.net LocalSubnet=192.168.1.0/24 RemoteSubnet=10.1.0.0/16 \
        PreSharedKey='ge$heim' LocalID=@home RemoteID=gate@example.net IKEVersion=1 Enable=1 --apply
    same "$(section ipsec vpn3)" "authentication_method psk;crypto_proposal vpn3_ike;enabled 1;gateway gate.example.net;\
keyexchange ikev1;local_identifier @home;pre_shared_key ge\$heim;rekeytime 28800s;remote_addrs gate.example.net;\
remote_identifier gate@example.net;tunnel vpn3_net;"
    same "$(section ipsec vpn3_net)" "crypto_proposal vpn3_esp;keyexchange ikev1;lifetime 28800s;\
local_subnet 192.168.1.0/24;mode route;rekeytime 25920s;remote_subnet 10.1.0.0/16;startaction route;"
    same "$(section ipsec vpn3_ike)" "dh_group modp2048;encryption_algorithm aes256;hash_algorithm sha256;"
    same "$(section firewall qrn_ipsec)" "dest_ip 10.1.0.0/16;enabled 1;name IPsec;proto all;src wan;\
src_ip 192.168.1.0/24;target ACCEPT;"
    grep -q "list remote_addrs" "$state/etc/config/ipsec" && grep -q "^config nat 'qrn_ipsec'" "$state/etc/config/firewall"
    same "$(grep -c "^config ipsec" "$state/etc/config/ipsec")" 1
    same "$(journal | grep init.d)" "/etc/init.d/swanctl restart
/etc/init.d/firewall restart"
    same "$(grep -rl 'ge\$heim' "$state/var/log" "$state/tmp")" ""
    # A cipher that needs no hash has none beside it; the hash waits for the next one.
    qsc set $vpn.3 Integrity=sha384 DHGroup=curve25519 Lifetime=3600 Enable=0 --apply
    qsc set $vpn.3 Encryption=aes256gcm16 --apply
    same "$(section ipsec vpn3_ike)" "dh_group curve25519;encryption_algorithm aes256gcm16;prf_algorithm prfsha384;"
    same "$(section ipsec vpn3_esp)" "dh_group curve25519;encryption_algorithm aes256gcm16;qrn_hash_algorithm sha384;"
    same "$(section firewall qrn_ipsec | tr ';' '\n' | grep enabled)" "enabled 0"
    qsc set $vpn.3 Encryption=aes128 --apply
    same "$(section ipsec vpn3_ike)" "dh_group curve25519;encryption_algorithm aes128;hash_algorithm sha384;"
    same "$(qsc -q get $vpn.3 Integrity Lifetime IKEVersion PreSharedKey | tr '\n' ';')" "sha384;3600;1;;"
    qsc set $vpn.3 Enable=1 --apply
    qsc set $vpn.3 RemoteSubnet= Enable=0 --apply
    same "$(section firewall qrn_ipsec | tr ';' '\n' | grep enabled)" "enabled 0"
    rm "$state/etc/init.d/swanctl"
    qsc service $vpn.3 restart
    same "$(journal | tail -2 | head -1)" "/etc/init.d/ipsec restart"
}

@test "OpenVPN gets its file when it is restarted, and runs no programs" {
    qsc set $vpn.4 Username=anna Password=geheim ConfigurationFile="$file" Enable=1
    [ ! -e "$state/etc/openvpn/vpn4.ovpn" ]
    qsc set $vpn.4 ConfigurationFile= --apply
    same "$(cat "$state/etc/openvpn/vpn4.ovpn")" "$file"
    same "$(stat -c %a "$state/etc/openvpn" "$state/etc/openvpn/vpn4.ovpn" | tr '\n' ' ')" "700 600 "
    same "$(ls "$state/etc/openvpn")" vpn4.ovpn
    same "$(section openvpn vpn4)" "config /etc/openvpn/vpn4.ovpn;dev vpn4;dev_type tun;enabled 1;password geheim;\
script_security 1;username anna;"
    same "$(section network vpn4)" "device vpn4;disabled 0;proto none;"
    same "$(wan_networks)" "wan vpn4 "
    same "$(journal | grep init.d)" "/etc/init.d/network restart
/etc/init.d/firewall restart
/etc/init.d/openvpn restart"
    same "$(events | grep -c 'set OpenVPN ConfigurationFile by CLI')" 2
    same "$(grep -rl 'QUJD\|geheim' "$state/var/log" "$state/tmp")" ""
    # Whoever has loosened it: the next set puts it right.
    device uci set openvpn.vpn4.script_security=2
    qsc set $vpn.4 Enable=1 --apply
    same "$(section openvpn vpn4 | tr ';' '\n' | grep script)" "script_security 1"
    ubus_says vpn4 '{"up":true,"uptime":5}'
    same "$(qsc -q get $vpn.4 | tr '\n' ';')" "anna;;;1;Connecting;;5;"
    qsc set $vpn.4 Enable=0 --apply
    same "$(section network vpn4)$(section openvpn vpn4 | tr ';' '\n' | grep enabled)" \
        "device vpn4;disabled 1;proto none;enabled 0"
}

@test "OpenVPN is an interface of the network daemon where it has no package" {
    rm "$state/etc/config/openvpn" "$state/etc/init.d/openvpn"
    run qsc set $vpn.4 Username=anna
    same "$output" "qsc: $vpn.4: Username: openvpn is not installed"
    mkdir -p "$state/usr/share/openvpn"
    qsc set $vpn.4 Username=anna Password=geheim ConfigurationFile="$file" Enable=1 --apply
    same "$(section network vpn4)" "config /etc/openvpn/vpn4.ovpn;dev vpn4;dev_type tun;disabled 0;password geheim;\
proto openvpn;script_security 1;username anna;"
    same "$(journal | grep init.d)" "/etc/init.d/network restart
/etc/init.d/firewall restart"
    same "$(qsc -q get $vpn.4 Enable)" 1
}

@test "GRE has an address of its own inside, and GRE-TAP joins the bridge of a zone" {
    qsc set $vpn.5 RemoteAddress=192.0.2.5 LocalAddress=203.0.113.17 Key=4294967295 TTL=32 MTU=1400 \
        TunnelIPAddress=10.9.9.1 TunnelSubnetMask=255.255.255.252 Enable=1 --apply
    same "$(section network vpn5)" "disabled 0;ikey 4294967295;ipaddr 203.0.113.17;mtu 1400;okey 4294967295;\
peeraddr 192.0.2.5;proto gre;ttl 32;"
    same "$(section network vpn5addr)" "device @vpn5;ipaddr 10.9.9.1;netmask 255.255.255.252;proto static;"
    same "$(wan_networks)" "wan vpn5 "
    same "$(qsc -q get $vpn.5 | tr '\n' ';')" \
        "192.0.2.5;203.0.113.17;4294967295;32;1400;10.9.9.1;255.255.255.252;1;Error;"
    qsc set $vpn.5 Key= Enable=0 --apply
    same "$(section network vpn5 | tr ';' '\n' | grep -c key)" 0
    # The outer end is no network of the router's own.
    qsc set Device.X_QRN_2ndStaticIp IPAddress=203.0.113.1 SubnetMask=255.255.255.0
    qsc set $vpn.6 RemoteAddress=gate.example.net Zone=$lan Enable=1 --apply
    same "$(section network vpn6)" "disabled 0;network lan;peeraddr gate.example.net;proto gretap;ttl 64;"
    same "$(wan_networks)" "wan vpn5 "
    same "$(qsc -q get $vpn.6 Zone Status | tr '\n' ';')" "$lan;Error;"
}

@test "what would not work, or open the LAN, is refused" {
    while IFS='|' read -r number assignments why; do
        eval "run qsc set $vpn.$number $assignments"
        same "$status ${output#qsc: "$vpn.$number": }" "1 $why"
    done <<REFUSED
1|Enable=1|Enable: it needs a server and a user name
1|Server=http://x|Server: 'http://x' is neither a host name nor an address
1|Username="a\"b"|Username: it has a quote or a backslash
2|Password="a'b"|Password: it has a quote or a backslash
2|Password='a\\b'|Password: it has a quote or a backslash
2|MTU=9000|MTU: 9000 is not 576 to 1500
1|Encryption=Maybe|Encryption: 'Maybe' is not one of Required|Off
3|Enable=1|Enable: it needs a gateway, both networks and a key
3|LocalSubnet=192.168.1.1/24|LocalSubnet: it is no IPv4 network such as 10.1.0.0/16
3|LocalSubnet=2001:db8::/32|LocalSubnet: it is no IPv4 network such as 10.1.0.0/16
3|RemoteSubnet=192.168.0.0/16|RemoteSubnet: the remote network overlaps that of lan
3|LocalSubnet=10.0.0.0/8 RemoteSubnet=10.1.0.0/16|LocalSubnet: the two networks overlap
3|PreSharedKey=0xabcdef|PreSharedKey: it begins with 0x or 0s, or has a blank, a quote, a '#', a '}' or a backslash
3|PreSharedKey='a}b'|PreSharedKey: it begins with 0x or 0s, or has a blank, a quote, a '#', a '}' or a backslash
3|LocalID='a b'|LocalID: it has a blank, a quote, a '#' or a backslash
3|RemoteID='{a'|RemoteID: it has a mark that no name or address has
3|Encryption=aes256gcm16 Integrity=sha384|Integrity: aes256gcm16 takes no integrity of its own
3|Encryption=3des|Encryption: '3des' is not one of aes128|aes256|aes256gcm16
3|Lifetime=10|Lifetime: 10 is not 300 to 604800
4|Enable=1|Enable: it needs a configuration file
4|ConfigurationFile=client|ConfigurationFile: it names no remote
4|ConfigurationFile="\$file"\$'\nup /bin/sh'|ConfigurationFile: line 6: it has a directive that is not taken
5|Enable=1|Enable: it needs a remote address
5|RemoteAddress=2001:db8::1|RemoteAddress: the remote address is none of IPv4
5|RemoteAddress=192.168.1.1|RemoteAddress: the remote address is no other host's
5|RemoteAddress=192.0.2.1 LocalAddress=192.0.2.1|RemoteAddress: the remote address is no other host's
5|Key=4294967296|Key: it is no number from 0 to 4294967295
5|Key=0x10|Key: it is no number from 0 to 4294967295
5|TTL=0|TTL: 0 is not 1 to 255
5|TunnelIPAddress=10.0.0.1|TunnelIPAddress: an address in the tunnel needs a mask
5|TunnelIPAddress=10.0.0.0 TunnelSubnetMask=255.255.255.252|TunnelIPAddress: the address in the tunnel is none of a host in its network
5|TunnelIPAddress=192.168.1.9 TunnelSubnetMask=255.255.255.0|TunnelIPAddress: the tunnel's network overlaps that of lan
6|RemoteAddress=192.0.2.1 Enable=1|RemoteAddress: it needs a remote address and a zone
6|Zone=Device.IP.Interface.1|Zone: it is no zone, or one with the WAN in it
6|Zone=Device.X_QRN_NetworkZone.9|Zone: it is no zone, or one with the WAN in it
6|Zone=$lan RemoteAddress=192.168.1.77|RemoteAddress: the remote address lies in the zone that the tunnel would join
REFUSED
    # A bridge that the WAN is in.
    printf "\nconfig interface 'guest'\n\toption device 'eth1'\n" >>"$state/etc/config/network"
    run qsc set $vpn.6 Zone=Device.X_QRN_NetworkZone.2
    same "$output" "qsc: $vpn.6: Zone: it is no zone, or one with the WAN in it"
    sed -i "s/option name 'wan'/option name 'upstream'/" "$state/etc/config/firewall"
    run qsc set $vpn.5 RemoteAddress=192.0.2.1 Enable=1
    same "$output" "qsc: $vpn.5: Enable: the firewall has no zone of the WAN"
    run qsc set $vpn.4 ConfigurationFile="$file" Enable=1
    same "$output" "qsc: $vpn.4: Enable: the firewall has no zone of the WAN"
    same "$(ls "$state/etc/openvpn" "$state/tmp/.uci" 2>/dev/null)" ""
    rm "$state/etc/config/ipsec"
    run qsc set $vpn.3 Lifetime=600
    same "$output" "qsc: $vpn.3: Lifetime: ipsec is not installed"
    qsc commit $vpn
}
