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

settings() {
    python3 -c '
import json, sys
def leaves(v):
    if isinstance(v, dict): return sum(leaves(x) for x in v.values())
    if isinstance(v, list): return sum(leaves(x) for x in v) if v else 1
    return 1
d = json.load(open(sys.argv[1])); d.pop("version")
print(leaves(d))' "$1"
}

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
measure() {
    "$vgm" config export --show-secrets >"$work/config.json"
    echo "$1: $(settings "$work/config.json") settings"
    echo "  export:          $(best export)"
    echo "  no-change apply: $(best apply "$work/config.json")"
}
measure "kestd's defaults (3 Wi-Fi interfaces, 1 APN profile)"

# Every list full: 32 MAC addresses on each access point, 32 SNAT rules and
# 25 APN profiles of each of the 3 types.
python3 -c '
import json
mac = lambda i, n: "02:00:00:00:%02x:%02x" % (i, n)
doc = {"version": 1,
       "wifi": {"interfaces": {str(i): {"acl": [mac(i, n) for n in range(32)]} for i in (1, 2)}},
       "network": {"snat": [{"private-ip": "192.168.225.20", "private-port": 1000 + n, "global-port": 2000 + n,
                             "protocol": "tcp"} for n in range(32)]},
       "datacall": {"apn": [{"profile-type": t, "profile-index": n, "apn": "apn%d-%d" % (t, n), "pdp-type": "ipv4v6",
                             "auth-protocol": "none", "user": "", "password": ""}
                            for t in range(3) for n in range(25)]}}
print(json.dumps(doc))' >"$work/full.json"
# The tool's own CPU time (user + system) of one run, whatever its exit status.
cpu() {
    local TIMEFORMAT='%3U %3S' t
    t=$({ time "$vgm" config "$@" >/dev/null 2>&1 || true; } 2>&1)
    awk -v t="$t" 'BEGIN { split(t, a, " "); printf "%.1f ms of CPU", (a[1] + a[2]) * 1000 }'
}
# From the defaults, every list filled: the check, then the apply (must stay
# well under 100 ms each); and a MAC list of 200,000 addresses, refused at once.
echo "check, every list to fill: $(cpu apply --check "$work/full.json")"
echo "validate, every list full: $(cpu validate "$work/full.json")"
python3 -c '
import json
print(json.dumps({"version": 1, "wifi": {"interfaces": {"1": {"acl": ["02:00:00:%02x:%02x:%02x" % (n >> 16, (n >> 8) & 255, n & 255)
                                                                 for n in range(200000)]}}}}))' >"$work/huge.json"
echo "apply, a MAC list of 200000 addresses (refused): $(cpu apply "$work/huge.json")"
echo "apply, every list to fill: $(cpu apply "$work/full.json")"
{ "$vgm" config apply "$work/huge.json" 2>&1 || true; } | head -1 | sed 's/^/  /'

measure "every list full"
