# Completion of vitrel for bash.
_vitrel()
{
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
    local commands="play idle snapshot film configure compositions feed-url options xscreensaver doctor inspect make evaluate profile patches schema code wallpaper"
    local command=play words="" files="qtz"
    [[ " $commands " == *" ${COMP_WORDS[1]} "* ]] && ((COMP_CWORD > 1)) && command=${COMP_WORDS[1]}
    local saver="--file --demo --player --system-version --trace --input --sound --replay --view"
    COMPREPLY=()

    case $prev in
    --file) [[ $command == xscreensaver ]] && files="" ;;
    --style) words="mural fill backdrop" files=none ;;
    --output | -o | --trace | --replay) files="" ;;
    --graph) files="svg png" ;;
    --sound) words="on off" files="wav flac ogg mp3" ;;
    --size) words="1280x720 1920x1080 3840x2160" files=none ;;
    --window) words="1280x720 1920x1080 3840x2160" ;;
    --player | --system-version | --input | --window-id | --display | --after | --at | --fps | --seconds | --view | --open | --scale | --difference)
        return
        ;;
    *)
        case $command in
        play) words="$saver --window --window-id --root --random --panel --watch --no-fade --fade --monitors --display" ;;
        idle) words="--after --not-on-battery --status --version" files=none ;;
        snapshot) words="$saver --output --size --after --thumbnail --verbose" ;;
        film) words="--seconds --fps --size --demo --input --sound --replay --view --verbose" files="qtz webp gif y4m" ;;
        configure) ;;
        feed-url) words="--verbose" ;;
        options)
            words="--verbose"
            if ((COMP_CWORD > 2)) && [[ $cur != -* ]]; then
                compopt -o nospace 2>/dev/null
                words=$(vitrel options -- "${COMP_WORDS[2]}" 2>/dev/null | cut -f1 | sed 's/$/=/') files=none
            fi
            ;;
        compositions)
            words="list add remove use built-in random --verbose" files=none
            case ${COMP_WORDS[2]} in
            add) ((COMP_CWORD > 2)) && words="" files="qtz zip" ;;
            remove | use)
                if ((COMP_CWORD > 2)); then
                    compopt -o filenames 2>/dev/null
                    while IFS= read -r words; do
                        [[ $words == "$cur"* ]] && COMPREPLY+=("$words")
                    done < <(
                        vitrel compositions list 2>/dev/null | sed 's/^..//'
                        [[ ${COMP_WORDS[2]} == remove ]] || vitrel compositions built-in 2>/dev/null | sed 's/^..//'
                    )
                    return
                fi
                ;;
            random) ((COMP_CWORD > 2)) && words="on off" ;;
            list | built-in) ((COMP_CWORD > 2)) && words="" ;;
            esac
            ;;
        xscreensaver) words="add remove status --file" files=none ;;
        doctor) words="--player --system-version" files=none ;;
        inspect) words="--source --graph --open" ;;
        make) words="--strict" files="json qtz" ;;
        patches) words="--json $(vitrel patches 2>/dev/null | sed -n 's/^  \([^ ]\{1,\}\).*/\1/p')" files=none ;;
        schema) files=none ;;
        evaluate) words="--at --fps --input --replay --view" ;;
        profile) words="--seconds --size --json --input --sound --replay --view" ;;
        code) words="--qr --barcode --scale" files=png ;;
        wallpaper) words="--size --style --difference" files="png jpg jpeg gif webp tif tiff" ;;
        esac
        words="$words --help"
        if ((COMP_CWORD == 1)); then
            words="$commands $words --version"
        fi
        # Options of play stand for it, and only they begin with a dash.
        [[ $cur == -* ]] && files=none
        ;;
    esac

    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    [[ $files == none ]] && return
    # The shell's own way with names: blanks are quoted, folders get a slash.
    compopt -o filenames 2>/dev/null
    local name
    while IFS= read -r name; do
        [[ -z $files || -d $name || " $files " == *" ${name##*.} "* ]] && COMPREPLY+=("$name")
    done < <(compgen -f -- "$cur")
}
complete -F _vitrel vitrel
