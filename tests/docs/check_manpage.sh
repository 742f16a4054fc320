#!/usr/bin/env bash
# check_manpage.sh PAGE...: each page (roff, or gzipped roff) renders with
# man -l, with groff's warnings on, and not a line on standard error; and it
# has the sections every page has.
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: check_manpage.sh PAGE..." >&2; exit 2; }
failed=0
for page in "$@"; do
    before=$failed
    failed=0
    err=$(mktemp)
    # Not a terminal: man prints plain text.
    text=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>"$err") \
        || { echo "FAIL $page: man exited with $?"; failed=1; }
    if [ -s "$err" ]; then
        echo "FAIL $page: warnings:"; sed 's/^/    /' "$err"; failed=1
    fi
    rm -f "$err"
    for section in NAME SYNOPSIS DESCRIPTION "SEE ALSO"; do
        grep -q "^$section\$" <<<"$text" || { echo "FAIL $page: no $section section"; failed=1; }
    done
    [ "$failed" -ne 0 ] || echo "ok   $page"
    failed=$((failed | before))
done
exit "$failed"
