# Completes the arguments of jsontree in bash.
# shellcheck shell=bash

_jsontree() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=show words
    COMPREPLY=()
    # bash takes `--output=FILE` for three words.
    if [[ $current == = ]]; then
        current=
    elif [[ $previous == = ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case ${COMP_WORDS[1]} in
    copy | columns) command=${COMP_WORDS[1]} ;;
    esac
    case $previous in
    --select | --depth | --records | --column) return ;;
    --set)
        compopt -o nospace 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -W "scale: rename: resize:" -- "$current")
        return
        ;;
    --output | --csv | --json-lines) ;;
    *)
        if [[ $current == -* ]]; then
            words="--output --pretty --compact --allow-comments --allow-trailing-commas --allow-nan"
            case $command in
            show) words+=" --select --depth --help --version" ;;
            columns) words+=" --records --lines --column --csv --json-lines --set" ;;
            esac
            mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
            return
        fi
        if [[ $COMP_CWORD -eq 1 ]]; then
            mapfile -t COMPREPLY < <(compgen -W "show copy columns" -- "$current")
        fi
        ;;
    esac
    compopt -o filenames 2>/dev/null
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current")
}
complete -F _jsontree jsontree
