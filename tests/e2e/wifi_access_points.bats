#!/usr/bin/env bats
load device.bash

ap=Device.WiFi.AccessPoint
iwpriv=/usr/sbin/iwpriv
ifconfig=/usr/sbin/ifconfig
wifi="/etc/init.d/wifi restart"

option() { device uci get "mtkwireless.$1"; }

# refused OBJECT ASSIGNMENT... SENTENCE: a set ends with 14 or 22 and this sentence, and nothing is written.
refused() {
    local object=$1 sentence=${*: -1} before
    before=$(cat "$state/tmp/.uci/mtkwireless" 2>/dev/null || true)
    run qsc set "$object" "${@:2:$#-2}"
    same "$status $output" "1 qsc: $object: $sentence"
    same "$(cat "$state/tmp/.uci/mtkwireless" 2>/dev/null || true)" "$before"
}

# ask PATH OPERATION REQUEST: sends a request as it is.
ask() { device sh -c 'printf %s "$3" | qsc request "$1" "$2"' ask "$@" | tr -d ' \n'; }

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

@test "an access point that is off, or whose radio or interface is, is only configured" {
    qsc set $ap.3 IsolationEnable=1
    echo 0x1002 >"$state/sys/class/net/ra0/flags"
    qsc set $ap.1 IsolationEnable=1
    same "$(qsc -q get $ap.1.Status)" Error
    qsc set Device.WiFi.Radio.2 Enable=0
    qsc set $ap.11 IsolationEnable=1 Enable=0
    same "$(journal)" ""
    same "$(qsc -q get $ap.11.Status)" Disabled
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

@test "security that is not whole is refused as a whole" {
    s=$ap.2.Security
    while IFS='|' read -r assignments sentence; do
        # shellcheck disable=SC2086  # words
        refused $s $assignments "$sentence"
    done <<END
ModeEnabled=WPA2-Personal|ModeEnabled: WPA2-Personal needs a passphrase or a pre-shared key
ModeEnabled=WPA-WPA2-Personal SAEPassphrase=longenough|ModeEnabled: WPA-WPA2-Personal needs a passphrase or a pre-shared key
ModeEnabled=WPA3-Personal KeyPassphrase=longenough MFPConfig=Required|MFPConfig: WPA3-Personal needs an SAE passphrase
ModeEnabled=WPA3-Personal SAEPassphrase=longenough|ModeEnabled: WPA3-Personal needs MFPConfig Required
ModeEnabled=WPA3-Personal SAEPassphrase=longenough MFPConfig=Optional|MFPConfig: WPA3-Personal needs MFPConfig Required
ModeEnabled=WPA3-Personal-Transition KeyPassphrase=longenough MFPConfig=Optional|MFPConfig: WPA3-Personal-Transition needs an SAE passphrase
ModeEnabled=WPA3-Personal-Transition KeyPassphrase=longenough SAEPassphrase=longenough|ModeEnabled: WPA3-Personal-Transition needs MFPConfig Optional or Required
ModeEnabled=OWE|ModeEnabled: OWE needs MFPConfig Required
ModeEnabled=OWE MFPConfig=Required EncryptionMode=TKIP,AES|EncryptionMode: OWE takes no TKIP
ModeEnabled=WPA2-Enterprise RadiusSecret=x|ModeEnabled: WPA2-Enterprise needs a RADIUS server
ModeEnabled=WPA2-Enterprise RadiusServerIPAddr=192.0.2.1|RadiusServerIPAddr: WPA2-Enterprise needs a RADIUS secret
ModeEnabled=WPA3-Enterprise RadiusServerIPAddr=192.0.2.1 RadiusSecret=x|RadiusServerIPAddr: WPA3-Enterprise needs MFPConfig Required
ModeEnabled=WEP-64|ModeEnabled: 'WEP-64' is not one of None|WPA-Personal|WPA2-Personal|WPA3-Personal|WPA-WPA2-Personal|WPA3-Personal-Transition|WPA-Enterprise|WPA2-Enterprise|WPA3-Enterprise|WPA-WPA2-Enterprise|OWE
KeyPassphrase=1234567|KeyPassphrase: it has 7 characters, not 8 to 63
KeyPassphrase=$(printf '%064d' 1)|KeyPassphrase: it has 64 characters, not 8 to 63
KeyPassphrase=größere-Wörter|KeyPassphrase: it has characters that are not ASCII
KeyPassphrase=longenough PreSharedKey=$(printf '%064d' 1)|KeyPassphrase: a passphrase and a pre-shared key exclude each other
PreSharedKey=$(printf '%063d' 1)|PreSharedKey: the value is not the wanted number of hexadecimal digits
PreSharedKey=$(printf '%063dg' 1)|PreSharedKey: the value is not the wanted number of hexadecimal digits
SAEPassphrase=1234567|SAEPassphrase: it has 7 characters, not 8 to 63
EncryptionMode=WEP|EncryptionMode: 'WEP' is not one of TKIP|AES
RadiusServerIPAddr=radius.example.net|RadiusServerIPAddr: 'radius.example.net' is no IP address
RadiusServerPort=0|RadiusServerPort: 0 is not 1 to 65535
END
    # What the mode that is on needs cannot be taken away.
    qsc set $s ModeEnabled=WPA3-Enterprise MFPConfig=Required RadiusServerIPAddr=192.0.2.1 RadiusSecret=x
    refused $s MFPConfig=Optional "MFPConfig: WPA3-Enterprise needs MFPConfig Required"
    refused $s RadiusServerIPAddr= "RadiusServerIPAddr: WPA3-Enterprise needs a RADIUS server"
    refused $s EncryptionMode=TKIP "EncryptionMode: WPA3-Enterprise takes no TKIP"
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

@test "accounting needs a server and its secret" {
    a=$ap.1.Accounting
    same "$(qsc -q get $a | tr '\n' ';')" ";1813;;;1813;;0;0;"
    refused $a Enable=1 "Enable: accounting needs a server and its secret"
    refused $a Enable=1 ServerIPAddr=192.0.2.1 "ServerIPAddr: accounting needs a server and its secret"
    refused $a InterimInterval=59 "InterimInterval: 59 is not 0 or 60 to 4294967295"
    qsc set $a Enable=1 ServerIPAddr=192.0.2.1 Secret=x InterimInterval=60 SecondaryServerIPAddr=192.0.2.2
    same "$(option ra0.acct1) $(option ra0.acctkey1) $(option ra0.acct2_1)" "192.0.2.1 x 192.0.2.2"
    refused $a ServerIPAddr= "ServerIPAddr: accounting needs a server and its secret"
    same "$(qsc -q get $a.Secret)" ""
}

@test "WPS is for modes that take it, and its button for access points that are on and seen" {
    w=$ap.1.WPS
    same "$(qsc -q get $w | tr '\n' ';')" "PushButton,PIN;PushButton;;0;Disabled;2.0;0;"
    refused $w Enable=1 "Enable: the access point's security mode takes no WPS"
    refused $w X_QRN_PushButton=1 "X_QRN_PushButton: the access point or its WPS is off"
    refused $w PIN=1234567 "PIN: it has 7 characters, not 8 to 8"
    refused $w PIN=12345678 "PIN: its last digit is not the check digit of the others"
    refused $w PIN=1234567x "PIN: it has other characters than digits"
    refused $w ConfigMethodsEnabled=Label "ConfigMethodsEnabled: 'Label' is not one of PushButton|PIN"
    qsc set $ap.1.Security ModeEnabled=WPA2-Personal KeyPassphrase=longenough
    refused $w Enable=1 ConfigMethodsEnabled=PIN "ConfigMethodsEnabled: the method PIN needs a PIN"
    qsc set $w Enable=1 ConfigMethodsEnabled=PIN PIN=12345670
    refused $w X_QRN_PushButton=1 "X_QRN_PushButton: the method PushButton is not enabled"
    qsc set $w ConfigMethodsEnabled=PIN,PushButton X_QRN_PushButton=0
    same "$(option ra0.wps1) $(option ra0.wpsmethods1) $(option ra0.wpspin1)" "1 PIN,PushButton 12345670"
    same "$(qsc -q get $w.Status)" Configured
    same "$(journal)" ""
    qsc set $w X_QRN_PushButton=1
    same "$(journal)" "$iwpriv ra0 set WscMode=2
$iwpriv ra0 set WscGetConf=1"
    qsc set $ap.1 SSIDAdvertisementEnabled=0
    refused $w X_QRN_PushButton=1 "X_QRN_PushButton: the access point hides its name"
    qsc set $ap.1 SSIDAdvertisementEnabled=1
    qsc set $ap.1.Security ModeEnabled=WPA3-Personal SAEPassphrase=longenough MFPConfig=Required
    refused $w X_QRN_PushButton=1 "X_QRN_PushButton: the access point's security mode takes no WPS"
    same "$(qsc -q get $w.Status)" Error
    for mode in None WPA2-Enterprise OWE; do
        qsc set $ap.2.Security ModeEnabled=$mode MFPConfig=Required RadiusServerIPAddr=192.0.2.1 RadiusSecret=x
        refused $ap.2.WPS Enable=1 "Enable: the access point's security mode takes no WPS"
    done
}

@test "who may connect is one list with one mode, and nobody locks everybody out" {
    n=$ap.1.X_QRN_ACLNotes
    empty="nobody could connect, because no address is allowed"
    refused $ap.1 MACAddressControlEnabled=1 "MACAddressControlEnabled: $empty"
    refused $n Mode=Allow "Mode: $empty"
    refused $n Mode=Allow List= "List: $empty"
    refused $ap.1 AllowedMACAddress=02:00:00:00:00:01,02:00:00:00:00:01 \
        "AllowedMACAddress: '02:00:00:00:00:01' is named twice"
    refused $ap.1 AllowedMACAddress=02:00:00:00:00:0a,02:00:00:00:00:0A \
        "AllowedMACAddress: '02:00:00:00:00:0A' is named twice"
    refused $n List=03:00:00:00:00:01 "List: '03:00:00:00:00:01' is no MAC address of one device"
    refused $n List=00:00:00:00:00:00 "List: '00:00:00:00:00:00' is no MAC address of one device"
    refused $n List=02:00:00:00:00 "List: '02:00:00:00:00' is no MAC address of one device"
    many=$(printf '02:00:00:00:00:%02x,' $(seq 65))
    refused $n List="$many" "List: it has more than 64 addresses"
    qsc set $n List="$(printf '02:00:00:00:00:%02x,' $(seq 64))"
    qsc set $n Mode=Allow List=02:00:00:00:00:0a
    same "$(option ra0.maclist1) $(option ra0.macmode1)" "02:00:00:00:00:0A Allow"
    same "$(qsc -q get $ap.1 MACAddressControlEnabled AllowedMACAddress | tr '\n' ' ')" "1 02:00:00:00:00:0A "
    refused $ap.1 AllowedMACAddress= "AllowedMACAddress: $empty"
    qsc set $ap.1 MACAddressControlEnabled=0 AllowedMACAddress=
    same "$(qsc -q get $n Mode List | tr '\n' ';')" "Off;;"
    qsc set $n Mode=Deny
    same "$(qsc -q get $ap.1.MACAddressControlEnabled)" 0
    qsc set $ap.1 MACAddressControlEnabled=0
    same "$(qsc -q get $n.Mode)" Off
    same "$(journal)" ""
}

@test "an address has a note" {
    n=$ap.11.X_QRN_ACLNotes
    a=$n.02:00:5e:00:53:0a
    same "$(qsc get $a)" "Note = "
    qsc set $a Note="Annas Telefon"
    same "$(events)" "set WiFi MAC list [11] 02:00:5e:00:53:0a Note Annas Telefon by CLI"
    same "$(qsc get $n.02:00:5E:00:53:0A)" "Note = Annas Telefon"
    same "$(qsc -q get $ap.1.X_QRN_ACLNotes.02:00:5E:00:53:0A.Note)" ""
    same "$(ask $n get '{"Note":{}}')" '{"Note":{"ParamId":0}}'
    qsc commit Device.WiFi
    same "$(sed -n "/aclnote/,\$ p" "$state/etc/config/mtkwireless" | tr -d "\t'" | grep . | tr '\n' ';')" \
        "config aclnote note11_02005E00530A;option ap 11;option mac 02:00:5E:00:53:0A;option note Annas Telefon;"
    no_address="a note needs an address after the path"
    refused $a Note="$(printf '%064d' 0)" "Note: it has 64 characters, not at most 63"
    refused $a Note=$'a\nb' "Note: 'a?b' is a text with control characters"
    refused $a Mode=Deny "Mode: it is set without an address after the path"
    refused $a List=02:00:00:00:00:01 "List: it is set without an address after the path"
    refused $n Note=x "Note: $no_address"
    refused $n.02:00:5e:00:53 Note=x "Note: $no_address"
    refused $n.03:00:5e:00:53:0a Note=x "Note: $no_address"
    run qsc get $n.02:00:5e:00:53
    same "$output" "qsc: $n.02:00:5e:00:53: Note: there is no such address"
    qsc set $a Note=
    qsc commit Device.WiFi
    run grep aclnote "$state/etc/config/mtkwireless"
    same "$status" 1
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
