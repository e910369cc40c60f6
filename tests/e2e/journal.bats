#!/usr/bin/env bats
load device.bash

# shown COMMAND...: what qsc prints, without times and made-up ids.
shown() {
    qsc "$@" | sed -E 's/20[0-9]{2}(-[0-9]{2}){2} ([0-9]{2}:?){3}/TIME/; s/\b[0-9a-f]{8}\b/ID/; s/[0-9]+ s after/N s after/'
}

@test "three views of one journal" {
    qsc set Device.DeviceInfo HostName=gate
    qsc --as WEB set Device.Time NTPServer1=ntp.example NTPServer2=pool.example
    ! echo '{"HostName":{"ParamValue":"a b"}}' | qsc request Device.DeviceInfo set
    echo '{"XQrnPppoePassword":{"ParamValue":"s3cret-word"}}' | qsc request Device.DHCPv4.Client.1 set
    same "$(shown audit)" "TIME  ID  CLI  Device.DeviceInfo.HostName: router -> gate
TIME  ID  WEB  Device.Time.NTPServer1: 0.pool.example.net -> ntp.example
TIME  ID  WEB  Device.Time.NTPServer2: 1.pool.example.net -> pool.example
TIME  ID  CLI  Device.DeviceInfo.HostName: gate -> a b (failed)
TIME  ID  CLI  Device.DHCPv4.Client.1.XQrnPppoePassword: *** -> ***"
    same "$(shown audit Device.Time.NTPServer2)" \
        "TIME  ID  WEB  Device.Time.NTPServer2: 1.pool.example.net -> pool.example"
    same "$(shown --count 3 history)" "ID  TIME  set by WEB  Device.Time.NTPServer1, Device.Time.NTPServer2  done
ID  TIME  set by CLI  Device.DeviceInfo.HostName  failed with code 14: Device.DeviceInfo: HostName: 'a b' is no host name
ID  TIME  set by CLI  Device.DHCPv4.Client.1.XQrnPppoePassword  done"
    same "$(shown show "$(qsc -q history | sed -n 2p)")" "id:          ID
time:        TIME, N s after the start of the device
kind:        set
by:          WEB
result:      done
changes:
  Device.Time.NTPServer1: 0.pool.example.net -> ntp.example
  Device.Time.NTPServer2: 1.pool.example.net -> pool.example"
    same "$(qsc show nothing 2>&1)" "qsc: the journal has no entry 'nothing'; 'qsc history' shows what it has"
    same "$(stat -c %a "$state/etc/qsyscmdhal" "$state/etc/qsyscmdhal/journal" | xargs)" "700 600"
    ! grep -r s3cret-word "$state/etc/qsyscmdhal" || false
}

@test "what others have written into the journal cannot steer the terminal" {
    mkdir -m 700 "$state/etc/qsyscmdhal"
    printf '%s\n' '{"id":"\u001b[2J","kind":7,"result":[1],"changes":[{"path":"a\nb","new":{"x":"\u009b"}},3]}' \
        '{"changes":{}}' >"$state/etc/qsyscmdhal/journal"
    same "$(shown audit)" '1970-01-01 00:00:00  \x1B[2J    a\nb: {"x":"\xC2\x9B"}
1970-01-01 00:00:00  \x1B[2J    : '
    same "$(shown history | grep -c x1B)" 1
}
