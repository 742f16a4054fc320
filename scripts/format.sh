#!/usr/bin/env bash
# Formats every C and C++ file that git knows with .clang-format, or, with
# --check, lists the files that differ from it and fails.
#   scripts/format.sh            rewrite the files in place
#   scripts/format.sh --check    change nothing; exit 1 when a file differs,
#                                or when a constant is named in UPPER_CASE
#                                (constants are kCamelCase; UPPER_CASE is for
#                                macros and the public and wire enumerators)
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
    upper='^\s*(static\s+)?(inline\s+)?(constexpr|const)\s+[A-Za-z_:<>0-9]+\s+[A-Z][A-Z0-9_]+\s*(=|\[|\{)'
    if git grep -nE "$upper" -- '*.cpp' '*.h' '*.c' ':!include/' >&2; then
        echo "constants are named kCamelCase (see CONTRIBUTING.md)" >&2
        exit 1
    fi
    echo "format: ${#files[@]} files as .clang-format writes them, constants named alike"
else
    clang-format --style=file -i "${files[@]}"
fi
