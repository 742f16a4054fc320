#!/usr/bin/env bash
# The main job, end to end on a PC: builds the library, the host platform,
# kestd and vg-mgmt, starts kestd with a fresh state on a private socket,
# runs a short session through vg-mgmt and stops the service again.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/deps.sh
vg_install_deps

build=${VG_DEMO_BUILD:-build/demo}
if [ -z "${VG_DEMO_BUILD:-}" ]; then
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVG_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" -j "$(nproc)" --target kestd kestctl vg-mgmt
fi
kestd=$build/host/kestd/kestd
kestctl=$build/host/kestd/kestctl
vgm=$build/tools/vg-mgmt

work=$(mktemp -d)
events_pid=""
kestd_pid=""
cleanup() {
    [ -n "$events_pid" ] && kill "$events_pid" 2>/dev/null && wait "$events_pid" 2>/dev/null
    [ -n "$kestd_pid" ] && kill "$kestd_pid" 2>/dev/null && wait "$kestd_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

export VG_KEST_SOCKET=$work/kest.sock
# The undo journal and history of these throw-away services stay with them.
export VG_MGMT_STATE_DIR=$work/vg-mgmt
"$kestd" --socket "$VG_KEST_SOCKET" --state "$work/state" >"$work/kestd.out" 2>"$work/kestd.err" &
kestd_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/kestd.out" 2>/dev/null && break
    sleep 0.05
done
echo "== $(cat "$work/kestd.out")"

step() {
    echo "\$ vg-mgmt $*"
    "$vgm" "$@"
}

# Events arrive on their own connection, printed as they come.
"$vgm" events >"$work/events.out" &
events_pid=$!
sleep 0.5

echo "== an access point with WPA"
step wifi enable set on
step wifi ssid set 1 "Demo Café AP"
step wifi channel set 1 6
step wifi auth set 1 wpa-psk-2 --pairwise 2 --password demo-passphrase --group-rekey 3600
step wifi ssid get 1
step wifi channel get 1
step wifi auth get 1
step --json wifi auth get 1
echo "(a set changes only what it names: the pairwise and the rekey interval stay)"
step wifi auth set 1 --password another-passphrase
step wifi auth get 1
echo "(a phone joins the access point)"
"$kestctl" --socket "$VG_KEST_SOCKET" sta-join 1 aa:bb:cc:dd:ee:01 phone >/dev/null
step wifi stations get

echo "== an APN profile and a data call"
index=$("$vgm" --json datacall apn add 0 --pdp-type ipv4v6 --auth-protocol none --apn demo.example \
        --user "" --password "" | sed -n 's/.*"profile-index":\([0-9]*\).*/\1/p')
echo "\$ vg-mgmt datacall apn add 0 --pdp-type ipv4v6 --auth-protocol none --apn demo.example --user '' --password ''   -> profile index $index"
step datacall apn set 0 "$index" --user demo --password demo-secret
step datacall apn get 0 "$index"
step datacall up "$index" --ip-type ipv4v6
step datacall info get "$index"

echo "== the LAN and an SNAT rule"
step network lan get
step network snat add 192.168.225.20 8080 80 tcp
step network snat list

echo "== the USB configuration"
step usb func set --adb on
step usb config write
step usb config get

echo "== mistakes and refusals"
step wfi ssid get 1 || true
step wifi channel set 1 15 || true
step wifi channel set 1 36 || true
step --json wifi channel set 1 36 || true

echo "== the module on one screen, the call up"
step status

step datacall down "$index" --ip-type ipv4v6
sleep 0.5
echo "== events seen meanwhile"
cat "$work/events.out"
grep -q "datacall-status" "$work/events.out"
grep -q "wifi-ap-station" "$work/events.out"
echo "== done; stopping kestd"

# ---------------------------------------------------------------------------
# The configuration built above as one document, applied to a fresh kestd.
echo "== the whole configuration as one document, applied to a fresh kestd"
"$vgm" config export --show-secrets >"$work/module.json"
echo "\$ vg-mgmt config export --show-secrets > module.json   ($(wc -l <"$work/module.json") lines)"
fresh_pid=""
trap '[ -n "$fresh_pid" ] && kill "$fresh_pid" 2>/dev/null && wait "$fresh_pid" 2>/dev/null; cleanup' EXIT
"$kestd" --socket "$work/fresh.sock" >"$work/fresh.out" 2>&1 &
fresh_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/fresh.out" 2>/dev/null && break
    sleep 0.05
done
export VG_KEST_SOCKET=$work/fresh.sock
echo "(the fresh kestd: $(cat "$work/fresh.out"))"
step config diff "$work/module.json"
step config apply "$work/module.json"
step config apply "$work/module.json"
"$vgm" config export --show-secrets >"$work/fresh.json"
cmp -s "$work/module.json" "$work/fresh.json"
echo "== the fresh kestd's export is the same document, byte for byte"
echo "== next: the web console of a simulated module, in a browser"
echo "   ./scripts/console.sh   then open http://127.0.0.1:8080/ and log in as admin"
echo "   with the password it prints (vg-webd(8) tells the API)"
