# Completion of the command vesta2 for bash.

# The command's own words, without its options: "create result" or "flag set", for example.
_vesta2_command() {
    local word skip= words=()
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if [[ $skip ]]; then
            skip=
            continue
        fi
        case $word in
        -C | --color) skip=1 ;;
        -*) ;;
        *) words+=("$word") ;;
        esac
    done
    if [[ ${words[0]} == create || ${words[0]} == flag ]]; then
        echo "${words[*]:0:2}"
    else
        echo "${words[0]}"
    fi
}

# Where the words of a program begin that "collect" or "flag run" is to run: at the current word or
# before it, or nothing.
_vesta2_program() {
    local at skip= words=()
    for ((at = 1; at <= COMP_CWORD; ++at)); do
        # Bash makes three words of NAME=VALUE.
        if [[ ${COMP_WORDS[at]} == '=' ]]; then
            skip=1
            continue
        fi
        if [[ $skip ]]; then
            skip=
            continue
        fi
        case ${COMP_WORDS[at]} in
        --)
            ((at == COMP_CWORD)) || echo $((at + 1))
            return
            ;;
        -C | --color | --name | --into | --var | --env | --tag | --note | --result-file | \
            --interval | --wait) skip=1 ;;
        -*) ;;
        *)
            words+=("${COMP_WORDS[at]}")
            if [[ ${words[0]} == collect && ${#words[@]} == 2 ]] ||
                [[ ${words[*]:0:2} == 'flag run' && ${#words[@]} == 5 ]]; then
                echo "$at"
                return
            fi
            ;;
        esac
    done
}

_vesta2() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local general='-C --json --color --quiet --verbose --help'
    local choices= command word
    COMPREPLY=()

    word=$(_vesta2_program)
    if [[ $word ]]; then
        if ((word == COMP_CWORD)); then
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
        else
            compopt -o default
        fi
        return
    fi

    case $previous in
    --color) choices='auto always never' ;;
    --kind) choices='result experiment project' ;;
    --state) choices='incomplete collecting orphaned finalized invalid unreadable missing' ;;
    --sort | --columns | --group-by)
        choices='name kind state when host rank elapsed cpu memory exit tag note pinned size link command' ;;
    --format) choices='table tsv csv json jsonl' ;;
    --name | --var | --tag | --note | --interval | --mask | --limit | --keep | --keep-* | --max-size | \
        --exclude | --ext | --where | --unset | --key | --tolerance | --wait) return ;;
    --env)
        mapfile -t COMPREPLY < <(compgen -e -- "$current")
        return
        ;;
    -C | --into | --to)
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    *)
        command=$(_vesta2_command)
        case $command in
        '') choices='collect create get list show set tag note pin unpin diff files add unlink
            rename relink copy move duplicate export import flag finalize invalidate remove purge check doctor --version' ;;
        create) choices='result experiment project' ;;
        flag) choices='list set clear run' ;;
        esac
        if [[ $current == -* ]]; then
            case $command in
            collect) choices='--name --into --var --env --tag --note --result-file --capture
                --interval --' ;;
            'create result') choices='--into --literal --overwrite --yes --var' ;;
            get) choices='--literal --var' ;;
            list) choices='--where --mask --kind --state --columns --sort --limit --reverse --group-by
                --format --recursive --long' ;;
            show) choices='--where --key' ;;
            set) choices='--where --unset' ;;
            tag | pin | unpin) choices='--where' ;;
            diff) choices='--where --reference --tolerance --all --format' ;;
            'create experiment' | 'create project') choices='--into' ;;
            add) choices='--where --to' ;;
            copy | move) choices='--where --keep-name' ;;
            duplicate | unlink | finalize | invalidate) choices='--where' ;;
            export) choices='--where --exclude' ;;
            import) choices='--ext' ;;
            'flag set') choices='--wait' ;;
            'flag clear') choices='--force' ;;
            'flag run') choices='--wait --' ;;
            remove) choices='--where --yes --dry-run' ;;
            purge) choices='--keep --keep-within --keep-daily --keep-weekly --keep-monthly --keep-tag
                --max-size --mask --where --yes --dry-run' ;;
            check) choices='--repair' ;;
            esac
            choices+=" $general"
        fi
        ;;
    esac

    if [[ $choices ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$current")
    else
        compopt -o filenames
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -F _vesta2 vesta2
