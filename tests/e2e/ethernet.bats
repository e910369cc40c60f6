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
