#!/usr/bin/env bash
# Builds the fuzzers with clang (libFuzzer, ASan, UBSan) and runs them.
#
#   scripts/fuzz.sh              each fuzzer for VG_FUZZ_SECONDS (600) seconds
#   VG_FUZZ_RUNS=10000000 scripts/fuzz.sh    each for that many executions
#   scripts/fuzz.sh --regress    CI: every committed input once, then a short
#                                run (VG_FUZZ_SECONDS, 25 by default) each
#   scripts/fuzz.sh NAME...      only these fuzzers (commands indications kestd)
#
# New inputs go to build/fuzz-corpus/NAME, never into the committed seeds in
# fuzz/corpus/NAME; a crash is written to build/fuzz-artifacts/ and fails the
# script. Keep a crash as a regression input by copying it into
# fuzz/corpus/NAME once it is fixed.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/deps.sh
vg_install_deps clang libclang-rt-14-dev

regress=0
if [ "${1:-}" = "--regress" ]; then
    regress=1
    shift
fi
fuzzers=("$@")
[ ${#fuzzers[@]} -gt 0 ] || fuzzers=(commands indications kestd)

build=build/fuzz
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja "${VG_CMAKE_CACHE[@]}" -DVG_FUZZ=ON -DVG_BUILD_TESTS=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
targets=()
for f in "${fuzzers[@]}"; do targets+=("fuzz_$f"); done
cmake --build "$build" --target "${targets[@]}" -j "$(nproc)"

artifacts=$PWD/build/fuzz-artifacts
mkdir -p "$artifacts"
for f in "${fuzzers[@]}"; do
    bin=$PWD/$build/fuzz/fuzz_$f
    seeds=$PWD/fuzz/corpus/$f
    common=(-max_len=4096 -artifact_prefix="$artifacts/$f-" -print_final_stats=1)
    log=$(mktemp)
    if [ $regress -eq 1 ]; then
        echo "== fuzz_$f: committed inputs"
        status=0
        "$bin" "${common[@]}" -runs=0 "$seeds" >"$log" 2>&1 || status=$?
        grep -E 'DONE|ERROR|SUMMARY|check failed' "$log" || true
        [ $status -eq 0 ] || { tail -40 "$log"; exit 1; }
        work=$(mktemp -d)
        limit=(-max_total_time="${VG_FUZZ_SECONDS:-25}")
    else
        work=$PWD/build/fuzz-corpus/$f
        mkdir -p "$work"
        if [ -n "${VG_FUZZ_RUNS:-}" ]; then
            limit=(-runs="$VG_FUZZ_RUNS")
        else
            limit=(-max_total_time="${VG_FUZZ_SECONDS:-600}")
        fi
    fi
    echo "== fuzz_$f: ${limit[*]}"
    status=0
    "$bin" "${common[@]}" "${limit[@]}" "$work" "$seeds" >"$log" 2>&1 || status=$?
    grep -E '^(Done|stat::number_of_executed_units|stat::average_exec_per_sec)|ERROR|SUMMARY|check failed' "$log" || true
    [ $regress -eq 0 ] || rm -rf "$work"
    [ $status -eq 0 ] || { tail -40 "$log"; echo "fuzz_$f failed; see $artifacts"; exit 1; }
    rm -f "$log"
done
