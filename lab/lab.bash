# Loaded by the stories: a fresh network for each, and verbs to work with it.
# shellcheck shell=bash
#
#   wan                                router                               lan1, lan2
#   203.0.113.1, provider      eth0 -- eth1    br-lan (eth0, eth2)    -- eth0
#   198.18.0.10, a host

provider=203.0.113.1
far_host=198.18.0.10

setup() {
    needs busybox dnsmasq ip nft # every network is made with them
    folder=/run/lab/$BATS_TEST_NUMBER.$BATS_SUITE_TEST_NUMBER
    state=$folder/router
    mkdir -p "$folder"
    start_lab
}

teardown() {
    [ -n "${folder:-}" ] || return 0 # it was skipped
    [ "${BATS_TEST_COMPLETED:-}" = 1 ] || show_logs
    stop_lab
}

# What a story that failed leaves behind, for who has to find out why.
show_logs() {
    local file
    for file in "$state"/var/log/lab/* "$state"/var/log/journal.txt "$folder"/*.log; do
        [ ! -s "$file" ] || { echo "--- ${file##*/}" && tail -n 15 "$file"; }
    done
}

# needs PROGRAM...: skips a story whose programs are missing.
needs() {
    local program
    for program in "$@"; do
        command -v "$program" >/dev/null || skip "$program is not installed"
    done
}

# Some programs become another user, which takes the machine's root.
needs_root() {
    [ "$(awk '{ print $3 }' /proc/self/uid_map)" -gt 1 ] || skip "$1 needs root"
}

# same ACTUAL EXPECTED: compares, and shows both when they differ.
same() {
    [ "$1" = "$2" ] || {
        printf 'is:     %s\nwanted: %s\n' "$1" "$2"
        return 1
    }
}

# eventually COMMAND...: tries until it succeeds, for five seconds.
eventually() {
    local end=$((SECONDS + 5))
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -le $end ] || { echo "not within five seconds: $*" && return 1; }
        sleep 0.05
    done
}

# in_space NAME COMMAND...: runs a command in a network.
in_space() {
    local space=$1
    shift
    nsenter --net="/run/netns/$space" -- "$@"
}

wan() { in_space wan "$@"; }
client1() { in_space lan1 "$@"; }
client2() { in_space lan2 "$@"; }

# router COMMAND...: runs a command on the router, as a process of its own.
router() {
    nsenter --target "$router_pid" --mount --uts --ipc --net --pid -- /usr/bin/env -i \
        PATH=/opt/qsc/bin:/usr/sbin:/usr/bin:/sbin HOME=/root LANG=C.UTF-8 LD_LIBRARY_PATH="$router_libraries" "$@"
}

qsc() { router qsc "$@"; }

# A host's program in the router's network.
router_net() { in_space router "$@"; }

# cable SPACE DEVICE MAC SPACE DEVICE MAC
cable() {
    ip link add name "$2" netns "$1" address "$3" type veth peer name "$5" netns "$4" address "$6"
    in_space "$1" ip link set "$2" up
    in_space "$4" ip link set "$5" up
}

start_lab() {
    local space
    for space in wan router lan1 lan2; do
        ip netns add "$space"
        in_space "$space" ip link set lo up
    done
    cable wan eth0 02:00:00:00:01:01 router eth1 02:00:00:00:00:02
    cable router eth0 02:00:00:00:00:01 lan1 eth0 02:00:00:00:10:01
    cable router eth2 02:00:00:00:00:03 lan2 eth0 02:00:00:00:10:02
    wan ip addr add $provider/24 dev eth0
    wan ip addr add $far_host/32 dev lo
    start_provider
    start_router router
}

start_provider() {
    wan dnsmasq --no-daemon --conf-file=/dev/null --pid-file --bind-interfaces --interface=eth0 --except-interface=lo \
        --no-ping --no-resolv --no-hosts --dhcp-range=203.0.113.50,203.0.113.90,255.255.255.0,1h --dhcp-authoritative \
        --dhcp-leasefile="$folder/provider.leases" --dhcp-option=option:dns-server,$provider --address=/far.example/$far_host \
        --dhcp-option=option:router,$provider >"$folder/provider.log" 2>&1 3>&- &
}

# start_router SPACE: one with its files in $state; the verbs are for the one that was started last.
start_router() {
    local configuration tool device
    "$LAB/../sim/device" --build "$QSC_BUILD" --state "$state" --reset
    for configuration in "$LAB"/router/config/*; do
        cp "$configuration" "$state/etc/config/"
    done
    cp --remove-destination "$LAB"/router/init/* "$state/etc/init.d/"
    cp --remove-destination "$LAB/router/fw4" "$state/sbin/fw4"
    cp --remove-destination "$LAB/router/passwd" "$LAB/router/group" "$state/etc/"
    cp --remove-destination "$LAB/router/ubus" "$state/usr/bin/"
    install -m 0755 "$LAB/../packaging/openwrt/qsyscmdhal/files/mqtt.init" "$state/etc/init.d/mqtt"
    cp --remove-destination "$LAB/router/passwd-tool" "$state/usr/bin/passwd"
    mkdir "$state/mnt"
    # Tools that the library runs are the real ones, where there are any.
    for tool in conntrack lldpcli ping nslookup wget; do
        cp --remove-destination "$LAB/router/tool" "$state/usr/sbin/$tool"
    done
    rm -rf "$state/usr/share/sim/ubus"
    echo 1 | in_space "$1" tee /run/lab/proc/sys/net/ipv4/ip_forward >/dev/null
    # shellcheck disable=SC2016  # the router expands it
    nsenter --net="/run/netns/$1" -- "$LAB/../sim/device" --build "$QSC_BUILD" --state "$state" --lab /run/lab/router \
        sh -c 'echo "$LD_LIBRARY_PATH" >/tmp/ready && exec sleep 600' 3>&- &
    container=$!
    until [ -s "$state/tmp/ready" ]; do
        kill -0 $container || return 1
        sleep 0.01
    done
    router_pid=$(cat "/proc/$container/task/$container/children")
    router_pid=${router_pid%% *}
    router_libraries=$(cat "$state/tmp/ready")
    # What the kernel counts of its devices, where it may be seen.
    if nsenter --target "$router_pid" --mount --net -- /host/usr/bin/mount -t sysfs sysfs /mnt 2>/dev/null; then
        for device in eth0 eth1 br-lan; do
            rm -rf "$state/sys/class/net/$device/statistics"
            ln -s "/mnt/class/net/$device/statistics" "$state/sys/class/net/$device/statistics"
        done
    fi
    # shellcheck disable=SC2016  # the router expands it
    router sh -c 'for script in network firewall dnsmasq; do /etc/init.d/$script start || exit 1; done'
}

stop_lab() {
    local pid space
    kill -9 "$container"
    wait "$container" 2>/dev/null
    for space in wan router lan1 lan2; do
        for pid in $(ip netns pids "$space"); do
            kill -9 "$pid" 2>/dev/null
        done
        ip netns del "$space"
    done
    rm -rf "$folder"
    return 0
}

# lease SPACE: a client gets an address as DHCP gives it; what it was told is in the answer.
lease() {
    in_space "$1" busybox udhcpc -i eth0 -n -q -t 5 -T 1 -s "$LAB/client.script" "${@:2}" 2>/dev/null
}

# has_address SPACE ADDRESS
has_address() { in_space "$1" ip -4 -o addr show dev eth0 | grep -q "inet $2/"; }

# The router has its address on the WAN.
wan_is_up() { eventually test -s "$state/var/lib/sim/ubus/network.interface.wan.status.json"; }

# serve SPACE tcp|udp PORT NAME: a service of a host, for the whole story.
serve() {
    local file=$folder/$1-$2-$3.log
    in_space "$1" "$LAB/talk" serve "$2" "$3" "$4" >"$file" 2>&1 3>&- &
    eventually grep -q ready "$file"
}

# ask SPACE tcp|udp HOST PORT: what a service says to a host.
ask() { in_space "$1" "$LAB/talk" ask "${@:2}"; }

# answers WANTED SPACE tcp|udp HOST PORT; is_silent SPACE tcp|udp HOST PORT
answers() { same "$(ask "${@:2}")" "$1"; }
is_silent() {
    local answer
    ! answer=$(ask "$@") || {
        echo "it answers: $answer"
        return 1
    }
}

# A client with an address of its own and the router as its way out.
settle() { lease "$1" >/dev/null; }

# reaches SPACE ADDRESS; is_cut_off SPACE ADDRESS
reaches() { in_space "$1" busybox ping -q -c 1 -W 2 "$2"; }
is_cut_off() { ! in_space "$1" busybox ping -q -c 1 -W 1 "$2"; }

# resolve SPACE NAME [SERVER]: the address of a name, as the router or another server tells it.
resolve() { in_space "$1" busybox nslookup "$2" "${3:-192.168.1.1}" 2>/dev/null | awk '/^Name/ { found = 1 } found && /^Address/ { print $NF; exit }'; }

# resolves SPACE NAME ADDRESS: clients ask again, as a server may have just come back.
resolves() { test "$(resolve "$1" "$2")" = "$3"; }
