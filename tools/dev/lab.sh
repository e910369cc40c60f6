# shellcheck shell=bash
# The lab: real programs from Debian's packages, unpacked below build/lab/root. Nothing is installed, so that none of
# these services starts on this machine.

lab_packages=(busybox chrony conntrack dnsmasq-base dropbear-bin iproute2 lldpd mosquitto mosquitto-clients nftables openvpn
    snmp snmpd snmptrapd)

# Packages that cannot be had are named in a file; the stories that need them are skipped.
need_lab_programs() {
    local folder=$PWD/build/lab package name missing
    [ ! -e "$folder/complete" ] || [ tools/dev/lab.sh -nt "$folder/complete" ] || return 0
    mkdir -p "$folder/packages" "$folder/root"
    [ "$(id -u)" -ne 0 ] || apt-get update -qq >&2 || say "A package index could not be fetched; going on with those there are"
    missing=0
    for package in "${lab_packages[@]}"; do
        # What the machine has already is left out: its own program is used.
        for name in $(apt-get -s -qq --no-install-recommends install "$package" 2>/dev/null | awk '/^Inst/ { print $2 }'); do
            compgen -G "$folder/packages/${name}_*.deb" >/dev/null ||
                (cd "$folder/packages" && apt-get -qq -o APT::Sandbox::User=root download "$name" >&2) || missing=$((missing + 1))
        done
    done
    for package in "$folder"/packages/*.deb; do
        [ ! -e "$package" ] || dpkg-deb -x "$package" "$folder/root"
    done
    [ "$missing" -eq 0 ] || {
        say "$missing packages of the lab could not be had; their stories are skipped"
        return 0
    }
    touch "$folder/complete"
}

lab() {
    build_plain
    need_lab_programs
    exec lab/run "$@"
}
