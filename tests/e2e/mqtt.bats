#!/usr/bin/env bats
load device.bash

path=Device.MQTT.Client
line=$(printf 'MIIB%060d' 0)
certificate="-----BEGIN CERTIFICATE-----
$line
QUJDRA==
-----END CERTIFICATE-----"

options() { sed -n "s/^[[:space:]]*option \([a-z_]*\) '\(.*\)'$/\1 \2/p" "$state/etc/config/mqtt" | sort | tr '\n' ';'; }

@test "the client is set up with one request" {
    same "$(qsc -q get $path | tr '\n' ';')" ";;1883;TCP/IP;3.1.1;;;;60;1;5;;;0;Disabled;"
    qsc set $path Enable=1 BrokerAddress=broker.example.net BrokerPort=8883 TransportProtocol=TLS Name=cloud \
        ProtocolVersion=5.0 ClientID=router-7 Username=anna Password='ge heim' KeepAliveTime=30 CleanSession=0 \
        ConnectRetryTime=10 X_QRN_TopicPrefix=home/7 --apply
    same "$(options)" "broker_address broker.example.net;broker_port 8883;clean_session 0;client_id router-7;\
connect_retry_time 10;enable 1;keep_alive_time 30;name cloud;password ge heim;protocol_version 5.0;topic_prefix home/7;\
transport_protocol TLS;username anna;"
    same "$(journal)" "/etc/init.d/mqtt restart"
    same "$(qsc -q get $path | tr '\n' ';')" \
        "cloud;broker.example.net;8883;TLS;5.0;router-7;anna;;30;0;10;;home/7;1;Error;"
    same "$(stat -c %a "$state/etc/config/mqtt")" 600
    same "$(grep -rl "ge heim" "$state/var/log" "$state/tmp")" ""
    same "$(events | grep -c "set mqtt client Password by CLI")" 1
}

@test "the password stays with another user name, and goes with the last one" {
    qsc set $path Username=anna Password=geheim --apply
    qsc set $path Username=berta Password= --apply
    same "$(options | tr ';' '\n' | grep -E '^(user|pass)')" "password geheim
username berta"
    qsc set $path Username= --apply
    same "$(options | tr ';' '\n' | grep -E '^(user|pass)')" ""
    # A form that sends back what it read takes nothing away.
    device uci set mqtt.client.password=alone
    qsc set $path Username= Password= --apply
    same "$(options | tr ';' '\n' | grep -E '^(user|pass)')" "password alone"
}

@test "certificates wait for the service, and come back as they were sent" {
    qsc set $path X_QRN_CACertificate="$certificate"
    [ ! -e "$state/etc/mqtt/ca.pem" ]
    qsc service $path restart
    same "$(cat "$state/etc/mqtt/ca.pem")" "$certificate"
    same "$(stat -c %a "$state/etc/mqtt" "$state/etc/mqtt/ca.pem" | tr '\n' ' ')" "700 600 "
    qsc set $path X_QRN_CACertificate="$(printf '\n%s\r\n%s\n' "${certificate//$'\n'/$'\r\n'}" "$certificate")" --apply
    same "$(cat "$state/etc/mqtt/ca.pem")" "$certificate
$certificate"
    qsc set $path X_QRN_CACertificate= --apply
    [ ! -s "$state/etc/mqtt/ca.pem" ]
}

@test "the status says what is missing" {
    cp "$state/etc/init.d/mqtt" "$state/etc/init.d/mosquitto"
    qsc set $path Enable=1 BrokerAddress=192.0.2.1
    same "$(qsc -q get $path Status)" Connecting
    qsc set $path TransportProtocol=WebSocket
    same "$(qsc -q get $path Status)" Error_Misconfigured
}

@test "what no broker takes is refused" {
    while IFS='|' read -r assignment why; do
        run qsc set $path "$assignment"
        same "$status $output" "1 qsc: $path: ${assignment%%=*}: $why"
    done <<'REFUSED'
Enable=1|it needs the address of a broker
BrokerAddress=-x|'-x' is neither a host name nor an address
BrokerAddress=a b|'a b' is neither a host name nor an address
BrokerPort=0|0 is not 1 to 65535
TransportProtocol=UDP|'UDP' is not one of TCP/IP|TLS|WebSocket
ProtocolVersion=4|'4' is not one of 3.1|3.1.1|5.0
ClientID=a b|it has a blank, a quote, a '#' or a backslash
Username=a'b|it has a blank, a quote, a '#' or a backslash
Password=a"b|it has a quote or a backslash
KeepAliveTime=1|1 is not 0 or 5 to 65535
ConnectRetryTime=0|0 is not 1 to 86400
X_QRN_TopicPrefix=home/+|it has a wildcard
X_QRN_TopicPrefix=home/#|it has a blank, a quote, a '#' or a backslash
X_QRN_CACertificate=text|line 1 is none of a certificate in PEM form
X_QRN_CACertificate=-----BEGIN CERTIFICATE-----|the last certificate has no end
REFUSED
    for bad in "${certificate/CERTIFICATE/PRIVATE KEY}" "${certificate/MIIB/MI B}" "${certificate/QUJDRA==/QUJDRA===}" \
        "$certificate"$'\n'"$line" "-----BEGIN CERTIFICATE-----"$'\n'"-----END CERTIFICATE-----"; do
        run qsc set $path X_QRN_CACertificate="$bad"
        [[ $output == "qsc: $path: X_QRN_CACertificate: line "?" is none of a certificate in PEM form" ]]
    done
    run qsc set $path X_QRN_CACertificate="$(printf '%016385d' 0)"
    same "$output" "qsc: $path: X_QRN_CACertificate: it has 16385 characters, not at most 16384"
    qsc set $path Enable=1 BrokerAddress=192.0.2.1
    run qsc set $path BrokerAddress=
    same "$output" "qsc: $path: BrokerAddress: it needs the address of a broker"
    [ ! -e "$state/etc/mqtt" ]
}
