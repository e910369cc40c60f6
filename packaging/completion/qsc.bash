# Completion of qsc in bash: commands, options, paths and parameter names, straight from the library's tables.
# shellcheck shell=bash

_qsc() {
    local word=${COMP_WORDS[COMP_CWORD]} command= path= index
    for ((index = 1; index < COMP_CWORD; ++index)); do
        case ${COMP_WORDS[index]} in
        --as | --queue) ((++index)) ;;
        -*) ;;
        *)
            if [ -z "$command" ]; then
                command=${COMP_WORDS[index]}
            elif [ -z "$path" ]; then
                path=${COMP_WORDS[index]}
            fi
            ;;
        esac
    done
    local choices
    if [[ $word == -* ]]; then
        choices='--apply --json --as --queue --verbose --help'
    elif [ "${COMP_WORDS[COMP_CWORD - 1]}" = --as ]; then
        choices='TR69 WEB SERVD CLI POLLD OTHER VOIP MQTT DHCP'
    elif [ -z "$command" ]; then
        choices='get set commit service list request batch log version'
    elif [ -z "$path" ]; then
        choices=$(qsc list 2>/dev/null | awk '{ print $2 }')
        compopt -o nospace
    else
        case $command in
        get) choices=$(qsc list "$path" 2>/dev/null | awk 'NF == 2 { print $2 }') ;;
        set)
            choices=$(qsc list "$path" 2>/dev/null | awk 'NF == 2 { print $2 "=" }')
            compopt -o nospace
            ;;
        service) choices='start stop restart reload' ;;
        esac
    fi
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
}
complete -F _qsc qsc
