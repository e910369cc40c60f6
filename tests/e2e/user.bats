#!/usr/bin/env bats
load device.bash
# shellcheck disable=SC2016,SC1003  # the odd characters are what is meant

path=Device.Users.User.1

shadow() { awk -F: -v name="$1" '$1 == name { print $2 }' "$state/etc/shadow"; }

@test "a password reaches passwd alone" {
    qsc set $path Username=anna Password='S3cret "$x`\' --apply
    [ "$(shadow anna)" = "\$9\$$(printf '%s' 'S3cret "$x`\' | cksum | cut -d ' ' -f 1)" ]
    same "$(journal)" "/usr/bin/passwd anna"
    same "$(events)" "set user Username anna by CLI
set user Password by CLI"
    run grep -rl S3cret "$state/etc" "$state/tmp" "$state/var"
    same "$output" ""
    same "$(qsc -q get $path Password X_QRN_PasswordSet)" "
1"
    # Sent back as it was read, it stays.
    qsc set $path Password=
    same "$(journal)" "/usr/bin/passwd anna"
    for bad in "$(printf 'S3c\nret')" "$(printf 'S3cret%060d' 0)"; do
        run qsc -v set $path Password="$bad"
        [ "$status" -eq 1 ]
        [[ $output != *S3c* ]]
    done
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/passwd"
    run qsc set $path Password=S3cret
    same "$status $output" "1 qsc: $path: Password: the password was not taken"
}

@test "an account is locked, unlocked and gets its shell" {
    qsc set $path Username=anna Password=anna1 --apply
    hash=$(shadow anna)
    qsc set $path Enable=0 Shell=/bin/sh --apply
    same "$(shadow anna)" "!$hash"
    same "$(grep anna "$state/etc/passwd")" "anna:x:1000:1000:Anna:/home/anna:/bin/sh"
    qsc set $path Enable=0 --apply
    same "$(shadow anna)" "!$hash"
    qsc set $path Enable=1 --apply
    same "$(shadow anna)" "$hash"
    same "$(stat -c %a "$state/etc/shadow") $(stat -c %a "$state/etc/passwd")" "600 644"
    same "$(head -1 "$state/etc/shadow")" 'root:$1$Yg$hash:20000:0:99999:7:::'
}
