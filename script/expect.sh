# shellcheck shell=bash
# To be sourced by bash: waits for what should come true, and tells in one line of each thing how it went. $name stands
# ahead of each line; $failed is 1 once something went wrong, of which a caller may define `keep WHAT` to keep what it
# needs to see why.
name="" failed=0
limit=15 # seconds
milliseconds() { echo $(($(date +%s%N) / 1000000)); }
until_() { # COMMAND...: waits until it succeeds; tells in $took how long that was
    local start
    start=$(milliseconds)
    until "$@"; do
        took=$(($(milliseconds) - start))
        [ $took -lt $((limit * 1000)) ] || return 1
        sleep 0.1
    done
    took=$(($(milliseconds) - start))
}
seen() { printf '%-10s %-24s %s\n' "$name" "$1" "$2"; }
wrong() {
    failed=1
    seen "$1" "WRONG: $2"
    ! declare -F keep >/dev/null || keep "$1"
}
expect() { # WHAT COMMAND...
    local what=$1
    shift
    if until_ "$@"; then seen "$what" "after $took ms"; else wrong "$what" "not within $limit s"; fi
}
colour_at() { # PICTURE +X+Y
    convert "$1" -alpha off -crop "1x1$2" +repage -depth 8 txt:- 2>/dev/null | sed -n 's/.*\(#[0-9A-F]\{6\}\).*/\1/p'
}
