# shellcheck shell=bash
# Checks that need no run: one line each, saying what held or what to do.

lint_failed=0

# held TEXT; broken TEXT
held() { printf 'ok   %s\n' "$*"; }
broken() {
    printf 'FAIL %s\n' "$*"
    lint_failed=1
}

product_sources() { git ls-files 'apply/*.cpp' 'bacl/*.cpp' 'base/*.cpp' 'core/*.cpp' 'commands/*.cpp' 'handlers/*.cpp' 'log/*.cpp' \
    'messaging/*.cpp' 'uci/*.cpp' 'tools/*.cpp'; }

lint_format() {
    local files
    mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.c')
    if clang-format --dry-run -Werror "${files[@]}" 2>/dev/null; then
        held "format: ${#files[@]} files are as clang-format wants them"
    else
        broken "format: run clang-format -i on your files"
    fi
}

lint_tidy() {
    local sources
    # Only what this build compiles: a backend that is not built lacks its headers.
    mapfile -t sources < <(product_sources | while read -r source; do
        ! grep -q "\"file\": \"$PWD/$source\"" build/compile_commands.json || echo "$source"
    done)
    if printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build >build/tidy.log 2>/dev/null; then
        held "clang-tidy: ${#sources[@]} sources without a finding"
    else
        grep -E 'error:|warning:' build/tidy.log | head -n 20
        broken "clang-tidy: mend these, or say in .clang-tidy why a check does not apply"
    fi
}

lint_cppcheck() {
    local sources
    mapfile -t sources < <(product_sources)
    if cppcheck --quiet --error-exitcode=1 --std=c++20 --language=c++ --inline-suppr -I . -j "$(nproc)" \
        --enable=warning,performance,portability --suppressions-list=tools/dev/cppcheck.txt "${sources[@]}"; then
        held "cppcheck: no finding"
    else
        broken "cppcheck: mend these, or say in tools/dev/cppcheck.txt why not"
    fi
}

lint_shell() {
    local scripts
    mapfile -t scripts < <(git grep -lE '^#!.*(bash|/sh)$' -- . && git ls-files 'tools/dev/*.sh' '*/journal.sh')
    if shellcheck -x --source-path=SCRIPTDIR:. "${scripts[@]}"; then
        held "shellcheck: ${#scripts[@]} scripts without a finding"
    else
        broken "shellcheck: mend these"
    fi
}

lint_mutants() {
    if tools/mutate/mutate --check --build build; then
        held "mutants: the list of equivalent ones is current"
    else
        broken "mutants: mend tools/mutate/equivalent.txt"
    fi
}

# Names that a header exports: what stands before "(", "[" or ";" in each QSC_API declaration.
exported_names() {
    tr '\n' ' ' | sed 's/QSC_API/\n&/g' | sed -nE 's/^QSC_API [^;([]*[ *]([A-Za-z_0-9]+) *[[(;].*/\1/p' | sort
}

lint_names() {
    local library=$1
    shift
    local actual wanted
    actual=$(nm -D --defined-only "build/lib/$library" | awk '{ print $3 }' | grep -vE '^(_init|_fini)$' | sort)
    wanted=$(cat "$@" | exported_names)
    if [ "$actual" = "$wanted" ]; then
        held "names: $library exports the $(wc -l <<<"$wanted") names of its headers and nothing else"
    else
        diff <(echo "$wanted") <(echo "$actual") || true
        broken "names: $library and its headers differ ('<' is declared only, '>' is exported only)"
    fi
}

lint_binary() {
    local library=$1 dynamic headers
    dynamic=$(readelf -dW "build/lib/$library")
    headers=$(readelf -lW "build/lib/$library")
    if grep -q 'libstdc++' <<<"$dynamic"; then
        broken "hardening: $library needs libstdc++; look for what throws or allocates with new"
    elif ! grep -qE 'BIND_NOW|FLAGS.*NOW' <<<"$dynamic" || ! grep -q GNU_RELRO <<<"$headers" ||
        grep -E 'GNU_STACK' <<<"$headers" | grep -q E; then
        broken "hardening: $library lacks BIND_NOW or RELRO, or has an executable stack"
    else
        held "hardening: $library has BIND_NOW, RELRO, no executable stack, no libstdc++"
    fi
}

# The library's description of its interface, as abigail reads it from the debug information.
describe_abi() {
    abidw --exported-interfaces-only --headers-dir include --drop-private-types --no-show-locs --no-comp-dir-path --no-corpus-path \
        --type-id-style hash "build/lib/$1.so.1"
}

lint_abi() {
    local library=$1
    describe_abi "$library" >"build/$library.abi"
    if abidiff --suppressions packaging/abi/foreign.ini "packaging/abi/$library.abi" "build/$library.abi" \
        >"build/$library.abidiff"; then
        held "abi: $library has the interface that packaging/abi records"
    else
        head -n 30 "build/$library.abidiff"
        broken "abi: the interface of $library has changed; if that is meant, run ./dev accept-abi, and raise SOVERSION unless it has only grown"
    fi
}

accept_abi() {
    build_plain
    # shellcheck disable=SC2154  # setup.sh sets it
    need "${lint_packages[@]}"
    local library
    for library in libqrnuci libqsyscmdhal; do
        describe_abi "$library" >"packaging/abi/$library.abi"
    done
    say "packaging/abi records the interface as it is now"
}

# measure_size LIBRARY: its bytes stripped, and its relocations that are not packed.
measure_size() {
    strip -o build/stripped "build/lib/$1"
    echo "$(stat -c %s build/stripped) $(readelf -rW "build/lib/$1" | grep -cE ' R_')"
}

# lint_size LIBRARY: the last line about it in packaging/size is its bound.
lint_size() {
    local library=$1 most most_relocations size relocations
    read -r most most_relocations < <(awk -v library="$library" '$2 == library { bound = $3 " " $4 } END { print bound }' packaging/size)
    read -r size relocations < <(measure_size "$library")
    if [ "$size" -le "$most" ] && [ "$relocations" -le "$most_relocations" ]; then
        held "footprint: $library is $size bytes stripped (at most $most), with $relocations relocations (at most $most_relocations)"
    else
        broken "footprint: $library is $size bytes stripped (at most $most), with $relocations relocations (at most $most_relocations)"
    fi
}

# accept_size REASON: bounds the libraries by what they measure today.
accept_size() {
    [ -n "${1:-}" ] || die "usage: ./dev accept-size REASON"
    build_plain
    local library
    for library in libqrnuci.so.1 libqsyscmdhal.so.1; do
        printf '%s %s %s %s\n' "$(date +%F)" "$library" "$(measure_size "$library")" "$1" >>packaging/size
    done
    say "packaging/size bounds the libraries by their size as it is now"
}

# What the library keeps of a parameter besides its texts, its functions and its entry in an exported table.
lint_rows() {
    local rows bytes
    read -r rows bytes < <(nm -SC -t d build/lib/libqsyscmdhal.so.1 | awk '
        / qsc::kPacked<qsc::PackedRow/ { rows += $2 / 24; bytes += $2 }
        / qsc::kCells<.*Rows>/ { bytes += $2 }
        END { print rows, bytes }')
    if [ "$rows" -gt 0 ] && [ "$bytes" -le $((rows * 48)) ]; then
        held "footprint: $rows parameter rows take $((bytes / rows)) bytes each (at most 48)"
    else
        broken "footprint: $rows parameter rows take $bytes bytes, more than 48 each"
    fi
}

# What a process pays: memory of its own after the start, and no growth.
lint_memory() {
    local dirty growth
    cmake --build build --target footprint >/dev/null
    dirty=$(build/bin/footprint | sed -n 's/^dirty //p')
    growth=$(build/bin/footprint | sed -n 's/^growth //p')
    if [ "$dirty" -le 512 ] && [ "$growth" -eq 0 ]; then
        held "footprint: a process has $dirty KiB of private memory after Init (at most 512), 100000 requests $growth bytes of heap"
    else
        broken "footprint: a process has $dirty KiB of private memory after Init (at most 512), 100000 requests $growth bytes of heap (0)"
    fi
}

lint_headers() {
    local header
    for header in include/*.h; do
        if ! cc -fsyntax-only -std=c89 -pedantic -Wall -Werror -x c "$header" ||
            ! c++ -fsyntax-only -Wall -Werror -x c++ "$header"; then
            broken "headers: $header does not stand alone in C89 and C++"
            return
        fi
    done
    held "headers: each stands alone, in C89 and in C++"
}

# The folders from which each may include, besides itself and include/; docs/architecture.md says the same.
lint_dependencies() {
    local order='base:
uci: base
log: base
bacl: base log
messaging: base log
core: base log
commands: base log core
handlers: base log core
apply: base log core
tools: base core'
    if git grep -nE '^#include "[a-z]+/' -- 'base/*' 'uci/*' 'log/*' 'bacl/*' 'messaging/*' 'core/*' 'commands/*' 'handlers/*' \
        'apply/*' 'tools/*' | awk -F: -v order="$order" '
        BEGIN { rows = split(order, row, "\n")
            for (i = 1; i <= rows; ++i) { split(row[i], side, ":"); allowed[side[1]] = " include " side[1] side[2] " " } }
        { split($1, from, "/"); split($3, to, "[\"/]")
            if (index(allowed[from[1]], " " to[2] " ") == 0) { print $1 ":" $2 ": " $3; found = 1 } }
        END { exit !found }'; then
        broken "dependencies: these includes go against the order in docs/architecture.md"
    else
        held "dependencies: each folder includes only what docs/architecture.md allows"
    fi
}

lint_words() {
    if git grep -nIiE '\bthe spec(ification)?\b|\bper spec\b|\bPart [0-9]\.[0-9]|\bruling [0-9]+' -- . ':!tools/dev/lint.sh'; then
        broken "words: this project speaks for itself; say what the code does, not where it was asked for"
    else
        held "words: nothing points at documents outside the repository"
    fi
}

code_lines() { tr '\n' '\0' | xargs -0 -r cat | grep -cvE '^\s*$'; }

lint_share() {
    local all tests share
    all=$(git ls-files | grep -E '\.(cpp|cc|c|h|hpp|sh|py|bats)$|^dev$' | grep -vE 'corpus/|\.inc$' | code_lines)
    tests=$(git ls-files 'tests/*' | code_lines)
    share=$((100 * tests / all))
    if [ "$share" -ge 25 ] && [ "$share" -le 34 ]; then
        held "share: tests are $share of 100 code lines ($tests of $all)"
    else
        broken "share: tests are $share of 100 code lines ($tests of $all); wanted are 25 to 34"
    fi
}

# Devices' packages are built with other flags than ours, and with fortified headers.
lint_release() {
    configure_and_build build/release all -DBUILD_TESTING=OFF -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG "-DCMAKE_CXX_FLAGS=-Os -D_FORTIFY_SOURCE=2"
    held "release: builds without a warning as packages are built, with fortified headers"
}

lint() {
    build_plain
    # shellcheck disable=SC2154  # setup.sh sets it
    need "${lint_packages[@]}"
    lint_format
    lint_headers
    lint_words
    lint_dependencies
    lint_share
    lint_shell
    lint_mutants
    lint_names libqrnuci.so include/qrnuci.h
    local headers
    mapfile -t headers < <(git ls-files 'include/*.h' ':!include/qrnuci.h' ':!include/qsc_types.h')
    lint_names libqsyscmdhal.so "${headers[@]}"
    lint_binary libqrnuci.so
    lint_binary libqsyscmdhal.so
    lint_size libqrnuci.so.1
    lint_size libqsyscmdhal.so.1
    lint_rows
    lint_memory
    lint_release
    lint_abi libqrnuci
    lint_abi libqsyscmdhal
    lint_cppcheck
    lint_tidy
    [ "$lint_failed" -eq 0 ] || die "lint found something"
    say "lint: everything held"
}
