# Sourced by the device's tools: writes what the tool was asked to the journal, one line a call.
# Whatever an argument holds, it can neither end its line nor pass for another argument.
# shellcheck shell=sh

sim_state=/var/lib/sim

# Prints one word as a shell would take it back; control characters are shown as \OOO.
sim_word() {
    case $1 in
    '' | *[!A-Za-z0-9_./:=,+@%-]*)
        printf '%s.' "$1" | LC_ALL=C awk -v quote="'" '
            BEGIN { for (i = 1; i < 256; ++i) code[sprintf("%c", i)] = i; RS = "\001\002\003" }
            {
                text = substr($0, 1, length($0) - 1)
                printf "%s", quote
                for (i = 1; i <= length(text); ++i) {
                    c = substr(text, i, 1)
                    if (c == quote) printf "%s\\%s%s", quote, quote, quote
                    else if (code[c] < 32 || code[c] == 127) printf "\\%03o", code[c]
                    else printf "%s", c
                }
                printf "%s", quote
            }'
        ;;
    *) printf '%s' "$1" ;;
    esac
}

# journal ARGUMENT...: writes the tool's own path and its arguments.
journal() {
    line=$0
    for word in "$@"; do
        line="$line $(sim_word "$word")"
    done
    printf '%s\n' "$line" >>/var/log/journal.txt
}

# sim_read INTERFACE KEY DEFAULT: prints a driver value.
sim_read() {
    if [ -f "$sim_state/$1/$2" ]; then cat "$sim_state/$1/$2"; else printf '%s' "$3"; fi
}

# sim_write INTERFACE KEY VALUE: keeps a driver value, byte for byte.
sim_write() {
    mkdir -p "$sim_state/$1"
    printf '%s' "$3" >"$sim_state/$1/$2"
}

# sim_radio INTERFACE: prints the main interface of an interface's radio.
sim_radio() {
    case $1 in
    rax[0-7]) echo rax0 ;;
    ra[0-7]) echo ra0 ;;
    *) return 1 ;;
    esac
}

# Ends the tool with exit code 1 when the file fail/NAME says that it is broken.
sim_maybe_fail() {
    [ ! -e "$sim_state/fail/${0##*/}" ] || exit 1
}
