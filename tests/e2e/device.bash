# Loaded by the tests: a fresh device for each, and verbs to work with it.
# shellcheck shell=bash

setup() {
    root=$(cd "$BATS_TEST_DIRNAME/../.." && pwd)
    state=$BATS_TEST_TMPDIR/device
    "$root/sim/device" --build "$QSC_BUILD" --state "$state" --reset
}

# device COMMAND...: runs a command on the device.
device() { "$root/sim/device" --build "$QSC_BUILD" --state "$state" "$@"; }

qsc() { device qsc "$@"; }

journal() { cat "$state/var/log/journal.txt"; }

events() { sed 's/.*"Msg":"\(.*\)"}$/\1/' "$state/var/log/events.log"; }

# same ACTUAL EXPECTED: compares, and shows both when they differ.
same() {
    [ "$1" = "$2" ] || {
        printf 'is:     %s\nwanted: %s\n' "$1" "$2"
        return 1
    }
}
