# shellcheck shell=bash
# Installing what the other verbs need. Nothing is asked of the network when everything is there.

build_packages=(cmake dpkg-dev file ninja-build g++ pkgconf libjson-c-dev libgtest-dev bubblewrap bats python3 dnsmasq-base)
# shellcheck disable=SC2034  # lint.sh uses it
lint_packages=(abigail-tools clang-format clang-tidy cppcheck shellcheck binutils)

# need PACKAGE...: installs the packages that are missing.
need() {
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" -eq 0 ] ||
        die "these packages are missing; install them as root with: apt-get install ${missing[*]}"
    say "Installing ${missing[*]}"
    apt-get update -qq >&2 || say "A package index could not be fetched; going on with those there are"
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# The machine's own Debian mirror, as its package sources name it.
debian_mirror() {
    local codename file files=()
    # shellcheck disable=SC1091  # the system's own file
    codename=$(. /etc/os-release && printf '%s' "$VERSION_CODENAME")
    # Some awks stop at the first file that is not there.
    for file in /etc/apt/sources.list.d/*.sources /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [ ! -r "$file" ] || files+=("$file")
    done
    [ ${#files[@]} -gt 0 ] || return 0
    awk -v codename="$codename" '
        FNR == 1 { uri = "" }
        /^URIs:/ { uri = $2 }
        /^Suites:/ && uri != "" { for (i = 2; i <= NF; ++i) if ($i == codename) { print uri; exit } }
        /^deb / { for (i = 2; i < NF; ++i) if ($(i + 1) == codename) { print $i; exit } }
    ' "${files[@]}"
}

# zlog is packaged from Debian 13 on, and that package serves Debian 12 as well. It is unpacked under
# build/deps, or build/deps-ARCHITECTURE; the system's package sources stay as they are.
# need_zlog ARCHITECTURE: empty for this machine's own
need_zlog() {
    local architecture=$1 deps mirror options package
    deps=$PWD/build/deps${architecture:+-$architecture}
    [ ! -e "$deps/root/usr/include/zlog.h" ] || return 0
    mirror=$(debian_mirror)
    [ -n "$mirror" ] || die "no Debian mirror found in /etc/apt; set one up, or unpack zlog under $deps/root"
    say "Fetching zlog${architecture:+ for $architecture}"
    rm -rf "$deps"
    mkdir -p "$deps"/{lists/partial,cache/archives/partial,packages,root}
    echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror trixie main" >"$deps/sources.list"
    options=(-qq -o "Dir::Etc::sourcelist=$deps/sources.list" -o Dir::Etc::sourceparts=- -o "Dir::Cache=$deps/cache"
        -o "Dir::State::lists=$deps/lists" -o APT::Sandbox::User=root)
    apt-get "${options[@]}" update >&2
    (cd "$deps/packages" && apt-get "${options[@]}" download "libzlog1${architecture:+:$architecture}" \
        "libzlog-dev${architecture:+:$architecture}" >&2)
    for package in "$deps"/packages/*.deb; do
        dpkg-deb -x "$package" "$deps/root"
    done
    rm -rf "$deps/lists" "$deps/cache"
}

setup() {
    need "${build_packages[@]}"
    need_zlog ""
}
