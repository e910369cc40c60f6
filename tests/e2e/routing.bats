#!/usr/bin/env bats
load device.bash

routes=Device.Routing.Router.1.IPv4Forwarding.

# The routes in the file, one a line, their options sorted.
stored() {
    awk '/^config/ { route = $2 == "route" } route && /option/ { gsub("\047", ""); line = line " " $2 "=" $3 }
        route && /^$/ { print line; line = "" }' "$state/etc/config/network"
}

@test "a route is added, changed and deleted" {
    same "$(qsc add $routes DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.2 --apply)" \
        "${routes}1"
    same "$(stored)" " qrn_index=1 disabled=1 target=10.1.0.0 netmask=255.255.0.0 gateway=192.168.1.2"
    same "$(journal)" "/etc/init.d/network restart"
    qsc set ${routes}1 ForwardingMetric=20 Enable=1
    same "$(qsc -q get ${routes}1 DestIPAddress ForwardingMetric Enable Status Origin)" "10.1.0.0
20
1
Error
Static"
    qsc set ${routes}1 ForwardingMetric=-1 GatewayIPAddress= Interface=Device.IP.Interface.1
    same "$(qsc -q get ${routes}1 ForwardingMetric GatewayIPAddress Interface)" "-1

Device.IP.Interface.1"
    same "$(qsc -q get Device.Routing.Router.1 IPv4ForwardingNumberOfEntries X_QRN_Instances)" "1
1"
    qsc delete ${routes}1 --apply
    same "$(stored)" ""
    same "$(events)" "add route [1] by CLI
set route [1] DestIPAddress 10.1.0.0 by CLI
set route [1] DestSubnetMask 255.255.0.0 by CLI
set route [1] GatewayIPAddress 192.168.1.2 by CLI
set route [1] ForwardingMetric 20 by CLI
set route [1] Enable 1 by CLI
set route [1] GatewayIPAddress <empty> by CLI
set route [1] Interface Device.IP.Interface.1 by CLI
set route [1] ForwardingMetric -1 by CLI
delete route [1] by CLI"
}

@test "the default route is stored as one" {
    qsc add $routes DestIPAddress= GatewayIPAddress=192.168.1.2 --apply
    qsc add $routes DestIPAddress=0.0.0.0 DestSubnetMask=0.0.0.0 Interface=Device.X_QRN_NetworkZone.1 --apply
    same "$(stored)" " qrn_index=1 disabled=1 target=0.0.0.0 netmask=0.0.0.0 gateway=192.168.1.2
 qrn_index=2 disabled=1 target=0.0.0.0 netmask=0.0.0.0 interface=lan"
}

@test "routes that others wrote count, and get their numbers with the first set" {
    cat >>"$state/etc/config/network" <<'ROUTES'

config route
	option target '10.5.0.0'
	option netmask '16'
	option gateway '192.168.1.5'

config route 'own'
	option target '10.6.0.0'
	option netmask '255.255.0.0'
	option gateway '192.168.1.6'
	option qrn_index '1'
ROUTES
    same "$(qsc -q get Device.Routing.Router.1 X_QRN_Instances)" "1,2"
    same "$(qsc -q get ${routes}2 DestIPAddress DestSubnetMask)" "10.5.0.0
255.255.0.0"
    [ ! -e "$state/tmp/.uci/network" ]
    qsc set ${routes}1 ForwardingMetric=5
    grep -q "qrn_index='2'" "$state/tmp/.uci/network"
}

@test "what cannot be routed is refused, and nothing is written" {
    qsc add $routes DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.2
    before=$(cat "$state/tmp/.uci/network")
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
set ${routes}1 DestIPAddress=10.1.0.1|${routes}1: DestIPAddress: the destination has bits outside its mask
set ${routes}1 DestIPAddress=10.2.0.0 DestSubnetMask=255.0.0.0|${routes}1: DestIPAddress: the destination has bits outside its mask
set ${routes}1 DestSubnetMask=255.0.255.0|${routes}1: DestSubnetMask: '255.0.255.0' is no contiguous netmask
set ${routes}1 GatewayIPAddress=|${routes}1: GatewayIPAddress: a route needs a gateway or an interface
set ${routes}1 GatewayIPAddress=192.168.1.1|${routes}1: GatewayIPAddress: the gateway is the router itself
set ${routes}1 Interface=Device.X_QRN_NetworkZone.9|${routes}1: Interface: there is no such interface
set ${routes}1 ForwardingMetric=-2|${routes}1: ForwardingMetric: -2 is not -1 to 2147483647
set ${routes}2 ForwardingMetric=1|${routes}2: ForwardingMetric: there is no instance 2
add $routes GatewayIPAddress=192.168.1.3|${routes}2: X_QRN_Add: a new instance needs DestIPAddress
add $routes DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.2|${routes}2: DestIPAddress: there is such a route already
set ${routes}1 X_QRN_Add=1|${routes}1: X_QRN_Add: there is an instance 1 already
set ${routes}1 X_QRN_Delete=1 Enable=1|${routes}1: X_QRN_Delete: it stands alone in its request, without Enable
set ${routes}70000 Enable=1|${routes}70000: Enable: there is no instance 70000
set Device.Routing.Router.1 Enable=0|Device.Routing.Router.1: Enable: the router cannot be switched off
REFUSED
    same "$(cat "$state/tmp/.uci/network")" "$before"
}
