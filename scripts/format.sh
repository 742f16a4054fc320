#!/usr/bin/env bash
# Formats every C and C++ file that git knows with .clang-format, or, with
# --check, lists the files that differ from it and fails.
#   scripts/format.sh            rewrite the files in place
#   scripts/format.sh --check    change nothing; exit 1 when a file differs
set -euo pipefail
cd "$(dirname "$0")/.."

mapfile -t files < <(git ls-files '*.cpp' '*.h' '*.c')
if [ "${1:-}" = "--check" ]; then
    bad=()
    for f in "${files[@]}"; do
        clang-format --style=file --dry-run --Werror "$f" 2>/dev/null || bad+=("$f")
    done
    if [ ${#bad[@]} -gt 0 ]; then
        printf 'not formatted: %s\n' "${bad[@]}" >&2
        echo "run scripts/format.sh to format them" >&2
        exit 1
    fi
    echo "format: ${#files[@]} files as .clang-format writes them"
else
    clang-format --style=file -i "${files[@]}"
fi
