#!/usr/bin/env bats
load device.bash

list=Device.X_QRN_Firewall.PortTriggering.

stored() {
    awk '/^config/ { on = $2 == "trigger" } on && /option/ { gsub("\047", ""); sub(/^[ \t]*option /, ""); printf "%s;", $0 }' \
        "$state/etc/config/firewall"
}

@test "a trigger is stored for whoever reads it" {
    same "$(qsc add $list Port=6660 PortEndRange=6669 Protocol=TCP RulePort=113 Description="chat" AutoDisableDuration=600 \
        Enable=1 --apply)" "${list}1"
    same "$(stored)" "qrn_index 1;description chat;port 6660;port_end_range 6669;protocol tcp;auto_disable_duration 600;rule_port 113;enable 1;"
    same "$(device fw4 check 2>&1)" ""
    same "$(journal)" "/etc/init.d/firewall restart"
    same "$(qsc -q get ${list}1 | tr '\n' '|')" "0|0|chat|6660|6669|TCP|600|113|0|X_QRN_Both|1|Error|"
    same "$(qsc -q get ${list%.} | tr '\n' '|')" "1|1|"
    printf '#!/bin/sh\n' >"$state/etc/init.d/qrnporttrigger"
    chmod +x "$state/etc/init.d/qrnporttrigger"
    same "$(qsc -q get ${list}1 Status)" "Enabled"
    qsc set ${list}1 Enable=0 --apply
    same "$(qsc -q get ${list}1 Status)" "Disabled"
    qsc delete ${list}1 --apply
    same "$(stored)" ""
}

@test "what cannot be is refused, and nothing is written" {
    qsc add $list Port=6660 PortEndRange=6669 Protocol=TCP RulePort=113 Enable=1
    qsc add $list Port=6665 Protocol=TCP RulePort=114
    qsc add $list Port=6665 Protocol=UDP RulePort=114 Enable=1
    before=$(cat "$state/tmp/.uci/firewall")
    while IFS='|' read -r arguments sentence; do
        # shellcheck disable=SC2086  # words are what is meant
        run qsc $arguments
        same "$status $output" "1 qsc: $sentence"
    done <<REFUSED
add $list Port=80 Protocol=TCP|${list}4: X_QRN_Add: a new instance needs RulePort
add $list Port=80 RulePort=80|${list}4: X_QRN_Add: a new instance needs Protocol
set ${list}1 Port=0|${list}1: Port: 0 is not 1 to 65535
set ${list}1 PortEndRange=6659|${list}1: PortEndRange: the range ends before it begins
set ${list}1 RulePortEndRange=1|${list}1: RulePortEndRange: the range ends before it begins
set ${list}2 Enable=1|${list}2: Enable: port trigger 1 waits for such a port already
set ${list}3 Protocol=X_QRN_Both|${list}3: Protocol: port trigger 1 waits for such a port already
set ${list}1 RulePort=60 RulePortEndRange=70|${list}1: RulePort: the router itself serves port 68 on the WAN
REFUSED
    same "$(cat "$state/tmp/.uci/firewall")" "$before"
}
