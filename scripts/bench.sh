#!/usr/bin/env bash
# Builds the tree (optimised, no sanitizer) and runs vg-bench: the round trip
# of a small get through library, transport and kestd beside a bare Unix
# socket ping-pong, and the throughput of 1, 2, 4 and 8 threads on one
# handle. Extra arguments go to vg-bench (--calls N, --seconds S).
set -euo pipefail
cd "$(dirname "$0")/.."

dir=${VG_BENCH_BUILD_DIR:-build/bench}
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVG_BUILD_TESTS=OFF >/dev/null
cmake --build "$dir" --target vg-bench
"$dir/bench/vg-bench" "$@"
