#!/usr/bin/env bats
load device.bash

# with_daemon SCRIPT [OPTION...]: runs a script on the device beside a daemon; $queue is its queue.
with_daemon() {
    local script=$1
    shift
    # shellcheck disable=SC2016  # the device expands it
    device sh -c '
        script=$1
        shift
        qscd --queue 0x51534344 "$@" >/tmp/qscd.out 2>/tmp/qscd.err &
        daemon=$!
        until grep -qs queue /tmp/qscd.out || ! kill -0 $daemon 2>/dev/null; do sleep 0.02; done
        queue=$(sed -n "s/^queue \([0-9]*\) .*/\1/p" /tmp/qscd.out)
        eval "$script"
        kill $daemon 2>/dev/null
        wait $daemon
        echo "qscd ended with $?"' sh "$script" "$@"
}

daemon_log() { cat "$state/tmp/qscd.err"; }

@test "requests travel through the queue, and the commander with them" {
    run with_daemon 'qsc --queue $queue get Device.X_QRN_RemoteLog Port
        qsc --queue 0x51534344 --as web set Device.X_QRN_RemoteLog Port=99 --apply
        qsc get Device.X_QRN_RemoteLog Port
        qsc --queue $queue get syslog level'
    same "$output" "Port = 514
Port = 99
level = 6
qscd ended with 0"
    same "$(journal)" "/etc/init.d/log restart
/etc/init.d/system restart"
    same "$(events)" "set Remote Log Port 99 by WEB"
    [[ $(daemon_log) == *"WEB 0x2 Device.X_QRN_RemoteLog: 0"*"ended after 5 requests, 0 dropped"* ]]
}

@test "what is pending in the daemon stays with it: set, commit and service as separate programs" {
    with_daemon 'qsc --queue $queue set Device.Time XQrnTimeZoneLocation=Africa/Abidjan
        qsc --queue $queue commit Device.Time
        qsc --queue $queue service Device.Time restart
        qsc --queue $queue service Device.Time restart'
    same "$(journal)" "/etc/init.d/system restart
/etc/init.d/sysntpd restart
/etc/init.d/sysntpd restart"
}

@test "failures come back as they are" {
    run with_daemon 'qsc --queue $queue set syslog level=9
        qsc --queue $queue get Device.WiFi.SSID.9
        qsc --queue 987654 get syslog
        qsc --queue 0x7 get syslog
        qsc --queue x get syslog'
    same "$output" "qsc: syslog: set of level failed: code 14 (refused value, unsupported operation, or failed command)
qsc: Device.WiFi.SSID.9: get failed: code 22 (bad argument, bad instance, missing value, or an operation that this path does not serve)
qsc: the request could not be sent: there is no such queue; qscd prints its queue when it starts
qsc: the queue of key 0x7 cannot be used: No such file or directory; does qscd run?
qsc: 'x' is no queue; give its number, or its key as 0x51534344
qscd ended with 0"
}

@test "an answer that is too long says so" {
    # The answers of all options stand beside what the sender had put into the request.
    printf '{"filler":"%03000d"}' 1 >"$state/tmp/long"
    for number in 1 2; do
        qsc set "Device.DHCPv4.Client.1.SentOption.$number" "Value=$(printf '%0510d' 1)" "XQrnValueStr=$(printf '%0510d' 1)"
    done
    run with_daemon 'qsc --queue $queue --json request "Device.DHCPv4.Client.1.SentOption." get </tmp/long'
    [[ ${lines[0]} == "qsc: qscd: served, but the answer of "*" bytes is longer than a message, which takes 4096 (code 90)" ]]
}

@test "a second daemon of the same key is refused, a queue left behind is taken over" {
    run with_daemon 'qscd --queue 0x51534344'
    [[ $output == *"a qscd is running as process "*"; give this one another --socket or --queue"* ]]
    run with_daemon 'kill -9 $daemon; wait $daemon; qscd --queue 0x51534344 >/tmp/second & second=$!
        until grep -qs queue /tmp/second || ! kill -0 $second; do sleep 0.02; done
        qsc --queue 0x51534344 get Device.X_QRN_RemoteLog Port; kill $second; wait $second; echo "then $?"'
    [[ $output == *"Port = 514"*"then 0"* ]]
}

@test "options are checked, and the queue is the owner's" {
    run device qscd --mode 8
    same "$status" 2
    run device qscd --queue -1
    same "$status" 2
    run device qscd extra
    same "$status" 2
    run with_daemon 'cut -c 11-34 /proc/sysvipc/msg' --mode 0640
    [[ $output == *" 640 "* ]]
}

@test "through the socket the answers are those of the library in process" {
    cat >"$state/tmp/script" <<'SCRIPT'
get Device.X_QRN_RemoteLog
set Device.X_QRN_RemoteLog Server=192.0.2.7 Port:=5140 --apply
get Device.X_QRN_RemoteLog Server Port
--json get Device.X_QRN_RemoteLog Port
get Device.WiFi.Radio.2 Channel OperatingChannelBandwidth
--as MQTT get Device.WiFi.Radio.1 Enable
get Device.DHCPv4.Client.1.SentOption.1
version
list Device.Time
set Device.WiFi.Radio.2 Channel=999
SCRIPT
    run device sh -c 'qsc batch </tmp/script'
    expected=$output
    journal=$(journal)
    "$root/sim/device" --build "$QSC_BUILD" --state "$state.other" --reset
    cp "$state/tmp/script" "$state.other/tmp/script"
    state=$state.other
    run with_daemon 'qsc --socket batch </tmp/script'
    same "$output" "$expected
qscd ended with 0"
    same "$(journal)" "$journal"
}

# python SCRIPT: runs a script on the device with a client of the daemon, "router".
python() {
    cp "$root/tools/python/qsc.py" "$state/tmp/"
    printf 'import sys\nsys.path.insert(0, "/tmp")\nsys.dont_write_bytecode = True\nimport qsc\nrouter = qsc.Client(timeout=60)\n%s\n' \
        "$1" >"$state/tmp/script.py"
    with_daemon 'PATH=$PATH:/host/usr/bin python3 /tmp/script.py'
}

@test "of an object or a branch all is answered but what cannot be read, which is listed" {
    [ -x /usr/bin/python3 ] || skip "python3 is not installed"
    sed -i "s/option country.*/option country 'XX'/" "$state/etc/config/mtkwireless"
    run python '
for path in "Device.WiFi.Radio.2", "Device.WiFi.Radio.", "Device.":
    values = router.get(path)
    for failed in values.failed:
        if failed["path"] == "Device.WiFi.Radio.2.PossibleChannels":
            print(path, values["Device.WiFi.Radio.2.Channel"], failed["message"], failed["code"], failed["cwmp"], failed["usp"])
start, pages = None, []
while not pages or start:
    pages.append(router.call("get", path="Device.WiFi.Radio.", limit=100, **{"from": start}))
    start = pages[-1].get("next")
print(len(pages) > 3, [failed["path"] for page in pages for failed in page.get("failed", [])])
for paths in ["Device.WiFi.Radio.2.Channel", "Device.WiFi.Radio.2.PossibleChannels"], ["Device.WiFi.Radio.2.", "Device.WiFi.Radio.9"]:
    try:
        print(router.get(*paths))
    except qsc.Error as error:
        print([(failed["path"], failed["usp"]) for failed in error.failed])'
    sentence="Device.WiFi.Radio.2: PossibleChannels: no channels are known for the country 'XX' 14 9002 7003"
    same "$output" "Device.WiFi.Radio.2 36 $sentence
Device.WiFi.Radio. 36 $sentence
Device. 36 $sentence
True ['Device.WiFi.Radio.1.PossibleChannels', 'Device.WiFi.Radio.2.PossibleChannels']
[('Device.WiFi.Radio.2.PossibleChannels', 7003)]
[('Device.WiFi.Radio.2.PossibleChannels', 7003), ('Device.WiFi.Radio.9', 7016)]
qscd ended with 0"
}

@test "what is wrong with the socket is said" {
    run device qsc --socket /nowhere get syslog
    same "$status $output" "1 qsc: /nowhere: no qscd serves there; start it, or name its socket"
    run with_daemon 'qsc --socket=/tmp/qscd.sock get syslog level
        qsc --socket /tmp/qscd.sock get Device.WiFi.SSID.9'
    [[ $output == "level = 6
qsc: Device.WiFi.SSID.9: "* ]]
}

@test "a watch shows what is changed through the daemon, and what others change" {
    run with_daemon 'qsc watch --count 4 Device.X_QRN_RemoteLog.Port Device.DHCPv4.Client.1. >/tmp/watched &
        watch=$!
        until grep -qs "Port = 514" /tmp/watched || ! kill -0 $watch; do sleep 0.02; done
        qsc --socket --as WEB set Device.X_QRN_RemoteLog Port=99 --apply
        until grep -qs restarted /tmp/watched || ! kill -0 $watch; do sleep 0.02; done
        uci set system.@system[0].log_port=100 2>/dev/null || qsc set Device.X_QRN_RemoteLog Port=100
        wait $watch
        grep -v "DHCPv4.* = " /tmp/watched'
    same "$output" "Device.X_QRN_RemoteLog.Port = 514
Device.X_QRN_RemoteLog.Port: 514 -> 99, by WEB
Device.X_QRN_RemoteLog: committed, by WEB
Device.X_QRN_RemoteLog: restarted, by WEB
Device.X_QRN_RemoteLog.Port: 99 -> 100, by others
qscd ended with 0"
}

@test "instances that come and go are told with who did it, and secrets are not shown" {
    routes=Device.Routing.Router.1.IPv4Forwarding.
    run with_daemon 'qsc watch '$routes' Device.DHCPv4.Client.1.XQrnPppoePassword >/tmp/watched &
        watch=$!
        shown() { until grep -qs "$1" /tmp/watched || ! kill -0 $watch; do sleep 0.02; done; }
        route="DestIPAddress=10.1.0.0 DestSubnetMask=255.255.0.0 GatewayIPAddress=192.168.1.2"
        shown Password
        qsc --socket --as WEB add '$routes' $route >/dev/null
        shown created
        qsc --socket --as WEB delete '$routes'1
        shown deleted
        qsc add '$routes' $route >/dev/null
        shown "created, by others"
        qsc delete '$routes'1
        shown "deleted, by others"
        qsc --socket --as MQTT set Device.DHCPv4.Client.1 XQrnPppoePassword=hunter2
        shown MQTT
        kill $watch
        grep -v "IPv4Forwarding.*->" /tmp/watched'
    same "$output" "Device.DHCPv4.Client.1.XQrnPppoePassword = 
${routes}1: created, by WEB
${routes}1: deleted, by WEB
${routes}1: created, by others
${routes}1: deleted, by others
Device.DHCPv4.Client.1.XQrnPppoePassword: *** -> ***, by MQTT
qscd ended with 0"
    same "$(cat "$state/tmp/watched" "$state/tmp/qscd.err" | grep -c hunter2)" 0
}

@test "the examples of the document do what it says" {
    command -v socat >/dev/null && [ -x /usr/bin/python3 ] || skip "socat or python3 is not installed"
    mkdir "$state/root/modules"
    cp "$root/docs/daemon.md" "$root/tests/e2e/run_examples.py" "$state/root/"
    cp "$root/tools/python/qsc.py" "$state/root/modules/"
    # shellcheck disable=SC2016  # the device expands it
    run with_daemon 'PATH=$PATH:/host/usr/bin python3 /root/run_examples.py /root/daemon.md /root/modules'
    echo "$output"
    [[ $output == *" examples
qscd ended with 0" ]]
}

@test "the journal says for whom it has set, and the statistics where its time went" {
    run with_daemon 'qsc --socket --as WEB set Device.DeviceInfo HostName=gate >/dev/null
        qsc --socket commit Device.DeviceInfo
        qsc --socket service Device.DeviceInfo restart
        qsc audit | cut -d" " -f 5-
        qsc --socket=/tmp/qscd.sock stats | sed "s/ \+[0-9]\+\.[0-9]* \+[0-9]\+\.[0-9]*/ TIMES/" | grep -e TIMES -e ^requests
        qsc --socket=/nowhere stats'
    same "$output" " WEB (user 0)  Device.DeviceInfo.HostName: router -> gate
requests = 4
        3       0 TIMES  Device.DeviceInfo
        1       0 TIMES  /etc/init.d/system
qsc: /nowhere: no qscd serves there; start it, or name its socket
qsc: the statistics are those of a running qscd
qscd ended with 0"
}
