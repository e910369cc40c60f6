#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_AutoReboot
crontab=etc/crontabs/root

@test "a line of ours is written, changed and taken away; the others stay" {
    mkdir -p "$state/etc/crontabs"
    printf '# mine\n5 4 * * *  /bin/true\n\n\t@reboot x' >"$state/$crontab"
    cp "$state/$crontab" "$BATS_TEST_TMPDIR/before"
    qsc set $path Enable=1 Time=04:05 Days=6,0,6 --apply
    same "$(tail -1 "$state/$crontab")" \
        "5 4 * * 0,6 sleep 70 && touch /etc/banner && reboot # qrn_autoreboot"
    cmp -n "$(stat -c %s "$BATS_TEST_TMPDIR/before")" "$state/$crontab" "$BATS_TEST_TMPDIR/before"
    same "$(qsc -q get $path Time Days Enable | tr '\n' ';')" "04:05;0,6;1;"
    qsc set $path Time=23:59 Days='*' --apply
    same "$(grep -c qrn_autoreboot "$state/$crontab") $(tail -1 "$state/$crontab")" \
        "1 59 23 * * * sleep 70 && touch /etc/banner && reboot # qrn_autoreboot"
    qsc set $path Enable=0 --apply
    same "$(cat "$state/$crontab")" "$(cat "$BATS_TEST_TMPDIR/before")"
    same "$(stat -c %a "$state/$crontab")" 600
    same "$(journal | sort -u)" "/etc/init.d/cron restart"
}

@test "the next reboot is told in UTC, and never while it is off" {
    same "$(qsc -q get $path NextReboot)" 0001-01-01T00:00:00Z
    qsc set Device.Time LocalTimeZone='<+0530>-5:30'
    qsc set $path Enable=1 Time=05:45
    next=$(qsc -q get $path NextReboot)
    same "${next#*T}" 00:15:00Z
    seconds=$(($(date -ud "${next/T/ }" +%s) - $(date +%s)))
    [ "$seconds" -gt -5 ] && [ "$seconds" -le 86400 ]
    qsc set $path Days="$(date -ud '3 days' +%w)"
    next=$(qsc -q get $path NextReboot)
    same "$(date -ud "${next/T/ } 5 hours 30 minutes" +%w)" "$(qsc -q get $path Days)"
}
