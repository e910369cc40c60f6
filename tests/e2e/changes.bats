#!/usr/bin/env bats
# Changes that are planned, and made as one.
# shellcheck disable=SC2016,SC2154  # the device expands it; device.bash sets $state and $root
load device.bash

# apply LINE...: makes changes as one.
apply() { printf '%s\n' "$@" | qsc apply; }

staged() { cat "$state"/tmp/.uci/* 2>/dev/null; }

option() { sed -n "s/^[[:space:]]*option $2 '\(.*\)'/\1/p" "$state/etc/config/$1"; }

# compare SEED: plans and applies random requests over every parameter, in the order of their table for 0.
compare() {
    local compare=("$BATS_TEST_DIRNAME/compare_plans.py" "$state" "$BATS_TEST_DIRNAME/every_parameter.txt" "$1")
    "${compare[@]}" write
    device sh /root/run
    same "$("${compare[@]}" check)" ""
}

@test "a plan is what an apply does, leaves no trace, and shows no secret" { compare 0; }

@test "a plan is what an apply does for requests that may be refused" { compare 7; }

@test "the examples of the guide do what they say" {
    cp "$root/docs/changes.md" "$root/tests/e2e/run_examples.py" "$state/root/"
    # shellcheck disable=SC2016  # the device expands it
    run device sh -c 'qscd >/tmp/out 2>/tmp/err & daemon=$!
        until grep -qs socket /tmp/out || ! kill -0 $daemon; do sleep 0.02; done
        PATH=$PATH:/host/usr/bin python3 -B /root/run_examples.py /root/changes.md /root
        code=$?; kill $daemon; exit $code'
    same "$status $output" "0 $(grep -c '^\$ ' "$root/docs/changes.md") examples"
}

@test "what others have staged is neither committed nor lost" {
    qsc set Device.DeviceInfo FriendlyName=theirs
    before=$(staged)
    apply Device.DeviceInfo.HostName=ours
    same "$(option system hostname) $(option system description)" "ours "
    same "$(staged)" "$before"
    qsc commit Device.DeviceInfo
    same "$(option system hostname) $(option system description)" "ours theirs"
}

@test "several instances are added, and see each other" {
    apply 'add Device.Routing.Router.1.IPv4Forwarding. DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.7' \
        'add Device.Routing.Router.1.IPv4Forwarding. DestIPAddress=10.2.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.7' \
        'Device.Routing.Router.1.IPv4Forwarding.2.ForwardingMetric=9' \
        'delete Device.Routing.Router.1.IPv4Forwarding.1'
    same "$(qsc -q get Device.Routing.Router.1 X_QRN_Instances) $(option network target) $(option network metric)" "2 10.2.0.0 9"
}

@test "the plan of a set alone stops where the set does" {
    same "$(qsc plan set Device.DeviceInfo HostName=attic | grep -v Hash)" "Parameters:
  Device.DeviceInfo.HostName = attic (was router)
Configuration:
    system.@system[0].hostname: router -> attic"
}

@test "what is refused changes nothing, and names all that is wrong" {
    cp -r "$state/etc/config" "$BATS_TEST_TMPDIR/before"
    run apply Device.DeviceInfo.HostName=new Device.DeviceInfo.HostName.=x
    same "$status" 2
    run apply Device.DeviceInfo.HostName=new Device.X_QRN_RemoteAccess.SSH.Port=0 \
        Device.X_QRN_RemoteAccess.SSH.IdleTimeout=long Device.X_QRN_VPN.1.MTU=7 Device.X_QRN_VPN.1.Username=anna
    same "$status" 1
    same "$(grep -A9 '^Refused:' <<<"$output" | sed 's/: [^:]*$//')" "Refused:
  Device.X_QRN_RemoteAccess.SSH: Port
  Device.X_QRN_RemoteAccess.SSH: IdleTimeout
  Device.X_QRN_VPN.1: MTU
Hash
qsc: apply: Device.X_QRN_RemoteAccess.SSH: Port"
    diff -r "$BATS_TEST_TMPDIR/before" "$state/etc/config"
    same "$(journal)$(staged)" ""
    [ ! -e "$state/etc/qsyscmdhal/apply" ] && [ ! -e "$state/etc/qsyscmdhal/reserve" ]
}

@test "a service that fails takes everything back" {
    cp -r "$state/etc/config" "$BATS_TEST_TMPDIR/before"
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/network"
    run apply Device.DeviceInfo.HostName=new Device.IP.Interface.1.MaxMTUSize=1400 Device.X_QRN_AutoReboot.Enable=1
    same "$status" 1
    diff -r "$BATS_TEST_TMPDIR/before" "$state/etc/config"
    [ ! -e "$state/etc/crontabs/root" ]
    same "$(journal | grep -c '/etc/init.d/system restart')" 2
    rm "$state/var/lib/sim/fail/network"
    apply Device.DeviceInfo.HostName=new
    same "$(option system hostname)" new
}

@test "a driver that fails leaves the configuration as it is, and its services follow that" {
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/iwpriv"
    run apply Device.DeviceInfo.HostName=new Device.WiFi.Radio.1.Channel=6
    same "$status $(option system hostname)" "1 router"
    same "$(journal | grep '/etc/init.d')" "/etc/init.d/system restart
/etc/init.d/wifi restart"
}

@test "a plan that is out of date is not applied" {
    echo Device.DeviceInfo.HostName=new >"$state/root/changes"
    hash=$(device sh -c 'qsc -q plan </root/changes')
    qsc set Device.DeviceInfo FriendlyName=theirs --apply
    run device sh -c "qsc apply --hash $hash </root/changes"
    same "$status $(option system hostname)" "1 router"
    hash=$(device sh -c 'qsc -q plan </root/changes')
    device sh -c "qsc apply --hash $hash </root/changes"
    same "$(option system hostname)" new
}

# script NAME LINE...: has an init script say something of itself.
script() {
    cp --remove-destination "$(readlink -f "$state/etc/init.d/network")" "$state/etc/init.d/$1" 2>/dev/null || :
    printf '\n%s' 'exit 0' "${@:2}" >>"$state/etc/init.d/$1"
}

@test "a plan is not applied where a tool's answer makes another change of it" {
    qsc set Device.IP.Interface.1 X_QRN_VLANID=835 --apply
    echo Device.QoS.X_QRN_Discipline=cake >"$state/root/changes"
    : >"$state/var/log/journal.txt"
    run device sh -c 'qsc apply --hash "$(qsc -q plan </root/changes)" </root/changes'
    same "$status $(tail -n 1 <<<"$output")" "1 qsc: apply: the tools have answered something that no plan can know of"
    same "$(option sqm qdisc)" fq_codel
    device sh -c 'qsc apply </root/changes'
    same "$(option sqm qdisc)" "fq_codel
cake"
}

@test "services follow once, in their order, and only where they have something to read" {
    script system START=10 USE_PROCD=1 'procd_add_reload_trigger "system"'
    script dropbear START=19
    script firewall START=18 'config_load firewall'
    script network START=20 'reload_service() {'
    run apply Device.DeviceInfo.HostName=new Device.IP.Interface.1.MaxMTUSize=1400 Device.DNS.Client.Server.X_QRN_Custom.DNSServer1=9.9.9.9 \
        Device.X_QRN_RemoteAccess.SSH.IdleTimeout=300 Device.X_QRN_2ndStaticIp.IPAddress=192.168.77.1
    same "$(journal | grep -v 'qrnmsgupd')" "/etc/init.d/dropbear restart
/etc/init.d/network reload
$(for package in dropbear network system; do
        echo "/bin/ubus call service event '{\"type\":\"config.change\",\"data\":{\"package\":\"$package\"}}'"
    done)"
    same "$(sed -n '/^Not needed/,/^Hash/p' <<<"$output" | sed '1d;$d' | sort -u)" "\
  /etc/init.d/firewall restart: nothing that it reads has changed
  /etc/init.d/network restart: once is enough
  /etc/init.d/system restart: it reloads itself when it is told that its package has changed"
}

@test "a supervised service that does not run is a failure" {
    cat >"$state/etc/init.d/system" <<'END'
#!/bin/sh
[ "$1" = status ] && echo 'not running'
USE_PROCD=1
END
    run apply Device.DeviceInfo.HostName=new
    same "$status $(option system hostname)" "1 router"
    [[ $output == *"system restart has ended, but its service does not run"* ]]
}
