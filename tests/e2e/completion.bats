#!/usr/bin/env bats
# What bash offers; the library describes itself without a device.

setup() {
    # shellcheck disable=SC2317  # the completion calls these
    qsc() { "$QSC_BUILD/bin/qsc" "$@"; }
    # shellcheck disable=SC2317
    compopt() { :; }
    # shellcheck source=packaging/completion/qsc.bash
    . "$BATS_TEST_DIRNAME/../../packaging/completion/qsc.bash"
}

# offered WORD...: what is offered for the last word, as bash splits them.
offered() {
    COMP_WORDS=(qsc "$@")
    COMP_CWORD=$#
    _qsc
    echo "${COMPREPLY[*]}"
}

@test "commands, options and paths are offered part by part, and then what the object has" {
    while IFS='>' read -r words wanted; do
        # shellcheck disable=SC2086  # words
        is=$(offered $words)
        [ "$is" = "$wanted" ] || {
            echo "$words: '$is', not '$wanted'"
            return 1
        }
    done <<'CASES'
de>delete
--js>--json
--as W>WEB
--as WEB get sys>syslog
get De>Device.
get Device.Ti>Device.Time
get Device.WiFi.R>Device.WiFi.Radio. Device.WiFi.RadioNumberOfEntries
get Device.WiFi.Radio.>Device.WiFi.Radio.1 Device.WiFi.Radio.2
get Device.WiFi.SSID.3.S>Device.WiFi.SSID.3.Stats Device.WiFi.SSID.3.Status Device.WiFi.SSID.3.SSID
get Device.WiFi.SSID.3 BS>BSSID
get Device.WiFi.SSID.3 BSSID Device.Time NTPServer1 Loc>LocalTimeZone
set Device.X_QRN_RemoteLog Po>Port=
set Device.X_QRN_RemoteLog Server = a.b Po>Port=
set Device.X_QRN_RemoteLog.Po>Device.X_QRN_RemoteLog.Port=
set Device.Time Enable =>0 1
set Device.Time.Enable = 1>1
set Device.Time NTPServer1 =>
service Device.Time rel>reload
get Device.Foo.>
CASES
}
