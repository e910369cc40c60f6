#!/usr/bin/env bats
load device.bash

ports=Device.Ethernet.Interface.

# add_device NAME [FOLDER...]: makes a network device of the kernel.
add_device() {
    local folder=$state/sys/class/net/$1 each
    mkdir -p "$folder/statistics"
    echo 1 >"$folder/type"
    shift
    for each in "$@"; do mkdir "$folder/$each"; done
}

# The device sections in the file, one a line.
stored() {
    awk '/^config/ { on = $2 == "device"; line = $3 } on && /option/ { line = line " " $2 "=" $3 }
        on && /^$/ { print line }' "$state/etc/config/network" | tr -d "'"
}

@test "the ports are those that have a plug, in natural order" {
    same "$(qsc -q get ${ports}1 Name MACAddress Status CurrentBitRate Upstream | tr '\n' ' ')" \
        "eth0 02:00:5E:00:53:01 Up 1000 0 "
    same "$(qsc -q get ${ports}2 Name Upstream MaxBitRate DuplexMode Enable | tr '\n' ' ')" "eth1 1 -1 Auto 1 "
    add_device eth10 device
    add_device eth9 device
    add_device eth0.5
    add_device wlan0 device wireless
    add_device phy1-ap0 device phy80211
    add_device switch device dsa
    add_device wwan0 device
    echo 65534 >"$state/sys/class/net/wwan0/type"
    same "$(qsc get $ports | sed -n 's/\.Name *=//p' | tr '\n' ';')" \
        "${ports}1 eth0;${ports}2 eth1;${ports}3 eth9;${ports}4 eth10;"
}

@test "a digit in the path chooses one port, and without one all are answered" {
    for all in Device.Ethernet.Interface $ports ${ports}x Device.Ethernet.Interface.Stats; do
        same "$(device sh -c "echo '{}' | qsc request $all get" | grep -o '^  "Dev[^"]*"' | tr -d ' "' | tr '\n' ' ')" \
            "${ports}1 ${ports}2 "
    done
    echo 18446744073709 >"$state/sys/class/net/eth1/statistics/tx_bytes"
    echo 7 >"$state/sys/class/net/eth1/statistics/rx_dropped"
    echo 9 >"$state/sys/class/net/eth1/statistics/multicast"
    same "$(qsc -q get ${ports}2.Stats BytesSent BytesReceived DiscardPacketsReceived MulticastPacketsReceived ErrorsSent |
        tr '\n' ' ')" "18446744073709 1000 7 9 0 "
}

@test "what the kernel does not know is unknown" {
    local folder=$state/sys/class/net/eth1
    while read -r link carrier rate answer; do
        echo "$link" >"$folder/operstate"
        echo "$carrier" >"$folder/carrier"
        echo "$rate" >"$folder/speed"
        same "$(qsc -q get ${ports}2 Status CurrentBitRate DuplexMode | tr '\n' ' ')" "$answer "
    done <<LINKS
down 0 -1 Down 0 Auto
lowerlayerdown 0 -1 LowerLayerDown 0 Auto
unknown 1 100 Up 100 Auto
testing 0 unknown Unknown 0 Auto
LINKS
    rm "$folder/operstate" "$folder/carrier" "$folder/speed" "$folder/address"
    same "$(qsc -q get ${ports}2 Status CurrentBitRate MACAddress | tr '\n' ' ')" "Unknown 0  "
}

@test "settings stand in the section that names the port, which is made if there is none" {
    qsc set ${ports}2 MaxBitRate=100 DuplexMode=Half --apply
    same "$(stored)" "qrn_eth1 speed=100 name=eth1 duplex=0"
    same "$(journal | head -1)" "/etc/init.d/network restart"
    same "$(qsc -q get ${ports}2 MaxBitRate DuplexMode | tr '\n' ' ')" "100 Half "
    cat >>"$state/etc/config/network" <<'SECTION'

config device
	option name 'eth0'
	option speed '1000'
	option duplex '1'
	option autoneg '0'
SECTION
    same "$(qsc -q get ${ports}1 MaxBitRate DuplexMode Enable | tr '\n' ' ')" "1000 Full 1 "
    qsc set ${ports}1 MaxBitRate=100 --apply
    same "$(stored | tail -1)" " name=eth0 speed=100 duplex=1 autoneg=0"
    # What is left to the link partners needs their negotiation.
    qsc set ${ports}1 MaxBitRate=-1 DuplexMode=Full --apply
    same "$(stored | tail -1)" " name=eth0 duplex=1"
    qsc set ${ports}2 Enable=0 MaxBitRate=-1 DuplexMode=Auto --apply
    same "$(stored | head -1)" "qrn_eth1 name=eth1 enabled=0"
    same "$(events)" "set ethernet port [2] MaxBitRate 100 by CLI
set ethernet port [2] DuplexMode Half by CLI
set ethernet port [1] MaxBitRate 100 by CLI
set ethernet port [1] MaxBitRate -1 by CLI
set ethernet port [1] DuplexMode Full by CLI
set ethernet port [2] MaxBitRate -1 by CLI
set ethernet port [2] DuplexMode Auto by CLI
set ethernet port [2] Enable 0 by CLI"
}

@test "the LAN keeps a port" {
    add_device eth9 device
    mkdir "$state/sys/class/net/br-lan/lower_eth9"
    qsc set ${ports}3 Enable=0
    run qsc set ${ports}1 Enable=0
    same "$output" "qsc: ${ports}1: Enable: it is the LAN's only port"
    qsc set ${ports}3 Enable=1
    qsc set ${ports}1 Enable=0
    # The configuration's ports of the bridge come before the kernel's.
    cat >>"$state/etc/config/network" <<'SECTION'

config device
	option name 'br-lan'
	option type 'bridge'
	list ports 'eth9'
SECTION
    run qsc set ${ports}3 Enable=0
    same "$output" "qsc: ${ports}3: Enable: it is the LAN's only port"
}

@test "what a port cannot be is refused, and nothing is written" {
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc set $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
${ports}1 MaxBitRate=99|${ports}1: MaxBitRate: 99 is not -1 or 10 or 100 or 1000 or 2500 or 10000
${ports}1 MaxBitRate=fast|${ports}1: MaxBitRate: 'fast' is no whole number
${ports}1 DuplexMode=full|${ports}1: DuplexMode: 'full' is not one of Half|Full|Auto
${ports}1 MaxBitRate=100 DuplexMode=x|${ports}1: DuplexMode: 'x' is not one of Half|Full|Auto
${ports}1 Enable=2|${ports}1: Enable: '2' is neither 0 nor 1
${ports}1 Enable=0|${ports}1: Enable: it is the LAN's only port
${ports}1 Name=x|${ports}1: Name: it cannot be set
${ports}1.Stats BytesSent=0|${ports}1.Stats: BytesSent: it cannot be set
${ports}3 Enable=1|${ports}3: Enable: there is no instance 3
REFUSED
    run device sh -c "echo '{\"Enable\":{\"ParamValue\":1}}' | qsc request $ports set"
    [[ $output == *"qsc: $ports: Enable: there is no instance 0"* ]]
    [ ! -s "$state/tmp/.uci/network" ]
}
