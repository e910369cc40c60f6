#!/usr/bin/env bats
load device.bash

zones=Device.X_QRN_NetworkZone.

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
    same "$(stored network 'cafe|device')" "device  name=br-lan type=bridge ports=lan1 ports=ra0
interface cafe proto=static device=br-cafe disabled=1
device br_cafe name=br-cafe type=bridge bridge_empty=1 ports=lan2"
    same "$(journal | head -n 4)" "/etc/init.d/qrnnetworkzone restart
/etc/init.d/network restart
/etc/init.d/dnsmasq restart
/etc/init.d/firewall restart"
    same "$(qsc -q get Device.X_QRN_NetworkZone | tr '\n' ' ')" "3 1,2,3 "
    # The port goes back to the others, and the zone with all that was its own.
    qsc set ${zones}1 Interfaces=ra0,lan2
    qsc delete ${zones}3 --apply
    qsc set ${zones}1 Interfaces=ra0 --apply
    same "$(everything | grep -c cafe)" 0
    same "$(events)" "add network zone [3] by CLI
set network zone [3] Name cafe by CLI
set network zone [3] Interfaces lan2 by CLI
set network zone [1] Interfaces ra0,lan2 by CLI
delete network zone [3] by CLI
set network zone [1] Interfaces ra0 by CLI"
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
