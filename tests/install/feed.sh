#!/usr/bin/env bash
# Lets the feed's packages install themselves from a staged build, with a build system of a few lines in the place
# of the real one, and starts qscd as its init script would.
#   feed.sh BUILD_FOLDER
set -eu
build=$1
feed=$(cd "$(dirname "$0")/../../packaging/openwrt/qsyscmdhal" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

DESTDIR=$scratch/stage cmake --install "$build" --prefix /usr >"$scratch/install.log"
mkdir "$scratch/include"
touch "$scratch/include/package.mk" "$scratch/include/cmake.mk"
cat >"$scratch/rules.mk" <<'RULES'
INCLUDE_DIR = $(TOPDIR)/include
PKG_INSTALL_DIR = $(TOPDIR)/stage
INSTALL_DIR = install -d -m0755
INSTALL_BIN = install -m0755
INSTALL_CONF = install -m0600
CP = cp -fpR
define BuildPackage
$(if $(and $(Package/$(1)),$(Package/$(1)/install)),,$(error $(1) is not described))
all: $(1)
$(1):
	$$(call Package/$(1)/install,$(TOPDIR)/root)
	$$(foreach file,$$(Package/$(1)/conffiles),test -f $(TOPDIR)/root$$(file) &&) true
endef
RULES
# The libraries stand in /usr/lib there, whatever this machine calls its folder.
libdir=$(dirname "$(find "$scratch/stage" -name libqsyscmdhal.so)")
[ "$libdir" = "$scratch/stage/usr/lib" ] || cp -fpR "$libdir"/lib* "$scratch/stage/usr/lib/"
make -s -C "$feed" TOPDIR="$scratch"

zlog=$(ldd "$build/lib/libqsyscmdhal.so" | sed -n 's/.*libzlog[^ ]* => \(.*\)\/libzlog.*/\1/p')
export LD_LIBRARY_PATH=$scratch/root/usr/lib:$zlog
[ "$("$scratch/root/usr/bin/qsc" version | head -n 1)" = "halver  = 0.0.1" ]

# Every option that the init script gives is one that qscd takes.
# shellcheck disable=SC2317  # the init script calls them
command=$(
    config_load() { [ "$1" = qscd ]; }
    config_get() { eval "$1=\$(sed -n \"s/.*option $3 '\\(.*\\)'/\\1/p\" '$scratch/root/etc/config/qscd')"; }
    config_get_bool() { config_get "$@"; }
    procd_open_instance() { :; }
    procd_close_instance() { :; }
    procd_set_param() { [ "$1" != command ] || echo "${@:2}"; }
    procd_append_param() { echo "${@:2}"; }
    # shellcheck source=/dev/null
    . "$scratch/root/etc/init.d/qscd"
    start_service
)
[ "$command" = "/usr/sbin/qscd --socket /var/run/qscd.sock --access /etc/qscd.access --deadline 30 --service-deadline 120 --watchdog 60 --patience 30" ]
# shellcheck disable=SC2086  # a command line
"$scratch/root"${command/\/var\/run/$scratch} >"$scratch/words" &
daemon=$!
until [ -s "$scratch/words" ] || ! kill -0 "$daemon" 2>/dev/null; do sleep 0.05; done
kill "$daemon"
wait "$daemon"
