#!/bin/sh
# check_options.sh PAGE PROGRAM [ARG...]: every option (and every API
# "method NAME") that "PROGRAM ARG... --help" lists is in the manual page
# source PAGE, and every
# default the help names "(default: X)" is in the page too (markup and line
# breaks aside).
set -eu
page=$1
shift
help=$("$@" --help)
flat() { tr -d '*_\\' | tr -s ' \t\n' '   '; }
text=$(flat < "$page")
failed=0
for opt in $(printf '%s\n' "$help" | grep -o -- '--[a-z][a-z0-9-]*' | sort -u); do
    printf '%s\n' "$text" | grep -q -- "$opt\([^a-z0-9-]\|$\)" || { echo "FAIL $opt is not in $page"; failed=1; }
done
for method in $(printf '%s\n' "$help" | sed -n 's/^  method \([a-z.]*\) .*/\1/p'); do
    printf '%s\n' "$text" | grep -q -- "method $method\([^a-z.]\|$\)" || { echo "FAIL method $method is not in $page"; failed=1; }
done
printf '%s\n' "$help" | flat | grep -o '(default:\? [^)]*)' | sed 's/^(default:\? //; s/)$//' |
    while IFS= read -r def; do
        case $text in
        *"$def"*) echo "ok   default '$def'" ;;
        *) echo "FAIL default '$def' is not in $page"; exit 1 ;;
        esac
    done || failed=1
exit $failed
