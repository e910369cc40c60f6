# shellcheck shell=bash
# The unit tests on other CPUs: a 32-bit ARM, and a 64-bit machine that has the big end first. Debian's cross
# compilers build them against Debian's own libraries for those CPUs, and qemu runs them.

# The tests whose results depend on the CPU: sizes, byte order, alignment, signs of characters.
cpu_tests='test_library|test_messages|test_uci_builtin.FileFormat'

# check_cpu ARCHITECTURE TRIPLET PROCESSOR QEMU
check_cpu() {
    local architecture=$1 triplet=$2 processor=$3 qemu=$4
    if ! dpkg --print-foreign-architectures | grep -qx "$architecture"; then
        [ "$(id -u)" -eq 0 ] || die "run as root, or install the cross packages of $architecture yourself"
        dpkg --add-architecture "$architecture"
    fi
    need "g++-$triplet" qemu-user "libstdc++6:$architecture" "libjson-c-dev:$architecture" "libgtest-dev:$architecture"
    need_zlog "$architecture"
    PKG_CONFIG_LIBDIR=/usr/lib/$triplet/pkgconfig:/usr/share/pkgconfig configure_and_build "build/$architecture" cpu_tests \
        -DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_SYSTEM_PROCESSOR=$processor" "-DCMAKE_C_COMPILER=$triplet-gcc" \
        "-DCMAKE_CXX_COMPILER=$triplet-g++" "-DCMAKE_LIBRARY_ARCHITECTURE=$triplet" \
        "-DCMAKE_CROSSCOMPILING_EMULATOR=$qemu" -DQSC_UCI=builtin "-DQSC_DEPS=build/deps-$architecture" \
        "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1"
    run_tests "$architecture under $qemu" "build/$architecture" -R "$cpu_tests"
}

check_cpus() {
    setup
    check_cpu armhf arm-linux-gnueabihf arm qemu-arm
    check_cpu s390x s390x-linux-gnu s390x qemu-s390x
    # shellcheck disable=SC2154  # build.sh sets them
    printf 'check-cpus: %d passed, %d failed, %d skipped on 32-bit ARM and on big-endian s390x\n' \
        "$passed" "$failed" "$skipped"
    [ "$failed" -eq 0 ]
}
