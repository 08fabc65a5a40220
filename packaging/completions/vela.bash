# Completion of vela in bash. Commands stand here; options come from the tool's own help.
_vela_commands() {
    case $1 in
        "") echo "version nfz tfr afqt fc fly station router bus demo" ;;
        nfz) echo "make inspect send read" ;;
        tfr) echo "make inspect send nearest map" ;;
        afqt) echo "start check stop watch log report" ;;
        fc) echo "log" ;;
        router) echo "run keys" ;;
        bus) echo "watch record replay dissector messages stats" ;;
    esac
}

_vela() {
    local word=${COMP_WORDS[COMP_CWORD]} command=() next words
    for next in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ " $(_vela_commands "${command[*]}") " == *" $next "* ]] || break
        command+=("$next")
    done
    words=$(_vela_commands "${command[*]}")
    case $word in
        -*) words=$("${COMP_WORDS[0]}" "${command[@]}" --help 2>/dev/null | grep -oE -- '--[a-z][a-z-]*' | sort -u) ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}

complete -o default -F _vela vela
