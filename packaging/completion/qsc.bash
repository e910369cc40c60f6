# Completion of qsc in bash: commands, options, paths, names and values, straight from the library.
# shellcheck shell=bash

# _qsc_paths ABOVE: what can follow a path, which ends with a dot or is empty: one part further.
_qsc_paths() {
    # shellcheck disable=SC2086  # without a path, no argument
    qsc -q list ${1:-} 2>/dev/null | awk -v above="$1" '
        index($0, above) == 1 && length($0) > length(above) {
            rest = substr($0, length(above) + 1)
            dot = index(rest, ".")
            print above (dot ? substr(rest, 1, dot) : rest)
        }' | sort -u
}

# _qsc_names PATH: the parameters of an object.
_qsc_names() { qsc -q list "$1" 2>/dev/null | grep -v -F .; }

# _qsc_values PATH NAME: the words that a parameter takes.
_qsc_values() {
    qsc --json list "$1" 2>/dev/null | sed -n "/\"name\":\"$2\"/,/}/ {
        s/.*\"type\":\"boolean\".*/0|1/p
        s/.*\"values\":\"\(.*|.*\)\".*/\1/p
    }" | tr '|' '\n'
}

_qsc() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' path='' index each above=''
    for ((index = 1; index < COMP_CWORD; ++index)); do
        each=${COMP_WORDS[index]}
        case $each in
        --as | --queue | --hash | --id | --confirm | --check | --retries) ((++index)) ;;
        -* | = | :) ;;
        *)
            if [ -z "$command" ]; then
                command=$each
            elif [ -z "$path" ] || { [[ $each == *.* ]] && [ "${COMP_WORDS[index - 1]}" != = ]; }; then
                path=$each
            fi
            ;;
        esac
    done
    [[ $word != *.* ]] || above=${word%.*}.
    local choices
    if [[ $word == -* ]]; then
        choices='--apply --hash --id --confirm --check --retries --json --as --queue --socket --quiet --verbose --help'
    elif [ "$before" = --as ]; then
        choices='TR69 WEB SERVD CLI POLLD OTHER VOIP MQTT DHCP'
    elif [ -z "$command" ]; then
        choices='get set add delete plan apply commit service list request batch log watch audit history show rollback confirm extend cancel pending stats access version'
    elif [ "$word" = = ] || [ "$before" = = ]; then
        each=${COMP_WORDS[COMP_CWORD - 1]}
        [ "$word" = = ] || each=${COMP_WORDS[COMP_CWORD - 2]}
        word=${word#=}
        [[ $each != *.* ]] || path=${each%.*}
        choices=$(_qsc_values "$path" "${each##*.}")
    elif [ -z "$path" ] || [ -n "$above" ]; then
        choices=$(_qsc_paths "$above")
        compopt -o nospace
        # The parameters of an object go with its path as well.
        if [ -n "$above" ] && qsc -q list "$above" 2>/dev/null | grep -q -x -F -e "${above%.}" -e "$above"; then
            case $command in
            get) choices+=" $(_qsc_names "${above%.}" | sed "s/^/$above/")" ;;
            set) choices+=" $(_qsc_names "${above%.}" | sed "s/^/$above/; s/$/=/")" ;;
            esac
        fi
    else
        case $command in
        get) choices=$(_qsc_names "$path") ;;
        set | add)
            choices=$(_qsc_names "$path" | sed 's/$/=/')
            compopt -o nospace
            ;;
        service) choices='start stop restart reload' ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _qsc qsc
