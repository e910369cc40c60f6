#!/usr/bin/env bats
load device.bash

# action ACTION [NAME=VALUE...]: a command for the device that prints the message, or why it is refused.
action() {
    local members="\"Action\":{\"ParamValue\":\"$1\"}" each
    shift
    for each in "$@"; do
        members+=",\"${each%%=*}\":{\"ParamValue\":\"${each#*=}\"}"
    done
    echo "echo '{$members}' | qsc request SysUpg set 2>&1 | grep -oE '\"Message\": *\"[^\"]*\"|^qsc: .*' | sed 's/^qsc: //; s/^\"Message\": *//'"
}

act() { device sh -c "$(action "$@")" 2>&1; }

make() {
    echo "$1" >"$state/tmp/$2"
    chmod 0600 "$state/tmp/$2"
}

@test "an upgrade follows its check, once the answer is out" {
    make image-1 a.bin
    same "$(act Check FileName=/tmp/a.bin)" '"the image is right for this device"'
    same "$(device sh -c "$(action Upgrade FileName=/tmp/a.bin KeepSettings=0); cat /var/log/journal.txt; $(action Check FileName=/tmp/a.bin); sleep 4")" \
        '"the upgrade begins"
/usr/sbin/sysupgrade -T COPY
/usr/sbin/sysupgrade -T COPY
SysUpg: another action is under way'
    same "$(journal | tail -n +3)" "/usr/sbin/sysupgrade -n COPY"
    same "$(events)" "upgrade without settings by CLI"
}

@test "settings are saved to a new file and restored from a right one" {
    same "$(act Backup FileName=/tmp/b.tgz)" '"the settings are saved"'
    same "$(stat -c %a "$state/tmp/b.tgz") $(cat "$state/tmp/b.tgz")" "600 saved"
    same "$(act Backup FileName=/tmp/b.tgz)" "SysUpg: FileName is not below /tmp, or there is such a file already"
    same "$(act Restore FileName=/tmp/b.tgz)" "SysUpg: it is no archive of settings"
    local work=$BATS_TEST_TMPDIR/work
    mkdir -p "$work/etc/config" && echo x >"$work/etc/config/system"
    ln -s config "$work/etc/in" && ln -s ../../out "$work/etc/out" && ln -s /etc "$work/etc/root"
    pack() {
        tar -C "$work" -czPf "$state/tmp/r.tgz" "$@"
        chmod 0600 "$state/tmp/r.tgz"
    }
    for names in etc/out etc/root "$work/etc/config/system" "--transform=s,etc,../etc, etc/config/system"; do
        # shellcheck disable=SC2086  # words are what is meant
        pack $names
        same "$(act Restore FileName=/tmp/r.tgz)" "SysUpg: the archive holds what does not belong into one"
    done
    same "$(journal | grep -c -- -r)" 0
    pack etc/config etc/in
    same "$(act Restore FileName=/tmp/r.tgz)" '"the settings are restored; they hold from the next reboot on"'
    same "$(journal | tail -1)" "/usr/sbin/sysupgrade -r COPY"
    same "$(events)" "backup by CLI
restore by CLI"
}

@test "reboots wait, the second takes the place of the first, and no other action does" {
    make image-1 a.bin
    same "$(device sh -c "$(action Reboot Delay=3600); $(action Upgrade FileName=/tmp/a.bin); $(action Reboot); cat /var/log/journal.txt; sleep 4")" \
        '"the reboot comes"
SysUpg: another action is under way
"the reboot comes"'
    same "$(journal)" "/usr/sbin/reboot"
    same "$(act Reboot Delay=3601)" "SysUpg: Delay is not 0 to 3600"
    same "$(act Explode)" "SysUpg: there is no action of that name"
}

@test "a factory reset reboots, but not when nothing was erased" {
    same "$(device sh -c "$(action FactoryReset); sleep 4")" '"the factory reset begins"'
    same "$(journal)" "/usr/sbin/firstboot -y
/usr/sbin/reboot"
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/firstboot"
    device sh -c "$(action FactoryReset); sleep 4"
    same "$(journal | tail -1)" "/usr/sbin/firstboot -y"
}
