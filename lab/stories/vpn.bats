#!/usr/bin/env bats
load ../lab.bash

# A certificate of one's own for each end.
make_certificates() {
    local name
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "$folder/ca.key" -out "$folder/ca.pem" -days 2 \
        -subj /CN=ca 2>/dev/null
    for name in server client; do
        openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout "$folder/$name.key" -out "$folder/$name.csr" \
            -subj /CN=$name 2>/dev/null
        openssl x509 -req -in "$folder/$name.csr" -CA "$folder/ca.pem" -CAkey "$folder/ca.key" -CAcreateserial -days 2 \
            -out "$folder/$name.pem" 2>/dev/null
    done
}

@test "OpenVPN carries what is sent between two ends" {
    needs openvpn openssl
    wan ip tuntap add name tun9 mode tun 2>/dev/null || skip "tun devices are not there, or not allowed"
    make_certificates
    wan openvpn --dev tun9 --dev-type tun --mode server --tls-server --topology subnet --ifconfig 10.8.0.1 255.255.255.0 \
        --ifconfig-pool 10.8.0.10 10.8.0.20 --push "topology subnet" --proto udp --local $provider --port 1194 --ca "$folder/ca.pem" \
        --cert "$folder/server.pem" --key "$folder/server.key" --dh none --keepalive 1 5 --script-security 2 \
        --auth-user-pass-verify "$LAB/check_password" via-file --tmp-dir "$folder" >"$folder/server.log" 2>&1 3>&- &
    wan_is_up
    file=$(
        printf 'client\nproto udp\nremote %s 1194\nnobind\nauth-user-pass\nremote-cert-tls server\n' $provider | grep -v remote-cert
        printf '<ca>\n%s\n</ca>\n<cert>\n%s\n</cert>\n<key>\n%s\n</key>\n' "$(cat "$folder/ca.pem")" "$(cat "$folder/client.pem")" \
            "$(cat "$folder/client.key")"
    )
    qsc set Device.X_QRN_VPN.4 Username=anna Password=geheim ConfigurationFile="$file" Enable=1 --apply
    is_up() { [ "$(qsc -q get Device.X_QRN_VPN.4 Status)" = Up ]; }
    eventually is_up
    [[ $(qsc -q get Device.X_QRN_VPN.4 IPAddress) == 10.8.0.1? ]]
    reaches router 10.8.0.1
    # Clients of the LAN go by the tunnel's zone, which is that of the WAN.
    settle lan1
    reaches lan1 10.8.0.1
    qsc set Device.X_QRN_VPN.4 Enable=0 --apply
    run router_net ip link show dev vpn4
    [ "$status" -ne 0 ]
    same "$(qsc -q get Device.X_QRN_VPN.4 Status)" Disabled
}

@test "a GRE tunnel carries what is sent between two ends" {
    ip link add lab-gre type gre local 192.0.2.1 remote 192.0.2.2 2>/dev/null || skip "this kernel has no GRE"
    ip link del lab-gre
    qsc set Device.X_QRN_VPN.5 RemoteAddress=$provider Key=7 TunnelIPAddress=10.5.0.2 TunnelSubnetMask=255.255.255.0 Enable=1 --apply
    wan_is_up
    wan ip link add gre1 type gre local $provider remote "$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)" key 7
    wan ip addr add 10.5.0.1/24 dev gre1
    wan ip link set gre1 up
    reaches router 10.5.0.1
}

@test "a GRE-TAP tunnel joins a zone's bridge" {
    ip link add lab-gre type gretap local 192.0.2.1 remote 192.0.2.2 2>/dev/null || skip "this kernel has no GRE-TAP"
    ip link del lab-gre
    wan_is_up
    qsc set Device.X_QRN_VPN.6 RemoteAddress=$provider Zone=Device.X_QRN_NetworkZone.1 Enable=1 --apply
    wan ip link add gre1 type gretap local $provider remote "$(qsc -q get Device.IP.Interface.1 X_QRN_IPAddress)"
    wan ip addr add 192.168.1.99/24 dev gre1
    wan ip link set gre1 up
    settle lan1
    reaches lan1 192.168.1.99
}
