# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Completion of velutils' command lines: families, commands, options, and the names there are.

_velutils_names() {
    local base=tmp i
    for ((i = 1; i < COMP_CWORD - 1; ++i)); do
        [ "${COMP_WORDS[i]}" != -b ] || base=${COMP_WORDS[i + 1]}
    done
    local directory=/tmp/status name
    case $base in nv) directory=/nvstatus ;; proc) directory=/proc ;; esac
    compopt -o nospace -o filenames 2>/dev/null
    while IFS= read -r name; do
        [ ! -d "$name" ] || name+=/
        COMPREPLY+=("${name#"$directory"}")
    done < <(compgen -f -- "$directory${1:-/}")
}

_velutils() {
    local word=$2 previous=$3 family=${COMP_WORDS[1]} command='' i words=''
    COMPREPLY=()
    case $previous in
        -b) mapfile -t COMPREPLY < <(compgen -W 'tmp nv proc' -- "$word"); return ;;
        --count | --timeout) return ;;
    esac
    for ((i = 2; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            -b) ((++i)) ;;
            -*) ;;
            *) command=${COMP_WORDS[i]}; break ;;
        esac
    done
    [ "$COMP_CWORD" -gt 1 ] || family='' command=''
    case $family/$command in
        /) words='status config lock events --help --version' ;;
        status/) words='get set link remove send list watch wait -b --help' ;;
        config/) words='check get list --help' ;;
        lock/) words='run list recover --help' ;;
        events/*) words="--json --help $(velutils events 2>/dev/null | cut -f 2)" ;;
        status/set) words='-b --in-place --help' ;;
        status/send | status/wait) words='-b --timeout --help' ;;
        status/list) words='-b --json --prometheus --help' ;;
        status/watch) words='-b --json --count --help' ;;
        status/*) words='-b --help' ;;
        lock/run) words="--try --timeout --help $(velutils lock list 2>/dev/null | cut -f 1)" ;;
        lock/recover) words="--help $(velutils lock list 2>/dev/null | cut -f 1)" ;;
        */*) words=--help ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    case $family/$command in
        status/?*) [[ $word == -* ]] || _velutils_names "$word" ;;
        config/?*) compopt -o default 2>/dev/null ;;
    esac
}

complete -F _velutils velutils
