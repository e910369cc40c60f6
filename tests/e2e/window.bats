#!/usr/bin/env bats
# Changes that wait to be confirmed, over the daemon.
# shellcheck disable=SC2016  # the device expands it
load device.bash

setup() {
    [ -x /usr/bin/python3 ] || skip "python3 is not installed"
    root=$(cd "$BATS_TEST_DIRNAME/../.." && pwd)
    state=$BATS_TEST_TMPDIR/device
    "$root/sim/device" --build "$QSC_BUILD" --state "$state" --reset
    cp "$root/tools/python/qsc.py" "$state/tmp/"
    cat >"$state/root/verbs" <<'VERBS'
rm -f /tmp/watched
start() {
    : >/tmp/out
    qscd >/tmp/out 2>>/tmp/err & daemon=$!
    until grep -qs socket /tmp/out || ! kill -0 $daemon; do sleep 0.02; done
    qsc watch Device.X_QRN_RemoteLog.Port >>/tmp/watched 2>/dev/null & watch=$!
    watches=$((watches + 1))
    until [ "$(grep -cs "Port = " /tmp/watched)" = $watches ] || ! kill -0 $watch; do sleep 0.02; done
}
# told TEXT: waits for an event.
told() { until grep -qs "^change.*$1" /tmp/watched || ! kill -0 $watch; do sleep 0.02; done; }
events() { sed -n "s/^change //p" /tmp/watched; : >/tmp/watched; watches=0; }
port() { sed -n "s/.*log_port '\(.*\)'/port \1/p" /etc/config/system; }
# say EXPRESSION...: prints what Python makes of them, with a client of the daemon.
say() {
    printf 'print(%s)\n' "$@" >/tmp/said
    PATH=$PATH:/host/usr/bin python3 -B - <<END
import sys
sys.path.insert(0, "/tmp")
import qsc
router = qsc.Client(timeout=60, commander="WEB")
def port(number, **options):
    try:
        answer = router.apply({"Device.X_QRN_RemoteLog.Port": number}, **options)
        return ["repeated", answer["accepted"]] if "report" in answer else answer
    except qsc.Error as error:
        return [error.code, str(error)] + [each["code"] for each in error.failed]
$(cat /tmp/said)
END
}
VERBS
}

# with_daemon SCRIPT: runs a script on the device beside a daemon, with the verbs above.
with_daemon() {
    # shellcheck disable=SC2016  # the device expands it
    device sh -c '. /root/verbs; start; eval "$1"
        kill $watch $daemon; wait $daemon; echo "qscd ended with $?"' sh "$1"
}

@test "a change that nobody confirms is taken back when its time is over; others are refused meanwhile" {
    run with_daemon 'say "port(99, confirm=2, id=\"a.1\")"
        told started; port
        qsc pending | sed "s/[12] of/N of/"
        qsc set Device.Time Enable=0 2>&1 | sed "s/[12] s$/N s/"
        qsc commit Device.Time 2>&1 | sed "s/[12] s$/N s/"
        qsc service Device.Time restart
        say "port(99, confirm=2, id=\"a.1\")" "port(98, confirm=2, id=\"a.1\")"
        told restored; port; events
        qsc pending; qsc confirm a.1
        qsc set Device.Time Enable=0 --apply && echo free'
    same "$output" "{'accepted': 'a.1'}
port 99
a.1: open, N of 2 s left, by WEB (user 0)
qsc: Device.Time: an unconfirmed change of WEB (a.1) is open for N s
qsc: commit: Device.Time: an unconfirmed change of WEB (a.1) is open for N s
['repeated', 'a.1']
[-32000, 'apply: the id is that of another change; give this one an id of its own', 17]
port 514
a.1: started, 2 s, by WEB
a.1: timed_out, by WEB
a.1: restored, timed out, by WEB
nothing waits to be confirmed; the last was a.1: restored
qsc: qscd: a.1: nothing waits to be confirmed
free
qscd ended with 0"
    # What it has restarted follows the old configuration once more.
    same "$(journal | grep -c '/etc/init.d/log restart')" 2
}

@test "a change that is confirmed stays; a further one of its owner joins, and both go back to the first's beginning" {
    run with_daemon 'say "port(99, confirm=60, id=\"a\")"
        told started; qsc extend a 600; qsc extend b 600; qsc extend a 604801; qsc confirm a; events
        say "port(98, confirm=60, id=\"b\")" "port(97, confirm=60, id=\"c\")" "port(96, confirm=1, id=\"no/path\")"
        told "c: started"; qsc pending | sed "s/[0-9]* of/N of/"
        qsc confirm b; qsc --as WEB set Device.X_QRN_RemoteLog Server=192.0.2.99
        qsc cancel c; told restored; port; events; qsc pending'
    same "$output" "{'accepted': 'a'}
a may be confirmed for 600 s from now
qsc: qscd: b: the change that waits is a
qsc: qscd: seconds: a number from 0 to 604800
a is confirmed
a: started, 60 s, by WEB
a: extended, 600 s, by CLI
a: confirmed, by CLI
{'accepted': 'b'}
{'accepted': 'c'}
[-32000, 'apply: the id is not 1 to 64 letters, digits, dots, dashes and underscores', 22]
c: open, N of 60 s left, by WEB (user 0)
qsc: qscd: b: the change that waits is c
c is being taken back
port 99
b: started, 60 s, by WEB
c: started, 60 s, by WEB
c: cancelled, by CLI
c: restored, cancelled, by WEB
nothing waits to be confirmed; the last was c: restored
qscd ended with 0"
    [ ! -e "$state/etc/qsyscmdhal/checkpoint" ]
    # It lasts: the power may fail at once.
    device sh -c "sed -n 's/.*log_port//p' /etc/config/system"
    "$root/sim/device" --state "$state" --reboot
    run device qscd --restore
    same "$status $output" "0 "
}

@test "the answer comes before any service is restarted, and what may cut the line is restarted last" {
    sed -i '/^journal/a until [ -e /tmp/answered ]; do sleep 0.02; done' "$state/etc/init.d/log"
    values='{"Device.DHCPv4.Client.1.XQrnPppoeUsername": "u", "Device.X_QRN_RemoteLog.Port": 99}'
    run with_daemon "say 'router.apply($values, confirm=60, id=\"a\")'; touch /tmp/answered; told started; qsc confirm a"
    same "$output" "{'accepted': 'a'}
a is confirmed
qscd ended with 0"
    same "$(journal | grep init.d)" "/etc/init.d/log restart
/etc/init.d/system restart
/etc/init.d/network restart"
}

@test "a daemon that is killed goes on with the same deadline when it comes back" {
    run with_daemon 'say "port(99, confirm=3, id=\"a\")"; told started
        kill -9 $daemon; { wait $daemon; wait $watch; } 2>/dev/null
        start; qsc pending | sed "s/[123] of/N of/"; told restored; events; port
        say "port(98, confirm=1, id=\"b\")"; told started
        kill -9 $daemon; { wait $daemon; wait $watch; } 2>/dev/null; until [ "$(cut -d" " -f4 /tmp/qsyscmdhal.window)" -lt "$(sed "s/\.\(..\) .*/\10/" /proc/uptime)" ]; do sleep 0.1; done
        events; start; until [ ! -e /etc/qsyscmdhal/checkpoint ]; do sleep 0.02; done; port'
    same "$output" "{'accepted': 'a'}
a: open, N of 3 s left, by WEB (user 0)
a: started, 3 s, by WEB
a: timed_out, by WEB
a: restored, timed out, by WEB
port 514
{'accepted': 'b'}
b: started, 1 s, by WEB
port 514
qscd ended with 0"
}

@test "a further apply that is killed in another process does not keep the change from being taken back" {
    sed -i '/^journal/a [ ! -e /tmp/hangs ] || exec sleep 60' "$state/etc/init.d/log"
    run with_daemon 'say "port(99, confirm=2, id=\"a\")"; told started; touch /tmp/hangs
        echo Device.X_QRN_RemoteLog.Port=98 | qsc --as WEB apply --id b >/dev/null 2>&1 & joined=$!
        until grep -qs applying /tmp/qsyscmdhal.window; do sleep 0.02; done
        rm /tmp/hangs; kill -9 $joined; wait $joined 2>/dev/null
        told restored; events; port'
    same "$output" "{'accepted': 'a'}
a: started, 2 s, by WEB
b: timed_out, by WEB
b: restored, timed out, by WEB
port 514
qscd ended with 0"
}

@test "what is not confirmed before a restart is taken back before the network starts, or by the daemon" {
    for restored_by in restore daemon; do
        with_daemon "say 'port(99, confirm=600, id=\"$restored_by\")'; told started"
        run device sh -c '. /root/verbs; qscd --restore; port'
        same "$output" "port 99" # it is still the same start of the device
        : >"$state/var/log/journal.txt"
        "$root/sim/device" --state "$state" --reboot
        cp "$root/tools/python/qsc.py" "$state/tmp/"
        if [ $restored_by = restore ]; then
            run device sh -c '. /root/verbs; qscd --restore; qscd --restore; port; start; qsc pending; kill $daemon $watch; wait'
            same "$output" "restore was not confirmed and is taken back
system: restored
port 514
nothing waits to be confirmed; the last was restore: restored"
            same "$(journal)" ""
        else
            run with_daemon 'until [ ! -e /etc/qsyscmdhal/checkpoint ]; do sleep 0.02; done; port'
            same "$output" "port 514
qscd ended with 0"
            same "$(journal)" "/etc/init.d/log restart
/etc/init.d/system restart"
        fi
    done
}

@test "checks judge a change: one that fails takes it back and is named, all that pass confirm it" {
    printf '#!/bin/sh\necho >>/tmp/probes\n[ $(wc -l </tmp/probes) -ge "$1" ]\n' >"$state/usr/bin/probe"
    chmod +x "$state/usr/bin/probe"
    run with_daemon 'say "port(99, checks=[\"probe 2\"], retries=5, id=\"a\")"; told confirmed; port; events
        say "port(98, checks=[\"probe 1\", \"gateway\"], confirm=600, id=\"b\")"; told restored; port; events
        rm /tmp/probes; say "port(98, checks=[\"probe 1\"], confirm=600, id=\"c\")"
        until [ -e /tmp/probes ]; do sleep 0.02; done; qsc confirm c; events
        say "port(97, checks=[\"url:ftp://x\"])" "port(97, checks=[7])" "port(97, checks=[\"dns\"], retries=101)"'
    same "$output" "{'accepted': 'a'}
port 99
a: started, 300 s, by WEB
a: confirmed, its checks are passed, by WEB
{'accepted': 'b'}
port 99
b: started, 600 s, by WEB
b: failed, check gateway failed, by WEB
b: restored, check gateway failed, by WEB
{'accepted': 'c'}
c is confirmed
c: started, 600 s, by WEB
c: confirmed, by CLI
[-32000, \"apply: a check's address begins with http:// or https:// and has no blanks\", 22]
[-32000, 'apply: checks: a list of texts', 22]
[-32000, 'apply: retries: a number from 0 to 100', 22]
qscd ended with 0"
}

@test "without a daemon nothing waits" {
    run qsc apply --confirm 5 <<<"Device.X_QRN_RemoteLog.Port=99"
    same "$status $output" "1 qsc: /var/run/qscd.sock: no qscd serves there; start it, or name its socket
qsc: a change that is to be confirmed needs a running qscd"
}

@test "what cannot be put back is named and kept, the rest is put back, and the next change works" {
    cp "$state/etc/config/system" "$state/tmp/"
    run with_daemon 'say "router.apply({\"Device.X_QRN_RemoteLog.Port\": 99, \"Device.X_QRN_RemoteAccess.Telnet.Port\": 2323}, id=\"a\", confirm=600)"
        told started; grep -c 2323 /etc/config/telnetd
        rm /etc/config/system; mkdir /etc/config/system
        qsc cancel a; told failed; events; ls /etc/qsyscmdhal/checkpoint*; cat /etc/config/telnetd | grep -c 2323
        rmdir /etc/config/system; cp /tmp/system /etc/config/
        say "port(99, confirm=600, id=\"b\")"; told started; qsc confirm b'
    same "$output" "{'accepted': 'a'}
1
a is being taken back
a: started, 600 s, by WEB
a: cancelled, by CLI
a: failed, change: not everything could be put back; what is missing is in /etc/qsyscmdhal/checkpoint.failed, by WEB
/etc/qsyscmdhal/checkpoint.failed
/etc/qsyscmdhal/checkpoint.lock
0
{'accepted': 'b'}
b is confirmed
qscd ended with 0"
}
