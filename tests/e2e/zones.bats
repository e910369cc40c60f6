#!/usr/bin/env bats
load device.bash

zones=Device.X_QRN_NetworkZone.
data=Device.X_QRN_NetworkZone.DataVlan.
management=Device.X_QRN_NetworkZone.ManagementVlan

# The LAN's bridge with two wired ports, as the factory configuration of a device has it.
make_bridge() {
    printf "\nconfig device\n\toption name 'br-lan'\n\toption type 'bridge'\n\tlist ports 'lan1'\n\tlist ports 'lan2'\n" \
        >>"$state/etc/config/network"
    sed -i "/iface 'ra[x2-7]/d; s/iface 'ra1'/iface 'rax1'/" "$state/etc/config/qrnnetworkzone"
}

# stored PACKAGE PATTERN: the sections of a package whose first line holds the pattern, one a line.
stored() {
    awk -v wanted="$2" '{ gsub("\047", "") } $1 == "config" { if (line != "") print line; line = "" }
        $1 == "config" && $0 ~ wanted { line = $2 " " $3 }
        line != "" && /option|list/ { line = line " " $2 "="; $1 = $2 = ""; sub(/^ +/, ""); line = line $0 }
        END { if (line != "") print line }' "$state/etc/config/$1"
}

# Everything that is stored and staged for zones.
everything() { cat "$state"/etc/config/{qrnnetworkzone,network,dhcp,firewall} "$state"/tmp/.uci/* 2>/dev/null || true; }

@test "a zone brings its sections in four packages, and takes them along" {
    make_bridge
    same "$(qsc add $zones Name=cafe Interfaces=lan2 --apply)" "${zones}3"
    same "$(stored qrnnetworkzone ' cafe')" "zone cafe qrn_index=3 name=cafe iface=lan2"
    same "$(stored network 'cafe|device')" "device  name=br-lan type=bridge ports=lan1 ports=ra0
interface cafe proto=static device=br-cafe disabled=1
device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=lan2"
    same "$(stored network ' lan' | cut -d' ' -f1-3)" "interface lan device=br-lan"
    same "$(stored dhcp cafe)" "dhcp cafe interface=cafe start=100 limit=150 leasetime=12h dhcpv4=disabled ignore=1"
    same "$(stored firewall 'cafe')" "zone cafe name=cafe input=ACCEPT output=ACCEPT forward=REJECT network=cafe
rule qrn_cafe name=DNS and DHCP of cafe src=cafe proto=tcp udp dest_port=53 67 target=ACCEPT"
    same "$(stored firewall 'forwarding')" "forwarding  src=lan dest=wan
forwarding  src=cafe dest=wan
forwarding  src=lan dest=cafe
forwarding  src=cafe dest=lan
forwarding  src=guest dest=cafe
forwarding  src=cafe dest=guest"
    same "$(journal | head -n 4)" "/etc/init.d/qrnnetworkzone restart
/etc/init.d/network restart
/etc/init.d/dnsmasq restart
/etc/init.d/firewall restart"
    same "$(qsc -q get Device.X_QRN_NetworkZone | tr '\n' ' ')" "3 1,2,3 "
    # The port goes back to the others, and the zone with all that was its own.
    qsc set ${zones}1 Interfaces=ra0,lan2
    qsc delete ${zones}3 --apply
    qsc set ${zones}1 Interfaces=ra0 --apply
    same "$(stored network 'device')" "device  name=br-lan type=bridge ports=lan1 ports=lan2 ports=ra0"
    same "$(everything | grep -c cafe)" 0
    same "$(stored firewall forwarding)" "forwarding  src=lan dest=wan"
    same "$(events)" "add network zone [3] by CLI
set network zone [3] Name cafe by CLI
set network zone [3] Interfaces lan2 by CLI
set network zone [1] Interfaces ra0,lan2 by CLI
delete network zone [3] by CLI
set network zone [1] Interfaces ra0 by CLI"
}

@test "isolation closes the ways to the router and the other zones" {
    make_bridge
    qsc add $zones Name=cafe Isolation=1 --apply
    same "$(stored firewall ' cafe' | cut -d' ' -f4)" "input=REJECT"
    same "$(stored firewall 'forwarding')" "forwarding  src=lan dest=wan
forwarding  src=cafe dest=wan"
    qsc set ${zones}3 Isolation=0 --apply
    same "$(stored firewall 'forwarding' | grep -c cafe)" 5
    qsc set ${zones}3 Isolation=1 --apply
    same "$(stored firewall 'forwarding' | grep cafe)" "forwarding  src=cafe dest=wan
forwarding  src=lan dest=cafe enabled=0
forwarding  src=cafe dest=lan enabled=0
forwarding  src=guest dest=cafe enabled=0
forwarding  src=cafe dest=guest enabled=0"
}

@test "the first VLAN gives the LAN one as well, and the last takes it back" {
    make_bridge
    qsc add $zones Name=cafe VLANID=30 Interfaces=ra5 --apply
    same "$(stored network 'bridge-vlan|br_')" "device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=br-lan.30
bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u*
bridge-vlan qrn_vlan_1 device=br-lan vlan=1 ports=lan1:u* ports=lan2:u* ports=ra0:u*"
    same "$(stored network ' lan' | cut -d' ' -f3)" "device=br-lan.1"
    qsc set ${zones}1 VLANID=7 --apply
    same "$(stored network ' lan' | cut -d' ' -f3)" "device=br-lan.7"
    same "$(stored network 'bridge-vlan' | cut -d' ' -f2 | tr '\n' ' ')" "qrn_vlan_30 qrn_vlan_7 "
    # A data VLAN comes by the wired ports and leads to the zone, that of the management stands beside it.
    same "$(qsc add $data VLANID=40 Zone=${zones}3 Enable=1 --apply)" "${data}1"
    same "$(stored network 'qrn_vlan_40|br_')" "device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=br-lan.30 ports=br-lan.40
bridge-vlan qrn_vlan_40 device=br-lan vlan=40 ports=lan1:t ports=lan2:t"
    same "$(qsc -q get ${data}1 Zone) $(qsc -q get ${data%.} DataVlanNumberOfEntries)" "${zones}3 1"
    qsc set $management VLANID=30 Tagged=1 Enable=1 --apply
    same "$(stored network 'qrn_vlan_30')" "bridge-vlan qrn_vlan_30 device=br-lan vlan=30 ports=ra5:u* ports=lan1:t ports=lan2:t"
    same "$(stored qrnnetworkzone 'mgmtvlan|datavlan')" "datavlan  qrn_index=1 vlan_id=40 zone=cafe enable=1
mgmtvlan mgmtvlan vlan_id=30 tagged=1 enable=1"
    qsc set $management Enable=0
    qsc delete ${data}1
    qsc set ${zones}3 VLANID=0 --apply
    same "$(stored network 'bridge-vlan|br_')" "device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=ra5"
    same "$(stored network ' lan' | cut -d' ' -f3)" "device=br-lan"
}

@test "VLANs of others are left alone, and their LAN with them" {
    make_bridge
    sed -i "s/device 'br-lan'/device 'br-lan.9'/" "$state/etc/config/network"
    printf "\nconfig bridge-vlan\n\toption device 'br-lan'\n\toption vlan '9'\n\tlist ports 'lan1'\n" >>"$state/etc/config/network"
    qsc add $zones Name=cafe VLANID=30 --apply
    same "$(stored network ' lan' | cut -d' ' -f3)" "device=br-lan.9"
    same "$(stored network 'bridge-vlan')" "bridge-vlan  device=br-lan vlan=9 ports=lan1
bridge-vlan qrn_vlan_30 device=br-lan vlan=30"
    run qsc set ${zones}3 VLANID=9
    [[ $output == *": VLAN 9 is that of network.cfg"* ]]
    qsc set $management VLANID=9 Enable=1 --apply
    qsc delete ${zones}3 --apply
    same "$(stored network 'bridge-vlan')" "bridge-vlan  device=br-lan vlan=9 ports=lan1"
}

@test "a step that fails takes back those before it" {
    make_bridge
    qsc set ${zones}2 Isolation=0 --apply
    before=$(everything)
    # The package that is locked and staged last is one in which nothing can be staged.
    mkdir -p "$state/tmp/.uci" && rm -f "$state/tmp/.uci/firewall" && mkdir "$state/tmp/.uci/firewall"
    run qsc add $zones Name=cafe VLANID=30 Interfaces=ra5
    same "$status" 1
    rmdir "$state/tmp/.uci/firewall"
    same "$(everything)" "$before"
    # A list of ports that cannot be read whole is not cut either.
    cp "$state/etc/config/network" "$BATS_TEST_TMPDIR/network"
    seq -f "	list ports 'port%g'" 300 >"$BATS_TEST_TMPDIR/ports"
    sed -i "/name 'br-lan'/r $BATS_TEST_TMPDIR/ports" "$state/etc/config/network"
    run qsc add $zones Name=cafe
    same "$status" 1
    [ ! -s "$state/tmp/.uci/network" ] && [ ! -s "$state/tmp/.uci/qrnnetworkzone" ]
    cp "$BATS_TEST_TMPDIR/network" "$state/etc/config/network"
    rm "$state/etc/config/firewall"
    run qsc add $zones Name=cafe
    same "$status $output" "1 qsc: ${zones}3: X_QRN_Add: firewall is not installed"
    [ ! -s "$state/tmp/.uci/network" ] && [ ! -s "$state/tmp/.uci/qrnnetworkzone" ]
}

@test "an access point that moves to another zone moves between the bridges at the commit" {
    make_bridge
    qsc add $zones Name=cafe Interfaces=ra5 --apply
    qsc set Device.WiFi.SSID.1 X_QRN_NetworkZone=cafe
    qsc set ${zones}3 Isolation=0 --apply
    same "$(stored network 'device')" "device  name=br-lan type=bridge ports=lan1 ports=lan2
device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=ra5 ports=ra0"
}

@test "what would cut somebody off is refused, and nothing is written" {
    qsc set ${zones}1 Interfaces=ra0
    run qsc set ${zones}2 VLANID=30
    same "$output" "qsc: ${zones}2: VLANID: the LAN has no bridge with known ports that could carry a VLAN"
    make_bridge
    qsc add $zones Name=cafe VLANID=30 Interfaces=ra5
    qsc add $data VLANID=40 Zone=${zones}2 Enable=1
    qsc set $management VLANID=30 Enable=1
    before=$(everything)
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
add $zones Name=Cafe|${zones}4: Name: a name is small letters, digits and underscores after a letter
add $zones Name=1a|${zones}4: Name: a name is small letters, digits and underscores after a letter
add $zones Name=twelve_chars|${zones}4: Name: it has 12 characters, not 1 to 11
add $zones Name=cafe|${zones}4: Name: the name is taken
add $zones Name=wan|${zones}4: Name: the name is taken
add $zones Name=lan2|${zones}4: Name: the name is taken
add $zones Name=vpn1|${zones}4: Name: the name is taken
add $zones Name=mgmtvlan|${zones}4: Name: the name is taken
add $zones VLANID=50|${zones}4: X_QRN_Add: a new instance needs Name
set ${zones}3 Name=other|${zones}3: Name: a zone keeps its name
set ${zones}3 VLANID=4095|${zones}3: VLANID: 4095 is not 0 to 4094
set ${zones}3 VLANID=20|${zones}3: VLANID: VLAN 20 is that of zone guest
set ${zones}3 VLANID=40|${zones}3: VLANID: VLAN 40 is that of data VLAN 1
set ${zones}3 VLANID=1|${zones}3: VLANID: VLAN 1 is that of zone lan
set ${zones}3 VLANID=31|${zones}3: VLANID: VLAN 30, that of the management, would have no port
set ${zones}3 Interfaces=|${zones}3: Interfaces: VLAN 30, that of the management, would have no port
set ${zones}2 Interfaces=ra5|${zones}2: Interfaces: VLAN 30, that of the management, would have no port
set ${zones}2 Interfaces=ra0|${zones}2: Interfaces: the LAN would have no interface
set ${zones}1 Interfaces=|${zones}1: Interfaces: the LAN would have no interface
set ${zones}2 Interfaces=eth1|${zones}2: Interfaces: eth1 belongs to no zone
set ${zones}2 Interfaces=br-lan|${zones}2: Interfaces: br-lan belongs to no zone
set ${zones}2 Interfaces=../x|${zones}2: Interfaces: '../x' is no interface
set ${zones}2 Interfaces=ra6,ra6|${zones}2: Interfaces: it names an interface twice
set ${zones}1 Isolation=1|${zones}1: Isolation: the LAN is where the router is managed from
delete ${zones}1|${zones}1: X_QRN_Delete: the LAN cannot be deleted
delete ${zones}2|${zones}2: X_QRN_Delete: the zone has interfaces, which another has to take first
set ${zones}9 VLANID=9|${zones}9: VLANID: there is no instance 9
add $data VLANID=30 Zone=${zones}2|${data}2: VLANID: VLAN 30 is that of zone cafe
add $data VLANID=0 Zone=${zones}2|${data}2: VLANID: 0 is not 1 to 4094
add $data VLANID=50 Zone=${zones}1|${data}2: Zone: the LAN has the VLAN of its zone alone
add $data VLANID=50 Zone=${zones}7|${data}2: Zone: there is no such zone
add $data VLANID=50 Zone=Device.IP.Interface.1|${data}2: Zone: there is no such zone
add $data VLANID=50|${data}2: X_QRN_Add: a new instance needs Zone
set $management VLANID=0|$management: VLANID: it needs a VLAN
set $management VLANID=99|$management: VLANID: no port carries VLAN 99
set $management VLANID=1 Tagged=1|$management: VLANID: VLAN 1 is that of the LAN, which the wired ports carry untagged
REFUSED
    same "$(everything)" "$before"
    qsc set $management VLANID=40
    for request in "set ${data}1 Enable=0" "set ${data}1 VLANID=41" "delete ${data}1"; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $request
        [[ $output == *": VLAN 40, that of the management, would have no port" ]]
    done
    qsc set ${zones}1 Interfaces=ra0,rax1
    run qsc delete ${zones}2
    same "$output" "qsc: ${zones}2: X_QRN_Delete: data VLAN 1 leads to the zone"
}
