#!/usr/bin/env bats
# What the unit tests of handlers/services cannot see: the firewall's own check, init scripts, other programs.
load device.bash

vpn=Device.X_QRN_VPN
forwardings=Device.X_QRN_Firewall.PortForwarding.
rules=Device.X_QRN_Firewall.ParentalControl.

# Nobody else finds the secrets, which all have this in them.
no_secret_shows() { same "$(grep -rl 'ge.heim' "$state/var/log" "$state/tmp")" ""; }

@test "the firewall can use every section of ours, or nothing is loaded" {
    qsc set Device.X_QRN_DMZ DestIP=192.168.1.50 Description="Spiele-Konsole" Enable=1
    qsc set Device.X_QRN_RemoteAccess.SSH WANAccess=1 WANSourcePrefix=198.51.100.0/24 --apply
    same "$(qsc add $forwardings ExternalPort=9000 ExternalPortEndRange=9010 Protocol=X_QRN_Both \
        RemoteHost=198.51.100.7 InternalClient=192.168.1.20 Description="Anna's server, \"quoted\"" Enable=1)" "${forwardings}1"
    same "$(qsc add $rules MACAddress=02:00:00:00:00:0a Days=6 StartTime=21:00 EndTime=06:30 Enable=1)" "${rules}1"
    qsc add Device.X_QRN_Firewall.PortTriggering. Port=6660 Protocol=TCP RulePort=113 Enable=1
    qsc set Device.X_QRN_SNMP Port=1161
    qsc set $vpn.3 RemoteGateway=192.0.2.1 LocalSubnet=192.168.1.0/24 RemoteSubnet=10.1.0.0/16 PreSharedKey=x Enable=1
    : >"$state/var/log/journal.txt"
    qsc commit ${rules%.}
    qsc service ${rules%.} reload
    same "$(journal)" "/etc/init.d/firewall reload
/etc/init.d/dnsmasq reload"
    same "$(device fw4 check 2>&1 | grep -v 'specifies unknown option qrn')" ""
    same "$(sed -n "s/^config redirect//p" "$state/etc/config/firewall" | tr -d " '" | tr '\n' ' ')" "qrn_own_1 qrn_own_2  dmz "
    mkdir -p "$state/var/lib/sim/fail"
    touch "$state/var/lib/sim/fail/fw4"
    run qsc delete ${forwardings}1 --apply
    [ "$status" -ne 0 ]
    [[ $output == *"the firewall would not load its rules"* ]]
    same "$(journal | wc -l)" 2
}

@test "tunnels are interfaces and files with their secrets in no other place" {
    qsc set $vpn.1 Server=192.0.2.9 Username=anna Password='ge$heim' Enable=1 --apply
    qsc set $vpn.4 Password='ge$heim' ConfigurationFile="$(printf 'client\nremote vpn.example.net\n<ca>\nge+heim\n</ca>')" Enable=1
    [ ! -e "$state/etc/openvpn/vpn4.ovpn" ]
    qsc set $vpn.4 Enable=1 --apply
    same "$(stat -c %a "$state/etc/openvpn" "$state/etc/openvpn/vpn4.ovpn" | tr '\n' ' ')$(ls "$state/etc/openvpn")" "700 600 vpn4.ovpn"
    no_secret_shows
    same "$(journal | sort -u)" "/etc/init.d/firewall restart
/etc/init.d/network restart
/etc/init.d/openvpn restart"
    mkdir -p "$state/var/lib/sim/ubus" "$state/var/lib/sim/swanctl"
    echo '{"up":true,"uptime":61,"ipv4-address":[{"address":"10.9.0.2","mask":32}]}' \
        >"$state/var/lib/sim/ubus/network.interface.vpn1.status.json"
    same "$(qsc -q get $vpn.1 Status IPAddress UpTime | tr '\n' ';')" "Up;10.9.0.2;61;"
    same "$(qsc --as MQTT -q get $vpn.1 Enable)$(qsc --as MQTT -q get $vpn.2 Enable)" truefalse
    qsc set $vpn.3 RemoteGateway=192.0.2.1 LocalSubnet=192.168.1.0/24 RemoteSubnet=10.1.0.0/16 PreSharedKey='ge$heim' Enable=1
    same "$(qsc -q get $vpn.3 Status)" Connecting
    echo 'list-sa event {vpn3 {established=90 child-sas {vpn3_net-1 {state=INSTALLED}}}}' >"$state/var/lib/sim/swanctl/sas"
    same "$(qsc -q get $vpn.3 Status)" Up
}

@test "the cloud's and the agents' packages are committed, and their scripts run" {
    qsc set Device.DynamicDNS.Client.1 X_QRN_Service=example.net Username=anna Password='ge$heim' Enable=1 --apply
    qsc set Device.MQTT.Client Enable=1 BrokerAddress=192.0.2.1 Username=anna Password='ge heim' --apply
    qsc set Device.X_QRN_SNMP ReadCommunity=look V3User=anna V3AuthPassword='ge heim heim' Enable=1 --apply
    qsc set Device.QoS X_QRN_DownloadRate=90000 X_QRN_Enable=1 --apply
    qsc set Device.X_QRN_CaptivePortal Interface=Device.X_QRN_NetworkZone.2 Enable=1 --apply
    qsc set Device.X_QRN_nDPI BlockedApplications=chat Enable=1 --apply
    same "$(journal | grep init.d)" "/etc/init.d/ddns enable
/etc/init.d/ddns restart
/etc/init.d/mqtt restart
/etc/init.d/snmpd restart
/etc/init.d/sqm enable
/etc/init.d/sqm restart
/etc/init.d/nodogsplash restart
/etc/init.d/ndpi restart"
    same "$(stat -c %a "$state/etc/config/mqtt")" 600
    no_secret_shows
    ! events | grep -E 'heim|look'
}

@test "the portal's tool is told of a client" {
    mkdir -p "$state/var/lib/sim/ndsctl"
    echo '{"id":1,"ip":"192.168.20.7","mac":"02:00:00:00:00:0a","state":"Authenticated","downloaded":"12","uploaded":3}' \
        >"$state/var/lib/sim/ndsctl/02:00:00:00:00:0a"
    qsc set Device.X_QRN_Ndsctl Untrust=02:00:00:00:00:0A
    qsc set Device.X_QRN_CaptivePortal Interface=Device.X_QRN_NetworkZone.2 Enable=1
    same "$(qsc -q get Device.X_QRN_CaptivePortal X_QRN_List)" '[{"MACAddress":"02:00:00:00:00:0A","IPAddress":"192.168.20.7","State":"Authenticated","BytesSent":12000,"BytesReceived":3000}]'
    run qsc get Device.X_QRN_Ndsctl
    same "$status $output" "1 qsc: Device.X_QRN_Ndsctl: the operation 0x1 is not served"
    qsc get Device. >"$BATS_TEST_TMPDIR/all"
    same "$(grep -c Ndsctl "$BATS_TEST_TMPDIR/all")" 0
}

# The packaged script in the place of the device's, which only says that it ran.
install_script() { install -m 0755 "$root/packaging/openwrt/qsyscmdhal/files/$1.init" "$state/etc/init.d/$1"; }

@test "the broker of the device gets a bridge, and loses it" {
    install_script mqtt
    path=Device.MQTT.Client
    printf "config owrt 'owrt'\n\toption use_uci '0'\n\nconfig bridge 'other'\n\toption connection 'x'\n" \
        >"$state/etc/config/mosquitto"
    run qsc set $path Enable=1 BrokerAddress=192.0.2.1 --apply # there is no broker
    same "$status ${output##*: }" "1 /etc/init.d/mqtt restart failed"
    cp "$state/etc/init.d/network" "$state/etc/init.d/mosquitto"
    # bridge: as the broker's own script reads it, but for what does not change.
    bridge() { sed -n "/qrn_mqtt'$/,/^\$/p" "$state/etc/config/mosquitto" | grep -vE "connection|notifications|^\$" | tr -d '\t'; }
    qsc service $path restart
    same "$(bridge)" "config bridge 'qrn_mqtt'
option address '192.0.2.1:1883'
option protocol_version 'mqttv311'
option cleansession '1'
option keepalive_interval '60'
option restart_timeout '5'
list topic '# both 0 \"\" '"
    same "$(journal | tail -1)" "/etc/init.d/mosquitto restart"
    line=$(printf 'MIIB%060d' 0)
    qsc set $path BrokerAddress=2001:db8::1 BrokerPort=8883 TransportProtocol=TLS ProtocolVersion=5.0 ClientID=router-7 \
        Username=anna Password='ge $heim' KeepAliveTime=30 CleanSession=0 ConnectRetryTime=10 X_QRN_TopicPrefix=home/7/ \
        X_QRN_CACertificate="$(printf '%s\n' '-----BEGIN CERTIFICATE-----' "$line" '-----END CERTIFICATE-----')" --apply
    same "$(bridge)" "config bridge 'qrn_mqtt'
option address '[2001:db8::1]:8883'
option protocol_version 'mqttv50'
option cleansession '0'
option keepalive_interval '30'
option restart_timeout '10'
option remote_clientid 'router-7'
option remote_username 'anna'
option remote_password 'ge \$heim'
list topic '# both 0 \"\" home/7/'
option cafile '/var/run/qrn_mqtt_ca.pem'
option insecure '0'"
    same "$(stat -c %a "$state/tmp/qrn_mqtt_ca.pem")$(sed -n 2p "$state/tmp/qrn_mqtt_ca.pem")" "644$line"
    same "$(grep -c "use_uci '1'\|connection 'qrn_mqtt'\|connection 'x'" "$state/etc/config/mosquitto")" 3
    no_secret_shows
    qsc set $path X_QRN_CACertificate= ProtocolVersion=3.1 --apply
    same "$(bridge | grep -E 'path|file|version')" "option protocol_version 'mqttv31'
option capath '/etc/ssl/certs'"
    [ ! -e "$state/tmp/qrn_mqtt_ca.pem" ]
    for off in TransportProtocol=WebSocket Enable=0; do
        qsc set $path TransportProtocol=TCP/IP Enable=1 --apply
        [ -n "$(bridge)" ]
        qsc set $path $off --apply
        same "$(bridge)" ""
    done
    qsc set $path TransportProtocol=TCP/IP Enable=1 --apply
    qsc service $path stop
    same "$(bridge)" ""
    same "$(journal | tail -1)" "/etc/init.d/mosquitto restart"
}

@test "the classifier is started with what is blocked, where there is one" {
    install_script ndpi
    path=Device.X_QRN_nDPI
    qsc service $path start
    run qsc set $path BlockedApplications=chat,Video.Net Enable=1 --apply
    same "$status ${output##*: }" "1 /etc/init.d/ndpi restart failed"
    cp "$state/etc/init.d/network" "$state/usr/sbin/qrn_ndpi"
    qsc service $path restart
    same "$(journal | tail -1)" "procd /usr/sbin/qrn_ndpi --status /var/run/ndpi.status --block chat --block Video.Net"
    qsc set $path BlockedApplications= --apply
    same "$(journal | tail -1)" "procd /usr/sbin/qrn_ndpi --status /var/run/ndpi.status"
    qsc set $path Enable=0 --apply
    same "$(journal | tail -1)" "/etc/init.d/ndpi restart"
}
