#!/usr/bin/env bats
load device.bash

path=Device.X_QRN_RemoteAccess.SSH
key="ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIHNpbXVsYXRlZCBrZXkgb2YgdGhlIHRlc3RzIDAwMDAx anna@home"
keys=etc/dropbear/authorized_keys

rule() {
    awk '/^config/ { on = $3 == "\047qrn_ssh_wan\047" } on && /option/ {
        gsub("\047", ""); sub(/^[ \t]*option /, ""); printf "%s;", $0 }' "$state/etc/config/firewall"
}

@test "the server's settings are set and read back" {
    same "$(qsc -q get $path | tr '\n' ';')" "22;0;;;1;1;1;0;1;Error;"
    qsc set $path Port=2222 IdleTimeout=300 --apply
    same "$(qsc -q get $path Port IdleTimeout | tr '\n' ';')" "2222;300;"
    same "$(journal)" "/etc/init.d/dropbear restart
/etc/init.d/firewall restart"
    same "$(rule)" ""
    run qsc set $path Port=70000
    same "$output" "qsc: $path: Port: 70000 is not 1 to 65535"
    qsc set Device.X_QRN_RemoteAccess.Telnet Enable=1
    run qsc set $path Port=23
    same "$output" "qsc: $path: Port: port 23 is that of Telnet"
}

@test "the firewall lets in from the WAN what is asked for, and follows the port" {
    qsc set $path WANAccess=0 WANSourcePrefix= --apply
    same "$(rule)" ""
    qsc set $path WANAccess=1 WANSourcePrefix=198.51.100.0/24 --apply
    same "$(rule)" "name SSH from WAN;src wan;proto tcp;target ACCEPT;enabled 1;dest_port 22;src_ip 198.51.100.0/24;"
    qsc set $path Port=2222 WANAccess=0 --apply
    same "$(rule)" "name SSH from WAN;src wan;proto tcp;target ACCEPT;enabled 0;dest_port 2222;src_ip 198.51.100.0/24;"
    same "$(qsc -q get $path WANAccess WANSourcePrefix | tr '\n' ';')" "0;198.51.100.0/24;"
    run qsc set $path WANSourcePrefix=198.51.100.0
    same "$output" "qsc: $path: WANSourcePrefix: '198.51.100.0' is no address with a prefix length"
}

@test "keys are replaced whole, by the service" {
    mkdir -p "$state/etc/dropbear"
    echo "# by hand" >"$state/$keys"
    qsc set $path AuthorizedKeys="$key"$'\n\n'"$key"
    same "$(cat "$state/$keys")" "# by hand"
    same "$(qsc -q get $path AuthorizedKeys)" "$key\n$key"
    qsc commit $path
    qsc service $path reload
    same "$(cat "$state/$keys")" "$key
$key"
    same "$(stat -c %a "$state/$keys" "$state/etc/dropbear" | tr '\n' ' ')" "600 700 "
    same "$(events)" "set ssh AuthorizedKeys by CLI"
    same "$(ls "$state/etc/dropbear")" authorized_keys
}
