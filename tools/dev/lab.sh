# shellcheck shell=bash
# The lab: real programs from Debian's packages, unpacked below build/lab/root. Nothing is installed, so that none of
# these services starts on this machine.

lab_packages=(busybox chrony conntrack dnsmasq-base dropbear-bin iproute2 lldpd mosquitto mosquitto-clients nftables openvpn
    snmp snmpd snmptrapd)

# lab_missing PACKAGE...: these and what they need, but for what the machine has already, whose own program is used.
lab_missing() { apt-get -s -qq --no-install-recommends install "$@" 2>/dev/null | awk '/^Inst/ { print $2 }'; }

# lab_download NAME...: one after the other only where all at once fail.
lab_download() {
    local name
    [ $# -gt 0 ] || return 0
    apt-get -qq -o APT::Sandbox::User=root download "$@" >&2 && return 0
    for name in "$@"; do
        apt-get -qq -o APT::Sandbox::User=root download "$name" >&2 || return 1
    done
}

# The stories whose programs cannot be had are skipped.
need_lab_programs() {
    local folder=$PWD/build/lab package names
    [ ! -e "$folder/complete" ] || [ tools/dev/lab.sh -nt "$folder/complete" ] || return 0
    say "Fetching the lab's programs"
    mkdir -p "$folder/packages" "$folder/root"
    names=$(lab_missing "${lab_packages[@]}") || for package in "${lab_packages[@]}"; do
        names+=" $(lab_missing "$package")" || say "$package cannot be had"
    done
    # shellcheck disable=SC2086  # words are what is meant
    if (cd "$folder/packages" && { lab_download $names || { [ "$(id -u)" -eq 0 ] && apt-get update -qq >&2 && lab_download $names; }; }); then
        touch "$folder/complete"
    else
        say "Not all of the lab's packages could be had; their stories are skipped"
    fi
    for package in "$folder"/packages/*.deb; do
        [ ! -e "$package" ] || dpkg-deb -x "$package" "$folder/root"
    done
}

lab() {
    build_plain
    need_lab_programs
    exec lab/run "$@"
}
