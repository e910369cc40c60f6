#!/usr/bin/env bats
load device.bash

table=$BATS_TEST_DIRNAME/every_parameter.txt

# without_numbers: "Device.WiFi.SSID.1 Enable" and "Device.WiFi.SSID.{i} Enable" are one.
without_numbers() { sed -E 's/\.(\{i\}|[0-9]+)?\.? / /; s/\.([0-9]+|\{i\})\././g' | sort -u; }

@test "every parameter is set, committed, restarted and read back" {
    device sh -c '
        while IFS= read -r line; do
            case $line in
            "" | "#"*) continue ;;
            "$ "*) eval "${line#"$ "}" </dev/null >/dev/null || echo "$line: failed"; continue ;;
            esac
            wanted=${line#*=}
            case $line in *" =>"*) wanted=${line#*" =>"} wanted=${wanted# } line=${line%" =>"*} ;; esac
            path=${line%% *} value=${line#* }
            said=$(qsc set "$path" "$value" --apply </dev/null 2>&1) || { echo "$line: $said"; continue; }
            is=$(qsc -q get "$path" "${value%%=*}" </dev/null 2>&1)
            [ "$is" = "$wanted" ] || [ "$wanted" = "*" ] || echo "$line: is $is"
        done
        for staged in /tmp/.uci/*; do [ ! -s "$staged" ] || echo "$staged is not committed"; done' \
        <"$table" >"$BATS_TEST_TMPDIR/differences"
    same "$(cat "$BATS_TEST_TMPDIR/differences")" ""
}

@test "the table holds every parameter that can be set and read" {
    device sh -c 'for object in $(qsc -q list); do
        qsc list "$object" | awk -v object="$object" "\$3 == \"rw\" { print object, \$1 }"; done' >"$BATS_TEST_TMPDIR/all"
    # The log's settings last as long as their process, and notes belong to addresses.
    same "$(grep -v '^syslog \|X_QRN_ACLNotes Note$' "$BATS_TEST_TMPDIR/all" | without_numbers |
        comm -23 - <(sed -n 's/^\(Device[^ ]*\) \([^=]*\)=.*/\1 \2/p' "$table" | without_numbers))" ""
}
