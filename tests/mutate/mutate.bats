#!/usr/bin/env bats
# ./dev mutate on a library whose every mutant is known.

setup_file() {
    cmake -S "$BATS_TEST_DIRNAME/sample" -B "$BATS_FILE_TMPDIR/build" -G Ninja -DCMAKE_BUILD_TYPE=Release
    cmake --build "$BATS_FILE_TMPDIR/build"
}

setup() {
    list=$BATS_TEST_TMPDIR/equivalent.txt
    cat >"$list" <<'END'
in: limits/limits.cpp last_digit
line: if (value < 10) {
change: 10 to 9
change: condition to false
why: It only saves the division.
END
}

mutate() {
    "$BATS_TEST_DIRNAME/../../tools/mutate/mutate" --source "$BATS_TEST_DIRNAME/sample" \
        --build "$BATS_FILE_TMPDIR/build" --equivalent "$list" "$@" 2>/dev/null
}

@test "what tests see is caught, what none sees survives, and what changes nothing is not counted" {
    run mutate --all
    echo "$output"
    [ "$status" -eq 0 ]
    [ "$output" = "limits/limits.cpp:27: result dropped
in: limits/limits.cpp untested
line: return -value;
change: result dropped

limits/            15 of   16 caught (93 %)
not counted: 2 that do not build, 2 with the very same machine code
mutate: 15 of 16 caught (93 %)" ]
}

@test "a mutant that is listed as equivalent has to survive" {
    run mutate --listed
    [ "$status" -eq 0 ]
    [ "${lines[-1]}" = "mutate: 0 of 2 caught (0 %)" ]
    sed -i 's/10 to 9/10 to 11/' "$list"
    run mutate --listed
    [ "$status" -eq 1 ]
    [ "${lines[-1]}" = "mutate: 1 of 2 caught (50 %)" ]
}

@test "a listed line that is no longer there is reported" {
    run mutate --check
    [ "$status" -eq 0 ]
    sed -i 's/value < 10/value < 11/' "$list"
    run mutate --check
    [ "$status" -eq 1 ]
    [[ ${lines[0]} == *'lists "10 to 9" in limits/limits.cpp last_digit, which has no such line: if (value < 11) {' ]]
}
