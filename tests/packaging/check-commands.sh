#!/bin/bash
# check-commands.sh SOURCE BIN: manuals and completions know every command and option that the programs' own help has,
# and nothing that desktops are told to start with has an option that isn't there.
set -eu
source=$1 bin=$2
PATH=$bin:$PATH
export XDG_CONFIG_HOME=/nonexistent
completions=$source/packaging/completions
bad=0
miss() { echo "$1" >&2; bad=1; }
# Of a help: the options' long names, and the commands.
options() { sed -n 's/^  *\(-[a-zA-Z],\)\{0,1\}\(--[a-z-]*\).*/\2/p; s/^  *[A-Z]*,\(--[a-z-]*\).*/\1/p' <<<"$1"; }
commands() { sed -n '/^Subcommands:/,$s/^  \([a-z-]*\) .*/\1/p' <<<"$1"; }
# What bash offers behind these words; the last is what has been typed of the next one.
offered()
{
    bash -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "_$1"; printf "%s\n" "${COMPREPLY[@]}"' \
        bash "$completions/$1.bash" "$@" | sed 's/ *$//'
}
# known PROGRAM OPTION WORD...: behind these words the option is offered, and all others' pages have it.
known()
{
    local program=$1 option=$2 words="${*:3}"
    offered "${@:3}" "--" | grep -qx -e "$option" || miss "bash doesn't complete $option behind $words"
    [[ $option == --help ]] || grep -q -e "$option\b" "$completions/_$program" || miss "zsh: no $option behind $words"
    if command -v fish >/dev/null; then
        HOME=/nonexistent fish --no-config -c "source $completions/$program.fish; complete -C '$words --'" 2>/dev/null |
            grep -q "^$option\b" || miss "fish doesn't complete $option behind $words"
    fi
    sed 's/\\-/-/g; s/\\fI//g' "$source/packaging/man/$program.1" | grep -q -e "$option\b" || miss "$program.1: no $option"
}

count=0
for program in muralis feedkit; do
    for option in $(options "$($program --help)") --help; do
        known $program "$option" $program
        count=$((count + 1))
    done
done
for command in $(commands "$(vitrel --help)"); do
    grep -q "^\.SS vitrel \[*${command//-/\\\\-}\b" "$source/packaging/man/vitrel.1" || miss "vitrel.1: no $command"
    offered vitrel "" | grep -qx "$command" || miss "bash doesn't complete $command"
    grep -q "'$command:" "$completions/_vitrel" || miss "zsh: no $command"
    grep -q -e "-a $command -d" "$completions/vitrel.fish" || miss "fish: no $command"
    help=$(vitrel "$command" --help)
    for choice in $(commands "$help"); do
        offered vitrel "$command" "" | grep -qx "$choice" || miss "bash doesn't complete $command $choice"
        grep -q "\b$choice\b" "$completions/_vitrel" || miss "zsh: no $command $choice"
        grep -q -e "-n '__vitrel_in $command.*\b$choice\b" "$completions/vitrel.fish" || miss "fish: no $command $choice"
        help+=$'\n'$(vitrel "$command" "$choice" --help)
    done
    for option in $(options "$help" | sort -u); do
        known vitrel "$option" vitrel "$command"
        count=$((count + 1))
    done
done
# A help that this script no longer reads would pass with nothing looked at.
((count > 50)) || miss "only $count options found"

play=$(options "$(vitrel play --help)")
for option in $(grep -o 'arg[a-z-]*="--[a-z-]*' "$source/packaging/xscreensaver/vitrel.xml" | sed 's/.*"//'); do
    grep -qx -e "$option" <<<"$play" || miss "vitrel.xml: $option is no option of play"
done

# Compositions and folders come up, whatever is in their names, and nothing else.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir "a folder"
touch "a b.qtz" "a'c.qtz" a.png a.json
for words in "vitrel" "vitrel play" "vitrel inspect" "vitrel compositions add" "vitrel play --file"; do
    # shellcheck disable=SC2086
    found=$(offered $words a | sort | tr '\n' '|')
    [[ $found == "a b.qtz|a folder|a'c.qtz|" ]] || miss "bash completes $words with $found"
done
exit $bad
