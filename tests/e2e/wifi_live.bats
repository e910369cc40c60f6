#!/usr/bin/env bats
load device.bash

ap=Device.WiFi.AccessPoint
survey=Device.X_QRN_SiteSurvey
iwpriv=/usr/sbin/iwpriv

# refused OBJECT ASSIGNMENT... SENTENCE: a set ends with 14 and this sentence, and nothing is written.
refused() {
    local object=$1 sentence=${*: -1}
    run qsc set "$object" "${@:2:$#-2}"
    same "$status $output" "1 qsc: $object: $sentence"
    [ ! -e "$state/tmp/.uci/mtkwireless" ]
}

# ask PATH OPERATION REQUEST: sends a request as it is.
ask() { device sh -c 'printf %s "$3" | qsc request "$1" "$2"' ask "$@" | tr -d ' \n'; }

# survey_ended_before: as if the last survey were long ago.
survey_ended_before() { sed -i "1 s/ .*/ 0/" "$state/tmp/qrn_survey/result"; }

@test "stations answer as a list, one by one, and with their leases" {
    printf '%s\n' "0 02:00:5E:00:53:22 192.168.1.22 phone *" "0 02:00:5e:00:53:11 192.168.1.11 * *" \
        >"$state/tmp/dhcp.leases"
    same "$(qsc -q get $ap.1 AssociatedDeviceNumberOfEntries)" 2
    list=$(qsc -q get $ap.1.AssociatedDevice)
    same "$(sed 's/"AssociationTime":"[^"]*"/TIME/g; s/},{/},\n{/g' <<<"$list")" \
        '[{"MACAddress":"02:00:5E:00:53:11","OperatingStandard":"ax","AuthenticationState":0,"LastDataDownlinkRate":6000,"LastDataUplinkRate":1000,"SignalStrength":-80,"Noise":-94,"Retransmissions":12,"Active":0,TIME,"X_QRN_BytesSent":0,"X_QRN_BytesReceived":120,"X_QRN_IPAddress":"192.168.1.11","X_QRN_HostName":""},
{"MACAddress":"02:00:5E:00:53:22","OperatingStandard":"n","AuthenticationState":1,"LastDataDownlinkRate":144400,"LastDataUplinkRate":130000,"SignalStrength":-61,"Noise":-94,"Retransmissions":7,"Active":1,TIME,"X_QRN_BytesSent":9000000000,"X_QRN_BytesReceived":70000,"X_QRN_IPAddress":"192.168.1.22","X_QRN_HostName":"phone"}]'
    came=$(grep -o '"AssociationTime":"[^"]*"' <<<"$list" | tail -n 1 | cut -d '"' -f 4)
    ago=$(($(date +%s) - $(date -d "$came" +%s)))
    [ "$ago" -ge 3600 ] && [ "$ago" -lt 3700 ]
    same "$(journal | sort | uniq -c | tr -s ' ')" " 2 /usr/bin/qrnstainfo -l"
    names='{"MACAddress":{},"SignalStrength":{},"X_QRN_HostName":{},"X_QRN_List":{}}'
    same "$(ask $ap.1.AssociatedDevice.2 get "$names")" \
        '{"MACAddress":{"ParamValue":"02:00:5E:00:53:22","ParamId":0},"SignalStrength":{"ParamValue":-61,"ParamId":0},"X_QRN_HostName":{"ParamValue":"phone","ParamId":0},"X_QRN_List":{"ParamId":0}}'
    same "$(ask $ap.1.AssociatedDevice get '{"MACAddress":{}}')" '{"MACAddress":{"ParamId":0}}'
    for number in 0 3 x -1 18446744073709551617; do
        same "$(ask $ap.1.AssociatedDevice.$number get '{"MACAddress":{}}')" '{"MACAddress":{"ParamId":22}}'
    done
    # What is off has none, and the tool is not asked.
    : >"$state/var/log/journal.txt"
    same "$(qsc -q get $ap.3 AssociatedDeviceNumberOfEntries)" 0
    same "$(qsc -q get $ap.3.AssociatedDevice)" "[]"
    same "$(journal)" ""
}

@test "128 stations cost one run of the tool, and a broken table or tool is no failure" {
    mkdir -p "$state/var/lib/sim"
    table=$state/var/lib/sim/stations
    {
        echo "INTERFACE MAC               RSSI"
        printf 'ra0       02:00:00:00:00:%02x -50\n' $(seq 128)
    } >"$table"
    same "$(qsc -q get $ap.1.AssociatedDevice | grep -o MACAddress | wc -l)" 128
    same "$(journal)" "/usr/bin/qrnstainfo -l"
    for broken in "" "x" "INTERFACE MAC" "$(printf 'MAC INTERFACE\n02:00:00:00:00:01')"; do
        printf '%s' "$broken" >"$table"
        same "$(qsc -q get $ap.1.AssociatedDevice)" "[]"
    done
    rm "$state/usr/bin/qrnstainfo"
    same "$(qsc -q get $ap.1.AssociatedDevice)" "[]"
    [[ $(qsc -v get $ap.1.AssociatedDevice 2>&1) == *"[W] /usr/bin/qrnstainfo is not installed"* ]]
}

@test "the mesh is set up, and its nodes are told" {
    m=Device.WiFi.MultiAP
    same "$(qsc -q get $m | tr '\n' ';')" "Controller;Home-Mesh;Auto;0;0;"
    refused $m X_QRN_Role=Master "X_QRN_Role: 'Master' is not one of Controller|Agent|Auto"
    refused $m X_QRN_BackhaulBand=6GHz "X_QRN_BackhaulBand: '6GHz' is not one of 2.4GHz|5GHz|Auto"
    refused $m X_QRN_Enable=1 X_QRN_SSID= "X_QRN_SSID: a mesh needs a name"
    qsc set $m X_QRN_Role=Agent X_QRN_BackhaulBand=5GHz X_QRN_SSID="Home Mesh" X_QRN_Enable=1 --apply
    same "$(device uci get mtkwireless.mesh.role) $(device uci get mtkwireless.mesh.ssid)" "2 Home Mesh"
    same "$(journal)" "/etc/init.d/wifi restart"
    printf '%s' '{"topology information":[{"Name":"Hall\u0007","MACAddress":"02:00:00:00:00:01","Clients":[{}]},
        {"Name":"Attic","Parent":"02:00:00:00:00:01","Backhaul":"5GHz","SignalStrength":-60}]}' >"$state/tmp/dump.txt"
    same "$(qsc -q get $m.APDeviceNumberOfEntries)" 2
    same "$(ask $m.X_QRN_MeshTopo get '{}' | sed 's/\\//g')" \
        '{"X_QRN_List":{"ParamValue":"[{"Name":"Hallu0007","MACAddress":"02:00:00:00:00:01","Parent":"","Backhaul":"","Hops":0,"SignalStrength":0,"Clients":1},{"Name":"Attic","MACAddress":"","Parent":"02:00:00:00:00:01","Backhaul":"5GHz","Hops":1,"SignalStrength":-60,"Clients":0}]","ParamId":0}}'
    deep=$(printf '[%.0s' $(seq 40))
    for broken in "" "[[" "5" "{\"topology information\":$deep" "$(printf '\xff\xfe')"; do
        printf '%s' "$broken" >"$state/tmp/dump.txt"
        same "$(qsc -q get $m.X_QRN_MeshTopo)" "[]"
    done
    rm "$state/tmp/dump.txt"
    ln -s /etc/shadow "$state/tmp/dump.txt"
    [[ $(qsc -v get $m.X_QRN_MeshTopo 2>&1) == *"[W] /tmp/dump.txt cannot be read"* ]]
}

@test "a survey is started by a set alone, one at a time, and kept" {
    same "$(qsc -q get $survey | tr '\n' ';')" "1;None;[];"
    same "$(journal)" ""
    refused $survey Radio=3 "Radio: 3 is not 1 to 2"
    refused $survey DiagnosticsState=Complete "DiagnosticsState: only Requested can be set"
    qsc set $survey DiagnosticsState=Requested
    same "$(qsc -q get $survey.DiagnosticsState)" Complete
    same "$(qsc -q get $survey.X_QRN_List)" '[{"Channel":6,"SSID":"Cafe an der Ecke","BSSID":"02:00:5E:00:53:A1","SignalStrength":-71,"Mode":"b/g/n","Security":"WPA2-Personal"},{"Channel":11,"SSID":"","BSSID":"02:00:5E:00:53:A2","SignalStrength":-80,"Mode":"b/g/n/ax","Security":"None"}]'
    refused $survey DiagnosticsState=Requested Radio=2 "DiagnosticsState: the last survey is less than 5 s ago"
    same "$(qsc -q get $survey.Radio)" 1
    survey_ended_before
    qsc set $survey DiagnosticsState=Requested Radio=2
    same "$(journal)" "/usr/bin/qrnsitesurvey ra0
/usr/bin/qrnsitesurvey rax0"
    same "$(events)" "set site survey DiagnosticsState Requested by CLI
set site survey Radio 2 by CLI
set site survey DiagnosticsState Requested by CLI"
    same "$(stat -c %a "$state/tmp/qrn_survey" "$state/tmp/qrn_survey/result" | tr '\n' ' ')" "700 600 "
    # Somebody else's is under way.
    survey_ended_before
    exec 9>"$state/tmp/qrn_survey/lock"
    flock 9
    same "$(qsc -q get $survey.DiagnosticsState)" Requested
    refused $survey DiagnosticsState=Requested "DiagnosticsState: a survey is under way"
    exec 9>&-
}

@test "a survey that cannot be made is refused with the reason" {
    mkdir -p "$state/var/lib/sim/survey" "$state/var/lib/sim/fail"
    touch "$state/var/lib/sim/survey/radar"
    refused $survey DiagnosticsState=Requested "DiagnosticsState: the radio looks out for radar"
    rm "$state/var/lib/sim/survey/radar"
    touch "$state/var/lib/sim/survey/waits"
    refused $survey DiagnosticsState=Requested \
        "DiagnosticsState: /usr/bin/qrnsitesurvey was ended because it took too long"
    same "$(qsc -q get $survey | tail -n 2 | tr '\n' ';')" "Error;[];"
    survey_ended_before
    touch "$state/var/lib/sim/fail/qrnsitesurvey"
    refused $survey DiagnosticsState=Requested "DiagnosticsState: the survey failed"
    survey_ended_before
    rm "$state/usr/bin/qrnsitesurvey"
    refused $survey DiagnosticsState=Requested "DiagnosticsState: /usr/bin/qrnsitesurvey is not installed"
    survey_ended_before
    qsc set Device.WiFi.Radio.1 Enable=0
    run qsc set $survey DiagnosticsState=Requested
    same "$output" "qsc: $survey: DiagnosticsState: the radio is off"
    # A folder of somebody else's is not believed.
    chmod 777 "$state/tmp/qrn_survey"
    same "$(qsc -q get $survey | tr '\n' ';')" "1;None;[];"
    run qsc set $survey Radio=2
    same "$output" "qsc: $survey: Radio: /tmp/qrn_survey/radio cannot be written"
}
