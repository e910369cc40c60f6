#!/usr/bin/env bats
load device.bash

ap=Device.WiFi.AccessPoint
iwpriv=/usr/sbin/iwpriv
ifconfig=/usr/sbin/ifconfig
wifi="/etc/init.d/wifi restart"

option() { device uci get "mtkwireless.$1"; }

@test "an access point shows how it is" {
    same "$(qsc -q get $ap.1 | tr '\n' ' ')" \
        "1 0 0 1 1  0 1 Enabled Device.WiFi.SSID.1 1 1 2 "
    same "$(qsc -q get $ap.18 Enable Status SSIDReference | tr '\n' ' ')" "0 Disabled Device.WiFi.SSID.18 "
    same "$(qsc get Device.WiFi.AccessPoint. | grep -c "\.Security.ModeEnabled *= None")" 16
    for instance in 0 9 10 19; do
        run qsc get $ap.$instance
        same "$status" 1
    done
}

@test "the driver of an access point that is up follows at once" {
    qsc set $ap.12 SSIDAdvertisementEnabled=0 IsolationEnable=1 MaxAllowedAssociations=10 WMMEnable=0 UAPSDEnable=0
    same "$(journal)" "$iwpriv rax1 set HideSSID=1
$iwpriv rax1 set NoForwarding=1
$iwpriv rax1 set MaxStaNum=10
$iwpriv rax1 set WmmCapable=0
$iwpriv rax1 set UAPSDCapable=0"
    same "$(qsc -q get $ap.12 SSIDAdvertisementEnabled MaxAllowedAssociations | tr '\n' ' ')" "0 10 "
    same "$(option rax0.hidden2) $(option rax0.isolate2)" "1 1"
    same "$(events | head -n 1)" "set WiFi access point [12] SSIDAdvertisementEnabled 0 by CLI"
}

@test "an access point is switched at once, but one with keys not on: service brings it up with them" {
    qsc set $ap.3 Enable=1
    qsc set $ap.3 Enable=0
    qsc set $ap.1 Enable=0
    qsc set $ap.3.Security ModeEnabled=WPA2-Personal KeyPassphrase=correct-horse
    qsc set $ap.3 Enable=1
    same "$(journal)" "$ifconfig ra2 up
$ifconfig ra2 down"
    qsc set $ap.3 Enable=1 --apply
    same "$(tail -n 1 "$state/var/log/journal.txt")" "$wifi"
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/ifconfig"
    run qsc set $ap.3 Enable=0
    same "$output" "qsc: $ap.3: Enable: ifconfig ra2 down failed"
}

@test "security is stored in the words of the standard, applied by service, and says no secret" {
    qsc set $ap.1.Security ModeEnabled=WPA3-Personal-Transition MFPConfig=Optional KeyPassphrase="correct horse" \
        SAEPassphrase="battery staple" RekeyingInterval=600
    same "$(journal)" ""
    same "$(option ra0.auth1) $(option ra0.mfp1) $(option ra0.psk1) $(option ra0.sae1)" \
        "WPA3-Personal-Transition Optional correct horse battery staple"
    same "$(qsc get $ap.1.Security ModeEnabled KeyPassphrase PreSharedKey SAEPassphrase)" "ModeEnabled   = WPA3-Personal-Transition
KeyPassphrase = 
PreSharedKey  = 
SAEPassphrase = "
    # What a form read it sends back, and nothing changes.
    qsc set $ap.1.Security KeyPassphrase= PreSharedKey= SAEPassphrase= ModeEnabled=WPA2-Personal EncryptionMode=TKIP,AES
    same "$(option ra0.psk1) $(option ra0.encr1)" "correct horse TKIP,AES"
    same "$(qsc -q get $ap.1.Security.EncryptionMode)" "TKIP,AES"
    # The later of key and passphrase counts.
    key=$(printf '%064d' 7)
    qsc set $ap.1.Security PreSharedKey="$key"
    same "$(option ra0.psk1)" "$key"
    qsc set $ap.11.Security RadiusServerIPAddr=192.0.2.9 RadiusSecret=s3cret SecondaryRadiusServerIPAddr=2001:db8::9 \
        SecondaryRadiusSecret=s4cret SecondaryRadiusServerPort=1645 ModeEnabled=WPA2-Enterprise
    same "$(option rax0.radius1) $(option rax0.radiuskey1) $(option rax0.radius2_1) $(option rax0.radiusport2_1)" \
        "192.0.2.9 s3cret 2001:db8::9 1645"
    run grep -rE "horse|staple|s[34]cret|$key" "$state/var/log"
    same "$status" 1
    events | grep -Fx "set WiFi security [11] RadiusSecret by CLI"
    qsc set $ap.1.Security RekeyingInterval=0 --apply
    same "$(journal)" "$wifi"
}

@test "nothing is committed while an enabled access point would be open by mistake" {
    sed -i "s/option enable2 '1'/&\n\toption auth2 'WPA2-Personal'\n\toption psk2 'short'/" "$state/etc/config/mtkwireless"
    run qsc set Device.WiFi.Radio.1 TransmitPower=50 --apply
    same "$status" 1
    [[ $output == *"Device.WiFi: access point 2: WPA2-Personal needs a passphrase or a pre-shared key" ]]
    run qsc -v commit Device.WiFi
    [[ $output == *"[E] Device.WiFi.AccessPoint.2.Security: WPA2-Personal needs a passphrase or a pre-shared key"* ]]
    same "$(qsc -q get $ap.2.Status)" Error_Misconfigured
    [ -s "$state/tmp/.uci/mtkwireless" ]
    same "$(journal)" "$ifconfig ra0 up
$iwpriv ra0 set TxPower=50"
    # One that is off may wait for its key.
    qsc set $ap.2 Enable=0
    qsc set $ap.12 Enable=0 --apply
    same "$(tail -n 1 "$state/var/log/journal.txt")" "$wifi"
    [ ! -s "$state/tmp/.uci/mtkwireless" ]
}

@test "Device.WiFi counts, names the addresses, commits and restarts" {
    same "$(qsc -q get Device.WiFi | head -n 4 | tr '\n' ' ')" "2 16 16 1 "
    same "$(qsc -q get Device.WiFi X_QRN_MACAddresses | cut -c 1-53)" \
        "02:00:5E:00:53:01,12:00:5E:00:53:01,22:00:5E:00:53:01"
    same "$(qsc -q get Device.WiFi X_QRN_MACAddresses | tr ',' '\n' | sort -u | wc -l)" 16
    mv "$state/usr/sbin/fw_printenv" "$state/root/"
    same "$(qsc -q get Device.WiFi X_QRN_MACAddresses)" ""
    qsc service Device.WiFi reload
    same "$(journal | grep -v fw_printenv)" "/etc/init.d/wifi reload"
    # Devices without the script have the command.
    mv "$state/etc/init.d/wifi" "$state/sbin/wifi"
    for action in stop start reload restart; do
        qsc service Device.WiFi $action
    done
    same "$(journal | tail -n 4 | tr '\n' ';')" "/sbin/wifi down;/sbin/wifi reload;/sbin/wifi reload;/sbin/wifi reload;"
    run qsc service Device.WiFi enable
    same "$status" 1
    mkdir -p "$state/var/lib/sim/fail" && touch "$state/var/lib/sim/fail/wifi"
    run qsc service Device.WiFi reload
    [[ $output == *"Device.WiFi: /sbin/wifi reload failed" ]]
}
