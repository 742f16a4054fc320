#!/usr/bin/env bash
# The web console against a simulated module, in one command: builds kestd
# and vg-webd, starts kestd with a fresh state on a private socket, makes an
# admin with a new random password (shown once, here), and serves the
# console on loopback until Ctrl-C. VG_CONSOLE_LISTEN sets where
# (default 127.0.0.1:8080).
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/deps.sh
vg_install_deps

build=${VG_DEMO_BUILD:-build/demo}
if [ -z "${VG_DEMO_BUILD:-}" ]; then
    cmake -S . -B "$build" -G Ninja "${VG_CMAKE_CACHE[@]}" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
          -DVG_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" -j "$(nproc)" --target kestd kestctl vg-mgmt vg-webd
fi
work=$(mktemp -d)
kestd_pid=""
cleanup() {
    [ -n "$kestd_pid" ] && kill "$kestd_pid" 2>/dev/null && wait "$kestd_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

"$build/host/kestd/kestd" --socket "$work/kest.sock" --state "$work/state" >"$work/kestd.out" 2>&1 &
kestd_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/kestd.out" 2>/dev/null && break
    sleep 0.05
done
password=$(head -c 12 /dev/urandom | base64 | tr '+/' '-_')
printf '%s\n' "$password" | "$build/tools/vg-webd" passwd --users "$work/users" admin --role admin >/dev/null
echo "== the web console of a simulated module"
echo "   log in as admin with the password $password (made for this run only)"
echo "   a station joins: $build/host/kestd/kestctl --socket $work/kest.sock sta-join 1 02:00:00:00:00:01"
echo "   Ctrl-C ends the console and the simulated module"
"$build/tools/vg-webd" --users "$work/users" --socket "$work/kest.sock" --state-dir "$work/vg-mgmt" \
    --listen "${VG_CONSOLE_LISTEN:-127.0.0.1:8080}" --www tools/web/www
