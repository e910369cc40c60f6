# shellcheck shell=bash
# Building, testing, running.

# configure_and_build FOLDER TARGET [CMAKE_OPTION...]: warnings are errors here, but not for who packages a release
# with a compiler that nobody here has seen.
configure_and_build() {
    local folder=$1 target=$2
    shift 2
    mkdir -p "$folder"
    if ! { cmake -S . -B "$folder" -G Ninja -DCMAKE_COMPILE_WARNING_AS_ERROR=ON "$@" &&
        cmake --build "$folder" --target "$target"; } >"$folder/build.log" 2>&1; then
        grep -E 'error|Error|FAILED' -A 5 "$folder/build.log" | head -n 60 >&2
        die "the build in $folder failed; the whole log is $folder/build.log"
    fi
}

build_plain() {
    setup
    configure_and_build build all
}

run_device() {
    build_plain
    if [ $# -eq 0 ]; then
        sim/tour
    else
        sim/device qsc "$@"
    fi
}

passed=0
failed=0
skipped=0

# run_tests TITLE FOLDER [CTEST_OPTION...]: runs one build's tests and adds them to the tally.
run_tests() {
    local title=$1 folder=$2 log=$2/ctest.log
    shift 2
    say "== $title"
    ctest --test-dir "$folder" --output-on-failure --timeout 120 -j "$(nproc)" "$@" >"$log" 2>&1 || true
    awk '/\*\*\*Failed|\*\*\*Timeout|\*\*\*Exception|Not Run/ { failing = 1 } failing && ++lines <= 200' "$log" >&2
    local run
    run=$(grep -cE '^ *[0-9]+/[0-9]+ Test +#' "$log" || true)
    local skip fail
    skip=$(grep -cE '\*\*\*Skipped' "$log" || true)
    fail=$(grep -cE '^ *[0-9]+/[0-9]+ Test +#.*(\*\*\*Failed|\*\*\*Timeout|\*\*\*Exception|Not Run)' "$log" || true)
    [ "$run" -gt 0 ] || fail=$((fail + 1))
    passed=$((passed + run - skip - fail))
    failed=$((failed + fail))
    skipped=$((skipped + skip))
    grep -E '^Total Test time' "$log" >&2 || true
}

test_all() {
    build_plain
    need_lab_programs
    # Sanitizers look at what the code does, not at how fast: less optimizing builds sooner.
    configure_and_build build/asan all -DQSC_SANITIZE=address "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1"
    configure_and_build build/tsan threaded_tests -DQSC_SANITIZE=thread "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-O1 -g1"
    run_tests "plain" build
    run_tests "address and undefined-behaviour sanitizer" build/asan
    run_tests "thread sanitizer" build/tsan -L threads
    printf '%d passed, %d failed, %d skipped\n' "$passed" "$failed" "$skipped"
    [ "$failed" -eq 0 ]
}

stress() {
    build_plain
    QSC_STRESS_ROUNDS=$1 ctest --test-dir build -R "Processes|Soak" --timeout 3600 --output-on-failure
}

# bench [NAME]: runs the benchmarks whose names begin so, or all, and prints one table.
bench() {
    setup
    need libbenchmark-dev
    configure_and_build build/bench all -DQSC_BENCH=ON -DBUILD_TESTING=OFF
    local program table=build/bench/table.txt failed=0
    printf '%-20s %8s %8s  %-8s  %s\n' measure ratio bound verdict against | tee "$table"
    for program in build/bench/bench/bench_"${1:-}"*; do
        [ -x "$program" ] || die "there is no benchmark '$1'; there are: $(cd build/bench/bench && echo bench_*)"
        "$program" 2>"build/bench/${program##*/}.log" | tee -a "$table" || failed=1
    done
    [ "$failed" -eq 0 ] || die "a benchmark failed; see build/bench/bench_*.log"
    awk '/  held  / { held++ } /NOT HELD/ { broken = broken "; NOT HELD: " $1 " " $2 " (" $3 ")" }
        { bounds += /  held  |NOT HELD/ }
        END { printf "bench: %d of %d bounds held%s\n", held, bounds, broken }' "$table"
}

# fuzz [NAME]: runs the fuzzers whose names begin so, or all, each for QSC_FUZZ_SECONDS (30).
fuzz() {
    setup
    need clang libclang-rt-dev bubblewrap
    CC=clang CXX=clang++ configure_and_build build/fuzz fuzzers -DQSC_FUZZ=ON -DBUILD_TESTING=OFF
    local program name count=0
    for program in build/fuzz/fuzz/fuzz_"${1:-}"*; do
        [ -x "$program" ] || die "there is no fuzzer '$1'; there are: $(cd build/fuzz/fuzz && echo fuzz_*)"
        name=${program##*/fuzz_}
        mkdir -p "build/fuzz/corpus/$name"
        say "== $name"
        # What the library writes is not for this machine.
        bwrap --ro-bind / / --dev /dev --tmpfs /tmp --bind "$PWD" "$PWD" \
            "$program" -max_total_time="${QSC_FUZZ_SECONDS:-30}" -max_len=4096 -artifact_prefix="build/fuzz/$name-" \
            "build/fuzz/corpus/$name" "fuzz/corpus/$name" 2>&1 | tail -n 2 || die "fuzz: $name found a fault"
        count=$((count + 1))
    done
    echo "fuzz: $count fuzzers, no fault"
}

# mutate [OPTION...] [FOLDER...]
mutate() {
    setup
    bwrap --ro-bind / / true || die "bubblewrap is not allowed to make namespaces here, and mutants run in no other place"
    configure_and_build build/mutate all
    nice tools/mutate/mutate "$@"
}

reference() {
    build_plain
    QSC_WRITE_REFERENCE=1 build/tests/test_reference >/dev/null && say "docs/reference.md is written"
}
