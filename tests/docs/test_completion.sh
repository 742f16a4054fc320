#!/usr/bin/env bash
# test_completion.sh COMPLETION_FILE: drives bash with vg-mgmt's completion
# over partial command lines and checks the words it offers. Exits 77
# (skipped) when the completion file is not built.
set -euo pipefail
completion=${1:-}
if [ -z "$completion" ] || [ ! -f "$completion" ]; then
    echo "skipped: no bash completion for vg-mgmt is built (${completion:-none})"
    exit 77
fi
bash_completion=/usr/share/bash-completion/bash_completion

# Partial command line (the cursor at its end) | words that must be offered,
# all of them | a word that must not be.
rows=(
    "vg-mgmt |wifi datacall network usb status config|get"
    "vg-mgmt wifi chan|channel|wifi"
    "vg-mgmt wifi channel |get set|add"
    "vg-mgmt datacall apn |add set get del list|up"
    "vg-mgmt --json wifi ss|ssid ssid-hide|channel"
    "vg-mgmt wifi auth set 1 wpa|wpa-psk-2 wpa-psk-3 wpa-psk-4|open"
    "vg-mgmt config |export schema diff apply validate confirm recover history rollback ansible|wifi"
    "vg-mgmt --socket /tmp/kest.sock config |export schema diff apply ansible|get"
    "vg-mgmt config export --|--show-secrets --socket --stats|--json"
    "vg-mgmt --socket /etc/passw|/etc/passwd|wifi"
    "vg-mgmt config apply /etc/passw|/etc/passwd|export"
)

# Prints the words offered for the partial line $1.
offered() {
    bash --norc --noprofile -c '
        line=$1
        [ -f "$2" ] && . "$2"
        . "$3"
        registration=$(complete -p vg-mgmt) || exit 3
        fn=$(sed -n "s/.*-F \([^ ]*\).*/\1/p" <<<"$registration")
        read -r -a COMP_WORDS <<<"$line"
        [ "${line: -1}" = " " ] && COMP_WORDS+=("")
        COMP_CWORD=$(( ${#COMP_WORDS[@]} - 1 ))
        COMP_LINE=$line
        COMP_POINT=${#line}
        cur=${COMP_WORDS[COMP_CWORD]}
        prev=${COMP_WORDS[COMP_CWORD-1]}
        "$fn" vg-mgmt "$cur" "$prev"
        printf "%s\n" "${COMPREPLY[@]}"
    ' _ "$1" "$bash_completion" "$completion"
}

failed=0
for row in "${rows[@]}"; do
    IFS='|' read -r line want absent <<<"$row"
    got=$(offered "$line") || { echo "FAIL '$line': completion did not run"; failed=1; continue; }
    bad=""
    for w in $want; do grep -qx -- "$w" <<<"$got" || bad+=" missing:$w"; done
    for w in $absent; do grep -qx -- "$w" <<<"$got" && bad+=" unexpected:$w"; done
    if [ -n "$bad" ]; then
        echo "FAIL '$line' ->$bad (offered: $(tr '\n' ' ' <<<"$got"))"; failed=1
    else
        echo "ok   '$line' -> $(tr '\n' ' ' <<<"$got")"
    fi
done
exit "$failed"
