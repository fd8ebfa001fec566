# Completion of the command vesta2 for bash. The command knows what could stand where.

# The words of another program begin within the line, with this text.
_vesta2_program() {
    local program=$1 rest=${COMP_LINE:0:COMP_POINT} at
    for ((at = 0; at < COMP_CWORD && ${#rest} > ${#program}; ++at)); do
        rest=${rest#*"${COMP_WORDS[at]}"}
        rest=${rest#"${rest%%[![:space:]]*}"}
    done
    if declare -F _command_offset >/dev/null; then
        _command_offset "$at"
    elif ((at == COMP_CWORD)); then
        mapfile -t COMPREPLY < <(compgen -c -- "$2")
    else
        compopt -o default
    fi
}

_vesta2() {
    local lines how
    mapfile -t lines < <(
        command vesta2 __complete line "${COMP_LINE:0:COMP_POINT}" "$2" 2>/dev/null)
    how=${lines[0]-}
    COMPREPLY=("${lines[@]:1}")
    COMPREPLY=("${COMPREPLY[@]%%$'\t'*}")
    case $how in
    program\ *) _vesta2_program "${how#program }" "$2" ;;
    quote) compopt -o filenames ;;
    esac
    if [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == *[=/] ]]; then
        compopt -o nospace
    fi
}

complete -F _vesta2 vesta2
