#!/bin/sh
# test_units.sh UNITS_DIR KESTD VG_MGMT: kestd's systemd units pass
# "systemd-analyze verify" (system and user), and kestd serves on a socket
# passed to it by socket activation. Exits 77 (skipped) without systemd-analyze.
set -eu
units=$1 kestd=$2 vg_mgmt=$3
command -v systemd-analyze > /dev/null || { echo "skipped: no systemd-analyze"; exit 77; }
dir=$(mktemp -d)
trap 'kill "$pid" 2> /dev/null || true; rm -rf "$dir"' EXIT
pid=
mkdir -m 700 "$dir/system" "$dir/user" "$dir/run"
for f in "$units"/kestd.service "$units"/kestd.socket; do
    sed "s|/usr/bin/kestd|$kestd|" "$f" > "$dir/system/${f##*/}"
done
for f in "$units"/user/kestd.service "$units"/user/kestd.socket; do
    sed "s|/usr/bin/kestd|$kestd|" "$f" > "$dir/user/${f##*/}"
done
systemd-analyze verify --man=no "$dir/system/kestd.socket" "$dir/system/kestd.service"
XDG_RUNTIME_DIR=$dir/run systemd-analyze --user verify --man=no "$dir/user/kestd.socket" "$dir/user/kestd.service"
echo "ok   units verified"

command -v systemd-socket-activate > /dev/null || { echo "ok   (no systemd-socket-activate: activation not tried)"; exit 0; }
systemd-socket-activate -l "$dir/run/kestd.sock" "$kestd" > "$dir/log" 2>&1 &
pid=$!
i=0
while [ ! -S "$dir/run/kestd.sock" ] && [ $i -lt 50 ]; do sleep 0.1; i=$((i + 1)); done
VG_KEST_SOCKET=$dir/run/kestd.sock "$vg_mgmt" status | grep -qx '  reachable: true'
grep -q "kestd listening on $dir/run/kestd.sock" "$dir/log"
echo "ok   kestd answers on the socket it was passed"
