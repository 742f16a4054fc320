#!/usr/bin/env bash
# The cost of the whole-configuration commands against kestd (a benchmark,
# not a timed test): library calls and wall time of a full export and of an
# apply that changes nothing, beside the number of settings in the document.
# An apply with nothing to change makes no set call. Extra arguments: the
# number of runs to take the best time of (default 20).
set -euo pipefail
cd "$(dirname "$0")/.."

runs=${1:-20}
dir=${VG_BENCH_BUILD_DIR:-build/bench}
if [ -z "${VG_BENCH_SKIP_BUILD:-}" ]; then
    cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVG_BUILD_TESTS=OFF >/dev/null
    cmake --build "$dir" --target kestd vg-mgmt >/dev/null
fi
vgm=$dir/tools/vg-mgmt

work=$(mktemp -d)
kestd_pid=""
cleanup() {
    [ -n "$kestd_pid" ] && kill "$kestd_pid" 2>/dev/null && wait "$kestd_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT
export VG_KEST_SOCKET=$work/kest.sock
"$dir/host/kestd/kestd" --socket "$VG_KEST_SOCKET" >"$work/kestd.out" &
kestd_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/kestd.out" 2>/dev/null && break
    sleep 0.05
done

"$vgm" config export --show-secrets >"$work/config.json"
settings=$(python3 -c '
import json, sys
def leaves(v):
    if isinstance(v, dict): return sum(leaves(x) for x in v.values())
    if isinstance(v, list): return sum(leaves(x) for x in v) if v else 1
    return 1
d = json.load(open(sys.argv[1])); d.pop("version")
print(leaves(d))' "$work/config.json")

# "calls: G get, S set; T ms" from --stats; the best time of the runs.
best() {
    local line best_ms="" calls=""
    for _ in $(seq "$runs"); do
        line=$("$vgm" config --stats "$@" 2>&1 >/dev/null | grep '^calls:')
        calls=${line%%;*}
        local ms=${line##*; }
        ms=${ms% ms}
        if [ -z "$best_ms" ] || awk "BEGIN{exit !($ms < $best_ms)}"; then best_ms=$ms; fi
    done
    echo "$calls; best of $runs: $best_ms ms"
}
echo "settings in the document: $settings (defaults of kestd: 3 Wi-Fi interfaces, 1 APN profile)"
echo "export:           $(best export)"
echo "no-change apply:  $(best apply "$work/config.json")"
