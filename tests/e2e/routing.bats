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
