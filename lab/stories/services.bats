#!/usr/bin/env bats
load ../lab.bash

ssh=Device.X_QRN_RemoteAccess.SSH
snmp=Device.X_QRN_SNMP

# login SPACE ADDRESS PORT: what a command on the router says, by a key.
login() { in_space "$1" env HOME="$folder" timeout 5 dbclient -y -y -i "$folder/key" -p "$3" root@"$2" 'cat /proc/sys/kernel/hostname' 2>/dev/null; }

# banner SPACE ADDRESS PORT: a server of SSH is there.
banner() { in_space "$1" "$LAB/talk" ask tcp "$2" "$3" | grep -qa ^SSH-2.0-dropbear; }

# bats test_tags=quick
@test "the SSH server moves to another port, for who has a key" {
    needs dropbear dbclient dropbearkey busybox
    needs_root "a login"
    settle lan1
    dropbearkey -t ed25519 -f "$folder/key" >"$folder/key.text"
    qsc set $ssh AuthorizedKeys="$(grep ^ssh- "$folder/key.text")" Port=2222 AllowPasswordLogin=0 --apply
    same "$(login lan1 192.168.1.1 2222)" router
    same "$(qsc -q get $ssh Status)" Enabled
    run login lan1 192.168.1.1 22
    [ "$status" -ne 0 ]
    # From the WAN only when it is said, and only for those that are named.
    wan_is_up
    public=$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)
    run banner wan "$public" 2222
    [ "$status" -ne 0 ]
    qsc set $ssh WANAccess=1 WANSourcePrefix=203.0.113.0/24 Port=2022 --apply
    banner wan "$public" 2022
    qsc set $ssh WANSourcePrefix=198.51.100.0/24 --apply
    run banner wan "$public" 2022
    [ "$status" -ne 0 ]
    banner lan1 192.168.1.1 2022
    run qsc set $ssh Enable=0 --apply
    [[ $output == *"it is the last way to the router" ]]
    banner lan1 192.168.1.1 2022
}

@test "the password that was set lets root in, where passwords do" {
    needs dropbear dbclient busybox
    needs_root "a login"
    settle lan1
    enter() { client1 env HOME="$folder" DROPBEAR_PASSWORD="$1" timeout 5 dbclient -y -y root@192.168.1.1 'cat /proc/sys/kernel/hostname' 2>/dev/null; }
    qsc set Device.Users.User.1 Password="ge heim'\"1" --apply
    qsc set $ssh IdleTimeout=300 --apply
    same "$(enter "ge heim'\"1")" router
    run enter geheim1
    [ "$status" -ne 0 ]
    # Another way in has to be there before this one goes.
    run qsc set $ssh AllowRootPasswordLogin=0
    [ "$status" -ne 0 ]
    dropbearkey -t ed25519 -f "$folder/key" >"$folder/key.text"
    qsc set $ssh AuthorizedKeys="$(grep ^ssh- "$folder/key.text")" AllowRootPasswordLogin=0 --apply
    run enter "ge heim'\"1"
    [ "$status" -ne 0 ]
    same "$(login lan1 192.168.1.1 22)" router
}

# walk OPTION...: asks the agent for the system's name, as a client of the LAN.
walk() { set -o pipefail; client1 env MIBS= snmpget -On -Oqv -t 0.4 -r 1 "$@" .1.3.6.1.2.1.1.5.0 2>&1 | tr -d '"'; }

@test "the agent tells the system's name to who knows the community" {
    needs snmpd snmpget
    settle lan1
    qsc set $snmp Enable=1 ReadCommunity=secret1 SystemName=gate --apply
    eventually walk -v2c -c secret1 192.168.1.1
    same "$(walk -v2c -c secret1 192.168.1.1)" gate
    same "$(qsc -q get $snmp Status)" Enabled
    run walk -v2c -c public 192.168.1.1
    [ "$status" -ne 0 ]
    # Nothing is written without a community for it; with it the name changes.
    run client1 env MIBS= snmpset -t 0.4 -r 0 -v2c -c secret1 192.168.1.1 .1.3.6.1.2.1.1.6.0 s here
    [ "$status" -ne 0 ]
    qsc set $snmp WriteCommunity=secret2 WriteEnable=1 Port=1161 SystemLocation= --apply
    eventually walk -v2c -c secret1 192.168.1.1:1161
    client1 env MIBS= snmpset -t 1 -r 1 -v2c -c secret2 192.168.1.1:1161 .1.3.6.1.2.1.1.6.0 s here
    # A source that is not ours.
    qsc set $snmp AllowedSource=10.0.0.0/8 --apply
    run walk -v2c -c secret1 192.168.1.1:1161
    [ "$status" -ne 0 ]
    wan_is_up
    run wan env MIBS= snmpget -t 0.4 -r 0 -v2c -c secret1 "$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress):1161" .1.3.6.1.2.1.1.5.0
    [ "$status" -ne 0 ]
}

@test "the agent's user of version 3 needs both passwords" {
    needs snmpd snmpget
    settle lan1
    qsc set $snmp Enable=1 SystemName=gate V3User=anna V3AuthProtocol=SHA V3AuthPassword=authauth1 V3PrivProtocol=AES \
        V3PrivPassword=privpriv1 --apply
    known=(-v3 -u anna -a SHA -A authauth1 -x AES -X privpriv1 -l authPriv 192.168.1.1)
    eventually walk "${known[@]}"
    same "$(walk "${known[@]}")" gate
    run walk -v3 -u anna -a SHA -A wrongwrong -x AES -X privpriv1 -l authPriv 192.168.1.1
    [ "$status" -ne 0 ]
    run walk -v3 -u anna -a SHA -A authauth1 -l authNoPriv 192.168.1.1
    [ "$status" -ne 0 ]
}

@test "a trap arrives at the one that waits for it" {
    needs snmpd snmptrapd
    client1 ip addr add 192.168.1.20/24 dev eth0
    echo "authCommunity log traps" >"$folder/snmptrapd.conf"
    client1 env MIBS= SNMP_PERSISTENT_DIR="$folder" snmptrapd -f -Lf "$folder/traps" -On -C -c "$folder/snmptrapd.conf" udp:1162 >/dev/null 2>&1 3>&- &
    eventually grep -q NET-SNMP "$folder/traps"
    for version in 1 2c; do
        : >"$folder/traps"
        qsc set $snmp.trap Address=192.168.1.20 Port=1162 Community=traps Version=$version Enable=1
        qsc set $snmp Enable=1 --apply
        # A start that was cold.
        eventually grep -qE '\.1\.3\.6\.1\.6\.3\.1\.1\.5\.1|Cold Start' "$folder/traps"
    done
}

@test "a trap of version 3 arrives, by the agent's user" {
    needs snmpd snmptrapd
    client1 ip addr add 192.168.1.20/24 dev eth0
    qsc set $snmp Enable=1 V3User=anna V3AuthProtocol=SHA V3AuthPassword=authauth1 V3PrivProtocol=AES V3PrivPassword=privpriv1 --apply
    qsc set $snmp.trap Address=192.168.1.20 Port=1162 Version=3 Enable=1 --apply
    # Who waits for it has to know the agent's own name.
    printf 'createUser -e %s anna SHA authauth1 AES privpriv1\nauthUser log anna\n' \
        "$(sed -n 's/^oldEngineID //p' "$state/tmp/lab/snmp/snmpd.conf")" >"$folder/snmptrapd.conf"
    client1 env MIBS= SNMP_PERSISTENT_DIR="$folder" snmptrapd -f -Lf "$folder/traps" -On -C -c "$folder/snmptrapd.conf" udp:1162 >/dev/null 2>&1 3>&- &
    eventually grep -q NET-SNMP "$folder/traps"
    # An agent that ends says so.
    qsc service $snmp restart
    eventually grep -q '= OID: \.1\.3\.6\.1\.4\.1\.8072\.4\.0\.2' "$folder/traps"
}

@test "neighbours see each other by LLDP" {
    needs lldpd lldpcli
    needs_root lldpd
    mkdir "$folder/run"
    printf 'configure system hostname "switch-7"\nconfigure lldp tx-interval 1\n' >"$folder/lldpd.conf"
    client1 bwrap --ro-bind / / --dev-bind /dev /dev --proc /proc --bind "$folder/run" /run --ro-bind "$folder" "$folder" \
        --ro-bind "$LAB/router/passwd" /etc/passwd --ro-bind "$LAB/router/group" /etc/group --cap-add ALL \
        sh -c 'mkdir /run/lldpd && exec lldpd -d -u /run/lldpd.socket -O "$1" -L "$(command -v lldpcli)"' sh "$folder/lldpd.conf" \
        >"$folder/neighbour.log" 2>&1 3>&- &
    qsc set Device.LLDP X_QRN_Enable=1 X_QRN_Interfaces=Device.Ethernet.Interface.1 X_QRN_TxInterval=1 \
        X_QRN_SystemDescription="Hall, 1st floor" --apply
    has_neighbour() { [[ $(qsc -q get Device.LLDP X_QRN_List) == *'"SystemName":"switch-7"'* ]]; }
    eventually has_neighbour
    same "$(qsc -q get Device.LLDP X_QRN_List)" '[{"Interface":"Device.Ethernet.Interface.1","ChassisID":"02:00:00:00:10:01",'\
'"PortID":"02:00:00:00:10:01","SystemName":"switch-7","Capabilities":"Station"}]'
    same "$(qsc -q get Device.LLDP X_QRN_NeighborNumberOfEntries)" 1
    hears_router() { LD_LIBRARY_PATH=$LD_LIBRARY_PATH lldpcli -u "$folder/run/lldpd.socket" show neighbors 2>&1 | tee "$folder/heard" | grep -q "Hall, 1st floor"; }
    eventually hears_router || { cat "$folder/heard" && false; }
}

@test "the broker gets what is sent at home, and the other way, as the client was set up" {
    needs mosquitto mosquitto_pub mosquitto_sub mosquitto_passwd
    printf 'listener 1884 %s\nallow_anonymous false\npassword_file %s/users\nuser root\nlog_type all\n' "$provider" "$folder" >"$folder/broker.conf"
    mosquitto_passwd -c -b "$folder/users" anna 'ge heim'
    wan mosquitto -c "$folder/broker.conf" >"$folder/broker.log" 2>&1 3>&- &
    wan_is_up
    qsc set Device.MQTT.Client BrokerAddress=$provider BrokerPort=1884 ClientID=router-7 Username=anna Password='ge heim' \
        KeepAliveTime=30 CleanSession=0 ConnectRetryTime=1 ProtocolVersion=3.1.1 X_QRN_TopicPrefix=home/7 Enable=1 --apply
    eventually grep -q "as router-7" "$folder/broker.log"
    grep -q "as router-7 (p2, c0, k30, u'anna')" "$folder/broker.log"
    is_connected() { [ "$(qsc -q get Device.MQTT.Client Status)" = Connected ]; }
    eventually is_connected
    wan mosquitto_sub -h $provider -p 1884 -u anna -P 'ge heim' -t 'home/7/#' -v >"$folder/received" 3>&- &
    says_it() { router_net mosquitto_pub -h 127.0.0.1 -t door -m open && grep -qx "home/7/door open" "$folder/received"; }
    eventually says_it
    router_net mosquitto_sub -h 127.0.0.1 -t lamp -v >"$folder/heard" 3>&- &
    hears_it() { wan mosquitto_pub -h $provider -p 1884 -u anna -P 'ge heim' -t home/7/lamp -m on && grep -qx "lamp on" "$folder/heard"; }
    eventually hears_it
    qsc set Device.MQTT.Client Enable=0 --apply
    eventually grep -q "router-7 .*disconnect\|Client router-7 closed\|disconnected" "$folder/broker.log"
    same "$(qsc -q get Device.MQTT.Client Status)" Disabled
}

@test "a broker is trusted for its certificate" {
    needs mosquitto openssl
    new_key=(-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes)
    for name in ca other; do
        openssl req -x509 "${new_key[@]}" -keyout "$folder/$name.key" -out "$folder/$name.pem" -days 2 -subj "/CN=$name" 2>/dev/null
    done
    openssl req "${new_key[@]}" -keyout "$folder/broker.key" -out "$folder/broker.csr" -subj /CN=broker 2>/dev/null
    printf 'subjectAltName=IP:%s' "$provider" >"$folder/names"
    openssl x509 -req -in "$folder/broker.csr" -CA "$folder/ca.pem" -CAkey "$folder/ca.key" -CAcreateserial -days 2 \
        -extfile "$folder/names" -out "$folder/broker.pem" 2>/dev/null
    printf 'listener 8883 %s\nallow_anonymous true\nuser root\nlog_type all\ncertfile %s/broker.pem\nkeyfile %s/broker.key\n' \
        "$provider" "$folder" "$folder" >"$folder/broker.conf"
    wan mosquitto -c "$folder/broker.conf" >"$folder/broker.log" 2>&1 3>&- &
    wan_is_up
    qsc set Device.MQTT.Client BrokerAddress=$provider BrokerPort=8883 TransportProtocol=TLS ClientID=router-7 ConnectRetryTime=1 \
        X_QRN_CACertificate="$(cat "$folder/other.pem")" Enable=1 --apply
    eventually grep -q "OpenSSL Error\|alert unknown ca" "$folder/broker.log"
    is_connected() { [ "$(qsc -q get Device.MQTT.Client Status)" = Connected ]; }
    run grep "as router-7" "$folder/broker.log"
    [ "$status" -ne 0 ]
    qsc set Device.MQTT.Client X_QRN_CACertificate="$(cat "$folder/ca.pem")" --apply
    eventually grep -q "as router-7" "$folder/broker.log"
    eventually is_connected
}

@test "the clock is synchronized with the servers that were set" {
    needs chronyd
    printf 'local stratum 3\nallow 203.0.113.0/24\nbindcmdaddress %s/chronyd.sock\ncmdport 0\npidfile %s/chronyd.pid\nuser root\n' "$folder" "$folder" \
        >"$folder/chrony.conf"
    wan chronyd -d -x -f "$folder/chrony.conf" >"$folder/clock.log" 2>&1 3>&- &
    wan_is_up
    qsc set Device.Time NTPServer1=192.0.2.77 NTPServer2= NTPServer3= Enable=1 --apply
    same "$(qsc -q get Device.Time Status)" Unsynchronized
    qsc set Device.Time NTPServer1=$provider --apply
    is_synchronized() { [ "$(qsc -q get Device.Time Status)" = Synchronized ]; }
    eventually is_synchronized
    qsc set Device.Time Enable=0 --apply
    same "$(qsc -q get Device.Time Status)" Disabled
}

@test "log lines reach the server that was set, with their prefix" {
    wan socat -u UDP-RECV:5140 OPEN:"$folder/remote",creat,append 3>&- &
    wan_is_up
    qsc set Device.X_QRN_RemoteLog Enable=1 Protocol=udp Server=$provider Port=5140 Prefix=hall --apply
    says_it() {
        router /host/usr/bin/python3 -c 'import socket; socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).sendto(b"it rains", "/var/run/lab/log.socket")' &&
            grep -q "hall: it rains" "$folder/remote"
    }
    eventually says_it
}
