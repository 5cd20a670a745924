# Completion of feedkit for bash.
_feedkit()
{
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --watch | -j | --jobs) ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W "--kind --pretty --lenient --watch --jobs --help --version" -- "${COMP_WORDS[COMP_CWORD]}")
        ;;
    esac
}
complete -o default -F _feedkit feedkit
