# Completion of feedkit for bash.
_feedkit()
{
    COMPREPLY=()
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    --watch | -j | --jobs) ;;
    --opml) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}") ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W "--kind --entries --table --to-opml --discover --opml --pretty --lenient --watch --jobs --help --version" -- "${COMP_WORDS[COMP_CWORD]}")
        ;;
    esac
}
complete -o default -F _feedkit feedkit
