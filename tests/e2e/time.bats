#!/usr/bin/env bats
load device.bash

@test "a location becomes a zone at commit, and the system restarts once" {
    qsc batch <<'BATCH'
set Device.Time "XQrnTimeZoneLocation=america/new york"
commit Device.Time
BATCH
    same "$(qsc get Device.Time LocalTimeZone)" "LocalTimeZone = EST5EDT,M3.2.0,M11.1.0"
    grep -q "tzlocation 'america/new york'" "$state/etc/config/system"
    same "$(journal)" ""
}

@test "one process restarts the system once for a change, then only the NTP service" {
    qsc set Device.Time "XQrnTimeZoneLocation=America/New York" --apply
    same "$(journal)" "/etc/init.d/system restart
/etc/init.d/sysntpd restart"
    : >"$state/var/log/journal.txt"
    qsc service Device.Time restart
    same "$(journal)" "/etc/init.d/sysntpd restart"
}

@test "rules with hours are loaded anew in the new zone, others stay" {
    rules=Device.X_QRN_Firewall.ParentalControl.
    qsc add $rules MACAddress=02:00:00:00:00:0a StartTime=08:00 EndTime=09:00
    qsc set Device.Time XQrnTimeZoneLocation=Asia/Tehran --apply
    qsc set ${rules}1 Enable=1 --apply
    : >"$state/var/log/journal.txt"
    qsc set Device.Time XQrnTimeZoneLocation=Asia/Tokyo --apply
    same "$(journal)" "/etc/init.d/system restart
/etc/init.d/firewall reload
/etc/init.d/sysntpd restart"
    qsc set ${rules}1 StartTime=00:00 EndTime=00:00 --apply
    : >"$state/var/log/journal.txt"
    qsc set Device.Time XQrnTimeZoneLocation=Asia/Tehran --apply
    same "$(journal)" "/etc/init.d/system restart
/etc/init.d/sysntpd restart"
}

@test "daylight saving comes off the zones that have it by month" {
    qsc set Device.Time "XQrnTimeZoneLocation=America/New York" XQrnDSTDisable=1
    qsc commit Device.Time
    same "$(device uci get system.@system[0].timezone)" "EST5"
    qsc set Device.Time XQrnTimeZoneLocation=Asia/Tehran --apply
    same "$(device uci get system.@system[0].timezone)" "<+0330>-3:30<+0430>,J79/24,J263/24"
}

@test "get answers all of the time, and the servers are a list" {
    qsc set Device.Time NTPServer5=e.example
    run qsc get Device.Time
    [[ ${lines[1]} == "Status               = Unsynchronized" ]]
    [[ ${lines[2]} == "NTPServer1           = 0.pool.example.net" ]]
    [[ ${lines[5]} == "NTPServer4           = " ]]
    [[ ${lines[6]} == "NTPServer5           = e.example" ]]
    [ ${#lines[@]} -eq 11 ]
}

@test "a time with quotes and line breaks is one argument of date" {
    qsc set Device.Time 'CurrentLocalTime=2024-01-02T03:04:05'
    qsc set Device.Time $'CurrentLocalTime=a"b\\c\nd'
    same "$(journal)" "/usr/bin/date -s 2024-01-02T03:04:05
/usr/bin/date -s 'a\"b\\c\\012d'"
    run qsc set Device.Time 'CurrentLocalTime=$(touch /tmp/hacked)'
    same "$status" 1
    run qsc set Device.Time XQrnTimeZoneLocation=America/New_York
    [[ $output == "qsc: Device.Time: XQrnTimeZoneLocation: "* ]]
    [ ! -e "$state/tmp/hacked" ]
}

@test "a failing restart stays pending" {
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/system"
    run qsc set Device.Time "XQrnTimeZoneLocation=Africa/Abidjan" --apply
    same "$status" 1
    same "$(journal)" "/etc/init.d/system restart"
}
