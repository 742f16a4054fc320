#!/usr/bin/env bash
# Instructions per command on the library's command path, counted by
# callgrind: every command of the four tables against a transport that
# answers at once, not counting the log sinks. Prints each command, each
# domain's average and the overall average (the budget is 300 on average).
# Set VG_INSTR_ANNOTATE=1 to see where the instructions go.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/deps.sh
vg_install_deps valgrind

build=build/bench-instr
cmake -S . -B "$build" -G Ninja -DVG_BENCH_INSTRUCTIONS=ON -DVG_BUILD_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --target bench_instructions -j "$(nproc)"

# Counted: the library's two entry points; not counted: the two log sinks.
toggles=(--toggle-collect=vg_mgmt_client_set --toggle-collect=vg_mgmt_client_get
         --toggle-collect=__vg_log --toggle-collect=vg_sys_log_print)

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
bench=$build/bench/instructions/bench_instructions
valgrind --tool=callgrind --collect-atstart=no "${toggles[@]}" --callgrind-out-file="$out/cg.out" -q "$bench"

# One dump per command: its name and its total.
for f in "$out"/cg.out.*; do
    name=$(sed -n 's/^desc: Trigger: Client Request: //p' "$f")
    total=$(sed -n 's/^totals: //p' "$f")
    [ -n "$name" ] && echo "$name ${total:-0}"
done | sort -V | awk '
    { split($1, p, "-"); d = substr(p[1], 2); n[d]++; s[d] += $2; all += $2; cnt++
      printf "  %-16s %6d\n", $1, $2 }
    END {
      names["1"] = "wifi"; names["3"] = "network"; names["6"] = "data call"; names["7"] = "usb"
      for (d in n) printf "domain %-10s %3d commands, %7.1f on average\n", names[d], n[d], s[d] / n[d]
      printf "all: %d commands, %.1f instructions per command on average\n", cnt, all / cnt
    }'

if [ "${VG_INSTR_ANNOTATE:-0}" = 1 ]; then
    valgrind --tool=callgrind --collect-atstart=no "${toggles[@]}" --callgrind-out-file="$out/all.out" -q \
        "$bench" --aggregate
    callgrind_annotate --inclusive=no --threshold=100 "$out/all.out" |
        sed -n '/file:function/,/^$/p' | grep -v '(below main)\|libc_start\|ld-linux' | head -40
fi
