# Completion of muralis for bash.
_muralis()
{
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --port | --player) ;;
    *) mapfile -t COMPREPLY < <(compgen -W "--port --demo --player --wallpaper --help --version" -- "${COMP_WORDS[COMP_CWORD]}") ;;
    esac
}
complete -F _muralis muralis
