#!/usr/bin/env bats
load device.bash
bats_require_minimum_version 1.5.0

iwpriv=/usr/sbin/iwpriv
ifconfig=/usr/sbin/ifconfig

@test "a radio is configured, driven and answers from the driver" {
    qsc set Device.WiFi.Radio.2 RegulatoryDomain=us OperatingChannelBandwidth=2 Channel=36
    same "$(journal)" "$ifconfig rax0 up
$iwpriv rax0 set Channel=36
$ifconfig rax0 up
$iwpriv rax0 set VhtBw=1
$iwpriv rax0 set HtBw=1"
    same "$(qsc get Device.WiFi.Radio.2 Channel OperatingChannelBandwidth RegulatoryDomain)" "Channel                   = 36
OperatingChannelBandwidth = 2
RegulatoryDomain          = US"
    same "$(qsc --as MQTT get Device.WiFi.Radio.2 Channel OperatingChannelBandwidth)" "Channel                   = 0
OperatingChannelBandwidth = 80MHz"
    same "$(qsc get Device.WiFi.Radio.2 PossibleChannels)" \
        "PossibleChannels = 36,40,44,48,52,56,60,64,100,104,108,112,116,120,124,128,132,136,140,144,149,153,157,161,165"
    same "$(device uci get mtkwireless.rax0.regionidx)" 13
    qsc set Device.WiFi.Radio.2 Channel=44
    same "$(qsc get Device.WiFi.Radio.2 Channel)" "Channel = 44"
    qsc --as MQTT set Device.WiFi.Radio.2 Channel=auto
    same "$(qsc get Device.WiFi.Radio.2 AutoChannelEnable)" "AutoChannelEnable = 1"
    same "$(qsc --as MQTT get Device.WiFi.Radio.2 Channel)" "Channel = auto"
}

@test "a radio that is off is only configured; a skip list always asks for a new channel" {
    qsc set Device.WiFi.Radio.1 Enable=0
    qsc set Device.WiFi.Radio.1 Channel=11 TransmitPower=50 OperatingStandards=b,g X_QRN_ATF=1
    same "$(journal)" ""
    qsc set Device.WiFi.Radio.1 "X_QRN_AutoChannelSkipList=1;6;11"
    same "$(cat "$state/tmp/.ra0_ACS_renew")" 1
    same "$(qsc get Device.WiFi.Radio.1 X_QRN_AutoChannelSkipList)" "X_QRN_AutoChannelSkipList = 1;6;11"
}

@test "set --apply makes a radio's and an access point's values last, and restarts the Wi-Fi once" {
    qsc set Device.WiFi.Radio.2 Channel=36 Device.WiFi.SSID.1 SSID=Haus --apply
    same "$(journal | tail -n 1)" "/etc/init.d/wifi restart"
    same "$(journal | grep -c /etc/init.d/)" 1
    grep -q "option channel '36'" "$state/etc/config/mtkwireless"
    qsc set Device.WiFi.SSID.1 X_QRN_NetworkZone=guest --apply
    grep -q "list iface 'ra0'" <(sed -n "/zone 'guest'/,\$ p" "$state/etc/config/qrnnetworkzone")
    [ ! -s "$state/tmp/.uci/mtkwireless" ] && [ ! -s "$state/tmp/.uci/qrnnetworkzone" ]
    mv "$state/etc/config/mtkwireless" "$state/root/"
    run qsc set Device.WiFi.SSID.1 X_QRN_NetworkZone=lan --apply
    same "$status" 1
    [[ $output == *"Device.WiFi: the package 'mtkwireless' could not be committed"* ]]
}

@test "a country in no row stays written and is refused, and walks end" {
    run qsc set Device.WiFi.Radio.1 RegulatoryDomain=DE
    same "$status" 1
    same "$(device uci get mtkwireless.ra0.country)" DE
    run qsc get Device.WiFi.Radio.1 PossibleChannels
    [[ $output == "qsc: Device.WiFi.Radio.1: PossibleChannels: "* ]]
}

@test "names arrive at the driver byte for byte and start no command" {
    qsc set Device.WiFi.SSID.3 'LowerLayers=Device.WiFi.Radio.1,Device.WiFi.Radio.2'
    name=$'a\'b"c$(touch /tmp/hacked)`touch /tmp/hacked`&;\\ \n\té'
    for each in "$name" "$(printf '%0127d' 7)"; do
        qsc set Device.WiFi.SSID.3 "SSID=$each"
        printf '%s' "$each" | cmp - "$state/var/lib/sim/ra2/SSID"
        printf '%s' "$each" | cmp - "$state/var/lib/sim/rax2/SSID"
    done
    [ ! -e "$state/tmp/hacked" ]
    run qsc set Device.WiFi.SSID.3 "SSID=$(printf '%0128d' 7)"
    same "$status" 1
    same "$(qsc get Device.WiFi.SSID.3 SSID)" "SSID = $(printf '%0127d' 7)"
}

@test "access points answer by number, and only those that exist" {
    same "$(qsc get Device.WiFi.SSID.11)" "Enable            = 1
LowerLayers       = Device.WiFi.Radio.1,Device.WiFi.Radio.2
BSSID             = 02:0C:43:76:60:00
SSID              = Home-5G
X_QRN_NetworkZone = lan
X_QRN_VLANID      = 1"
    same "$(qsc get Device.WiFi.SSID.12.Stats BytesReceived)" "BytesReceived = 2023"
    for instance in 9 10 19 0; do
        run qsc get "Device.WiFi.SSID.$instance"
        same "$status" 1
        [[ $output == "qsc: Device.WiFi.SSID.$instance: "* ]]
    done
    for instance in -1 x; do
        run qsc get "Device.WiFi.SSID.$instance"
        same "$status" 2
    done
}

@test "a partial path answers everything below it, and what fails keeps nothing else back" {
    run qsc get Device.WiFi.Radio.
    same "$status" 0
    same "${lines[4]}" "Device.WiFi.Radio.1.Channel                   = 6"
    same "${lines[16]}" "Device.WiFi.Radio.2.Enable                    = 1"
    same "$(qsc get 'Device.WiFi.SSID.*.SSID' | grep -c " = Home")" 16
    sed -i "/'ra2'/d" "$state/etc/config/qrnnetworkzone"
    run qsc get Device.WiFi.SSID.3.
    same "$status" 1
    [[ ${lines[0]} == *"Device.WiFi.SSID.3: "*X_QRN_NetworkZone* ]]
    [[ ${lines[1]} == *"Device.WiFi.SSID.3: "*X_QRN_VLANID* ]]
    same "$(printf '%s\n' "${lines[@]:2}")" "Device.WiFi.SSID.3.Enable              = 0
Device.WiFi.SSID.3.LowerLayers         = 
Device.WiFi.SSID.3.BSSID               = 02:0C:43:26:60:02
Device.WiFi.SSID.3.SSID                = Home-3
Device.WiFi.SSID.3.Stats.BytesSent     = 2017
Device.WiFi.SSID.3.Stats.BytesReceived = 4023"
    run --keep-empty-lines qsc -q get Device.WiFi.SSID.3 SSID X_QRN_VLANID Enable
    same "$status" 1
    same "$(printf '%s\n' "${lines[@]:1}")" "Home-3

0"
    run qsc -q --json get Device.WiFi.SSID.3 X_QRN_NetworkZone SSID
    [[ $output == *'{
  "SSID":"Home-3"
}' ]]
    for command in "get Device.WiFi.SSID.9" "get Device.WiFi.SSID.9 SSID Enable"; do
        # shellcheck disable=SC2086  # words
        run qsc $command
        same "$status" 1
        same "${#lines[@]}" 1
        [[ $output == "qsc: Device.WiFi.SSID.9: "* ]]
    done
}

@test "an access point moves between zones, and its zone has a VLAN" {
    qsc set Device.WiFi.SSID.1 X_QRN_NetworkZone=guest
    same "$(device uci get qrnnetworkzone.lan.iface | tr ' ' '\n' | grep -cx 'rax\?0')" 1
    same "$(device uci get qrnnetworkzone.guest.iface)" "ra1 rax1 ra0"
    same "$(qsc get Device.WiFi.SSID.1 X_QRN_VLANID)" "X_QRN_VLANID = 20"
    qsc set Device.WiFi.SSID.1 X_QRN_VLANID=30
    same "$(qsc get Device.WiFi.SSID.12 X_QRN_VLANID)" "X_QRN_VLANID = 30"
    run qsc set Device.WiFi.SSID.1 X_QRN_NetworkZone=nowhere
    same "$status" 1
}

@test "a mesh has one name, read from its topology" {
    device uci set mtkwireless.mesh.enable=1
    run qsc get Device.WiFi.SSID.5 SSID
    [[ $output == "qsc: Device.WiFi.SSID.5: SSID: "* ]]
    name='{"topology information":[{"Radio Info":[{"BSSINFO":[{"SSID":"x"},{"SSID":"Home Mesh"}]}]}]}'
    echo "$name" >"$state/tmp/dump.txt"
    same "$(qsc get Device.WiFi.SSID.5 SSID)" "SSID = Home Mesh"
    long() { printf '{"filler":"' && head -c "$1" /dev/zero | tr '\0' f && printf '",%s' "${name#\{}"; }
    long 1000000 >"$state/tmp/dump.txt"
    same "$(qsc get Device.WiFi.SSID.5 SSID)" "SSID = Home Mesh"
    for broken in "" "${name%??}" "[[[[" "5" "$(long 1048576)"; do
        printf '%s' "$broken" >"$state/tmp/dump.txt"
        run qsc get Device.WiFi.SSID.5 SSID
        [[ $output == "qsc: Device.WiFi.SSID.5: SSID: "* ]]
    done
    qsc set Device.WiFi.SSID.5 SSID=New
    same "$(device uci get mtkwireless.mesh.ssid)" New
    same "$(device uci get mtkwireless.mesh.resyncmesh)" 1
    same "$(journal)" /usr/bin/qrn_mesh_config.sh
}

@test "a driver tool that fails, dies or is missing is told" {
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/iwpriv"
    run qsc set Device.WiFi.Radio.1 TransmitPower=10
    [[ $output == "qsc: Device.WiFi.Radio.1: TransmitPower: "* ]]
    same "$(device uci get mtkwireless.ra0.txpower)" 10 "stored all the same"
    mv "$state/usr/sbin/iwpriv" "$state/usr/sbin/iwconfig" "$state/root/"
    run qsc set Device.WiFi.Radio.1 TransmitPower=11
    same "$status" 1
    same "$(qsc get Device.WiFi.Radio.1 Channel)" "Channel = 0"
}
