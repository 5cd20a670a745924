#!/bin/sh
# check-manuals.sh FOLDER: every page formats without a warning.
set -eu
for page in "$1"/*.1; do
    warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    if [ -n "$warnings" ]; then
        echo "$page: $warnings" >&2
        exit 1
    fi
done
