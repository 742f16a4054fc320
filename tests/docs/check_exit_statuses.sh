#!/bin/bash
# The README's table of exit statuses is the tool's own: the EXIT STATUS
# section of the manual page that vg-mgmt writes, row for row.
#   check_exit_statuses.sh README.md MANPAGE.scd
set -eu
readme=$1 page=$2
from_page=$(awk '/^# EXIT STATUS/ { on = 1; next } /^# / { on = 0 }
    on && /^\*[0-9]+\*$/ { n = substr($0, 2, length($0) - 2); next }
    on && /^\t/ && n != "" { sub(/^\t/, ""); gsub(/\\/, ""); print n " " $0; n = "" }' "$page")
from_readme=$(awk -F' [|] ' '/^[|] [0-9]+ [|] / { sub(/^[|] /, "", $1); sub(/ [|]$/, "", $2); print $1 " " $2 }' "$readme")
if [ -z "$from_page" ] || [ "$from_page" != "$from_readme" ]; then
    echo "the README's exit statuses differ from the tool's:" >&2
    diff <(echo "$from_page") <(echo "$from_readme") >&2 2>/dev/null || {
        echo "tool:" >&2; echo "$from_page" >&2; echo "README:" >&2; echo "$from_readme" >&2; }
    exit 1
fi
echo "exit statuses: README and tool agree ($(echo "$from_page" | wc -l) rows)"
