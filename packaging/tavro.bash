# Completion of the tavro command for bash.

_tavro_paths() {
    local path=${1%.*}
    [[ $1 == *.* ]] || path=
    # Names in the left column of the documentation, up to their brackets.
    "${COMP_WORDS[0]}" docs ${path:+"$path"} 2>/dev/null |
        sed -n "s/^    \([A-Za-z_][A-Za-z0-9_]*\)[(. ].*/${path:+$path.}\1/p"
}

_tavro() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local run_options="-I --strict --strict-errors --max-call-depth --allow --fps --for -v -q"
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(
            compgen -W "run eval check disasm docs repl monitor record texture --help --version" -- "$word")
        return
    fi
    case $before in
        -I) mapfile -t COMPREPLY < <(compgen -d -- "$word"); return ;;
        --max-call-depth | --allow | --fps | --for | --speed | --deck | --at) return ;;
    esac
    local options=
    case ${COMP_WORDS[1]} in
        run | eval) options=$run_options ;;
        check) options="-I --ast --strict --strict-errors -v" ;;
        disasm | repl) options="-I -v" ;;
        monitor) options="--speed --once --for --json --png" ;;
        record) options="-o --for" ;;
        texture) options="-o --deck --at" ;;
        docs) mapfile -t COMPREPLY < <(compgen -W "$(_tavro_paths "$word")" -- "$word"); return ;;
    esac
    if [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}

complete -F _tavro tavro
