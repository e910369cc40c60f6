#!/usr/bin/env bats
load device.bash

# apply ID LINE...: makes changes as one.
apply() {
    local id=$1
    shift
    printf '%s\n' "$@" | qsc --id "$id" -q apply >"$BATS_TEST_TMPDIR/report"
}

# shown COMMAND...: what qsc prints, without times.
shown() { qsc "$@" | sed -E 's/20[0-9]{2}(-[0-9]{2}){2} ([0-9]{2}:?){3}/TIME/; s/[0-9]+ s after/N s after/'; }

host_name() { qsc -q get Device.DeviceInfo HostName; }

crontab() { cat "$state/etc/crontabs/root" 2>/dev/null || echo none; }

@test "the last change is undone, and that is undone again" {
    before=$(cat "$state/etc/config/system")
    apply first 'set Device.DeviceInfo HostName=gate' 'set Device.Time NTPServer1=ntp.example'
    : >"$state/var/log/journal.txt"
    qsc --id second --as WEB -q rollback first
    same "$(cat "$state/etc/config/system")" "$before"
    same "$(grep -c restart "$state/var/log/journal.txt")" 2
    same "$(shown history)" "first  TIME  apply by CLI  Device.DeviceInfo.HostName, Device.Time.NTPServer1  done
second  TIME  rollback of first by WEB  Device.DeviceInfo.HostName, Device.Time.NTPServer1  done"
    same "$(shown audit Device.DeviceInfo)" "TIME  first  CLI  Device.DeviceInfo.HostName: router -> gate
TIME  second  WEB  Device.DeviceInfo.HostName: gate -> router"
    same "$(shown show second | tail -n 3)" "configuration:
  system.@system[0].hostname: changed gate -> router
  system.ntp.server: changed ntp.example 1.pool.example.net 2.pool.example.net -> 0.pool.example.net 1.pool.example.net 2.pool.example.net"
    qsc -q rollback second
    same "$(host_name)" gate
}

@test "an older change is undone unless somebody has touched the same options" {
    apply first 'set Device.DeviceInfo HostName=gate'
    apply second 'set Device.Time NTPServer1=ntp.example'
    sed -i "s/GMT0/CET/" "$state/etc/config/system"
    qsc set Device.X_QRN_RemoteLog Port=515 # staged, and not committed
    qsc -q rollback first
    same "$(host_name) $(qsc -q get Device.Time NTPServer1) $(qsc -q get Device.X_QRN_RemoteLog Port)" "router ntp.example 515"
    same "$(grep -c -e CET -e "log_port '514'" "$state/etc/config/system")" 2
    apply third 'set Device.DeviceInfo HostName=gate'
    apply fourth 'set Device.DeviceInfo HostName=gate2'
    before=$(cat "$state/etc/config/system")
    same "$(qsc rollback third 2>&1)" "Refused:
  system.@system[0].hostname has been changed since
qsc: apply: system.@system[0].hostname has been changed since"
    same "$(cat "$state/etc/config/system")" "$before"
    same "$(qsc -q rollback nothing 2>&1)" "qsc: apply: there is nothing to take back of nothing: it is too old, has not been made, or has changed nothing that is kept"
}

@test "files outside the configuration are put back as well" {
    before=$(crontab)
    apply first 'set Device.X_QRN_AutoReboot Enable=1 Time=03:30'
    after=$(crontab)
    ! same "$after" "$before" || false
    qsc -q rollback first
    same "$(crontab)" "$before"
    apply second 'set Device.X_QRN_AutoReboot Enable=1 Time=03:30'
    echo '0 1 * * * theirs' >>"$state/etc/crontabs/root"
    ! qsc -q rollback second || false
    same "$(crontab)" "$after
0 1 * * * theirs"
}

@test "what undoes the last 16 applies is kept, for the own user alone" {
    for i in $(seq 18); do
        apply "change$i" "set Device.DeviceInfo HostName=gate$i"
    done
    same "$(ls "$state/etc/qsyscmdhal/undo" | wc -l) $(stat -c %a "$state/etc/qsyscmdhal/undo" "$state/etc/qsyscmdhal/undo/"* | sort -u | xargs)" "16 600 700"
    ! qsc -q rollback change2 || false
    qsc -q rollback change18
    same "$(host_name)" gate17
}

@test "an apply that a kill has interrupted is recorded by whoever finishes it, and can be undone" {
    before=$(cat "$state/etc/config/system")
    mv "$state/etc/init.d/system" "$state/etc/init.d/system.own"
    printf '#!/bin/sh\nmv /etc/init.d/system.own /etc/init.d/system\nkill -9 "$PPID"\n' >"$state/etc/init.d/system"
    chmod +x "$state/etc/init.d/system"
    ! apply first 'set Device.DeviceInfo HostName=gate' || false
    same "$(qsc history)" ""
    qsc -q plan set Device.Time NTPServer1=ntp.example
    same "$(shown history)" "first  TIME  apply by CLI  Device.DeviceInfo.HostName  done"
    same "$(host_name)" gate
    qsc -q rollback first
    same "$(cat "$state/etc/config/system")" "$before"
}
