#!/usr/bin/env bash
# Installs the build into a temporary prefix, builds the example application
# against it once through pkg-config and once through find_package, and runs
# both against the installed kestd.
set -euo pipefail
build=$1
source_dir=$2
work=$(mktemp -d)
kestd_pid=""
trap '[ -n "$kestd_pid" ] && kill "$kestd_pid" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT

prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
test -L "$prefix/lib/libvg_mgmt_client.so"
test -L "$prefix/lib/libvg_mgmt_client.so.1"
test -f "$prefix/lib/libvg_mgmt_client.so.1.0.0"
test -f "$prefix/include/vg_mgmt_client.h"

# pkg-config
PKG_CONFIG_PATH=$prefix/lib/pkgconfig
export PKG_CONFIG_PATH
cc -std=c99 -Wall -Wextra -Werror "$source_dir/examples/vg_mgmt_example.c" \
    $(pkg-config --cflags --libs vg_mgmt_client) -o "$work/example-pkgconfig"

# find_package
cmake -S "$source_dir/examples" -B "$work/example-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build "$work/example-cmake" >/dev/null

export VG_KEST_SOCKET=$work/kest.sock
"$prefix/bin/kestd" --socket "$VG_KEST_SOCKET" >"$work/kestd.out" &
kestd_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/kestd.out" 2>/dev/null && break
    sleep 0.05
done
for example in "$work/example-pkgconfig" "$work/example-cmake/vg_mgmt_example"; do
    echo "== $example"
    LD_LIBRARY_PATH=$prefix/lib "$example" | tee "$work/out"
    grep -q "interface 1 is on channel 6" "$work/out"
    grep -q "channel 15 refused with error number 2" "$work/out"
done
"$prefix/bin/vg-mgmt" wifi channel get 1 | grep -q "channel: 6"
echo "installed tree works through pkg-config and find_package"
