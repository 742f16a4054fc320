#!/usr/bin/env bash
# example_in_tree.sh PREFIX LIBDIR SOURCE_DIR
# In an installed tree (cmake --install, or packages extracted into a scratch
# root): builds the example application once through pkg-config and once
# through find_package, runs both against the tree's kestd through
# vg-sim-run, and runs the tree's vg-mgmt, which finds the host platform
# through its RUNPATH. LIBDIR is relative to PREFIX (lib, or
# lib/x86_64-linux-gnu).
# A tree of another architecture: VG_CC names its C compiler and VG_RUN the
# emulator that runs its programs (for example "qemu-arm -L /usr/arm-linux-
# gnueabihf"); the example is then built through pkg-config only.
set -euo pipefail
prefix=$1
libdir=$2
source_dir=$3
work=$(mktemp -d)
kestd_pid=""
trap '[ -n "$kestd_pid" ] && kill "$kestd_pid" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT

lib=$prefix/$libdir
host=$lib/vg_mgmt/host
for f in "$lib/libvg_mgmt_client.so" "$lib/libvg_mgmt_client.so.1" "$prefix/include/vg_mgmt_client.h" \
         "$host/libqmi_cci.so.1" "$host/libvg_log.so.1" "$host/libvg_manager_msgr.so.1" \
         "$prefix/bin/kestd" "$prefix/bin/vg-mgmt" "$prefix/bin/vg-sim-run"; do
    [ -e "$f" ] || { echo "missing: $f" >&2; exit 1; }
done

# pkg-config: the prefix comes from the .pc file's own place.
export PKG_CONFIG_PATH=$lib/pkgconfig
[ "$(readlink -f "$(pkg-config --variable=hostlibdir vg_mgmt_client)")" = "$(readlink -f "$host")" ] \
    || { echo "pkg-config hostlibdir is not $host" >&2; exit 1; }
run=(${VG_RUN:-})
${VG_CC:-cc} -std=c99 -Wall -Wextra -Werror "$source_dir/examples/vg_mgmt_example.c" \
    $(pkg-config --cflags --libs vg_mgmt_client) -o "$work/example-pkgconfig"
examples=("$work/example-pkgconfig")

# find_package
if [ -z "${VG_RUN:-}" ]; then
    cmake -S "$source_dir/examples" -B "$work/example-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" >/dev/null
    cmake --build "$work/example-cmake" >/dev/null
    examples+=("$work/example-cmake/vg_mgmt_example")
fi

export VG_KEST_SOCKET=$work/kest.sock
"${run[@]}" "$prefix/bin/kestd" --socket "$VG_KEST_SOCKET" >"$work/kestd.out" &
kestd_pid=$!
for _ in $(seq 100); do
    grep -q listening "$work/kestd.out" 2>/dev/null && break
    sleep 0.05
done
for example in "${examples[@]}"; do
    echo "== vg-sim-run $example"
    "$prefix/bin/vg-sim-run" "${run[@]}" "$example" | tee "$work/out"
    grep -q "interface 1 is on channel 6" "$work/out"
    grep -q "channel 15 refused with error number 2" "$work/out"
done
# Without vg-sim-run the host platform is not found: it is in no folder that
# the loader searches by default.
if env -u LD_LIBRARY_PATH "${run[@]}" "$work/example-pkgconfig" >/dev/null 2>&1; then
    echo "the example ran without vg-sim-run: the host platform is on the default path" >&2
    exit 1
fi
"${run[@]}" "$prefix/bin/vg-mgmt" wifi channel get 1 | grep -q "channel: 6"
echo "the installed tree works: the example (${#examples[@]} builds) through vg-sim-run, vg-mgmt through its RUNPATH"
