#!/usr/bin/env bats
load device.bash

path=Device.LLDP

stored() { tr -d "'\t" <"$state/etc/config/lldpd" | sed -n '/^option enable_cdp/d; /^\(option\|list\)/p'; }

# neighbours NUMBER NAME: has the daemon know so many, each with a system name as JSON has it.
neighbours() {
    : >"$state/tmp/lldpd.socket"
    {
        echo '{"lldp":[{"interface":['
        for ((i = 1; i <= $1; ++i)); do
            [ "$i" = 1 ] || echo ,
            printf '{"name":"eth%s","chassis":[{"id":[{"value":"%s"}],"name":[{"value":"%s"}],
                "capability":[{"type":"Bridge","enabled":true},{"type":"Tel","enabled":false},{"type":"Wlan","enabled":true}]}],
                "port":[{"id":[{"value":"p"}]}]}' "$((i % 3))" "$i" "$2"
        done
        echo ']}]}'
    } >"$state/usr/share/sim/neighbours.json"
}

@test "settings are stored as the daemon's script reads them" {
    same "$(qsc -q get $path | tr '\n' ' ')" "loopback,Device.X_QRN_NetworkZone.1 30 4 0  1 0 [] "
    qsc set $path X_QRN_Interfaces=Device.IP.Interface.1,Device.Ethernet.Interface.1,!wlan* X_QRN_TxInterval=10 \
        X_QRN_TxHold=3 X_QRN_ReceiveOnly=1 X_QRN_SystemDescription="Hall, 1st floor" --apply
    same "$(stored)" "list interface wan
list interface eth0
list interface !wlan*
option lldp_tx_interval 10
option lldp_tx_hold 3
option readonly_mode 1
option lldp_description Hall, 1st floor"
    same "$(qsc -q get $path X_QRN_Interfaces)" "Device.IP.Interface.1,Device.Ethernet.Interface.1,!wlan*"
    same "$(events | head -2)" "set lldp X_QRN_Interfaces Device.IP.Interface.1,Device.Ethernet.Interface.1,!wlan* by CLI
set lldp X_QRN_TxInterval 10 by CLI"
    qsc set $path X_QRN_Interfaces= --apply
    same "$(stored | grep -c interface)" 0
}

@test "neighbours are listed, whatever they call themselves" {
    same "$(qsc -q get $path X_QRN_List)" "[]"
    neighbours 2 'a \"quote\" \u001b[2J'
    same "$(qsc -q get $path X_QRN_NeighborNumberOfEntries)" 2
    [[ $(qsc -q get $path X_QRN_List) == '[{"Interface":"Device.Ethernet.Interface.2","ChassisID":"1","PortID":"p","SystemName":"a '*'quote'*'[2J","Capabilities":"Bridge,Wlan"},{"Interface":"eth2","ChassisID":"2",'* ]]
    same "$(device sh -c "echo '{\"X_QRN_List\":{}}' | qsc request $path get" | grep -c $'\e')" 0
    neighbours 1 "$(printf '\377x')"
    [[ $(qsc -q get $path X_QRN_List) == *'"SystemName":"�x"'* ]]
    neighbours 70 "$(printf 'x%.0s' {1..300})"
    same "$(qsc -q get $path X_QRN_NeighborNumberOfEntries)" 64
    same "$(qsc -q get $path X_QRN_List | grep -o '"ChassisID"' | wc -l)" 64
    same "$(qsc -q get $path X_QRN_List | grep -o 'x*' | head -1 | tr -d '\n' | wc -c)" 255
    neighbours 1 'open"'
    same "$(qsc -q get $path X_QRN_NeighborNumberOfEntries X_QRN_List | tr '\n' ' ')" "0 [] "
    echo '{"lldp":[{"interface":{"name":3}}]}' >"$state/usr/share/sim/neighbours.json"
    same "$(qsc -q get $path X_QRN_NeighborNumberOfEntries X_QRN_List | tr '\n' ' ')" "0 [] "
    rm "$state/usr/sbin/lldpcli"
    same "$(qsc -q get $path X_QRN_List)" "[]"
}
