#!/usr/bin/env bash
# Installs the build into a scratch folder and builds, links and runs a C and a C++ program against it.
#   run.sh BUILD_FOLDER C_COMPILER
set -eu
build=$1
cc=$2
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/usr" >"$scratch/install.log"
libdir=$(dirname "$(find "$scratch/usr" -name libqsyscmdhal.so)")
zlog=$(ldd "$build/lib/libqsyscmdhal.so" | sed -n 's/.*libzlog[^ ]* => \(.*\)\/libzlog.*/\1/p')
export LD_LIBRARY_PATH=$libdir:$zlog PKG_CONFIG_PATH=$libdir/pkgconfig
# As on a device: what the library itself needs is found at run time, not at link time.
export LDFLAGS=-Wl,--allow-shlib-undefined

# shellcheck disable=SC2046  # pkg-config answers several words
"$cc" -std=c99 -Wall -Werror "$here/consumer.c" -o "$scratch/c" \
    $(pkg-config --cflags --libs qsyscmdhal) $LDFLAGS
[ "$("$scratch/c")" = "0.0.1" ]

cmake -S "$here" -B "$scratch/cxx" -DCMAKE_PREFIX_PATH="$scratch/usr" >"$scratch/configure.log"
cmake --build "$scratch/cxx" >"$scratch/build.log"
[ "$("$scratch/cxx/consumer")" = "CLI" ]

for needed in "$libdir"/libqsyscmdhal.so.1 "$libdir"/libqrnuci.so.1 "$scratch/usr/bin/qsc" \
    "$scratch/usr/share/qsyscmdhal/zlog.conf"; do
    [ -e "$needed" ] || { echo "not installed: $needed" && exit 1; }
done
[ "$("$scratch/usr/bin/qsc" version | head -n 1)" = "halver  = 0.0.1" ]
! readelf -d "$libdir/libqsyscmdhal.so" "$scratch/usr/bin/qsc" | grep -E 'RPATH|RUNPATH' ||
    { echo "a build path went along" && exit 1; }

# The packages hold the same, and work where they are unpacked.
cpack --config "$build/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/cpack.log" 2>&1 ||
    { cat "$scratch/cpack.log" && exit 1; }
for package in "$scratch"/packages/*.deb; do
    dpkg-deb -x "$package" "$scratch/root"
done
[ "$(find "$scratch/packages" -maxdepth 1 -name '*.deb' | wc -l)" -eq 3 ]
export LD_LIBRARY_PATH=$scratch/root/usr/lib:$zlog
[ "$("$scratch/root/usr/bin/qsc" version | head -n 1)" = "halver  = 0.0.1" ]
"$scratch/root/usr/sbin/qscd" --help >/dev/null
ls "$scratch/root/usr/share/man/man1/qsc.1" "$scratch/root/usr/include/qsyscmdhal/qsyscmdhal.h" >/dev/null
