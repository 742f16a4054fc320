#!/usr/bin/env bash
# packages.sh [BUILD_DIR]: the Debian packages of a build, and their checks.
# The build must be configured with -DCMAKE_INSTALL_PREFIX=/usr (test.sh and
# arm.sh do); a cross build gives the packages of its architecture.
#  1. cpack -G DEB into BUILD_DIR/packages
#  2. lintian on every package: no error and no warning (overrides are
#     installed with the packages, each with its reason)
#  3. dpkg-deb -c: no host platform library in a folder that the dynamic
#     loader searches by default, and nothing that adds one to its path
#  4. the packages extracted into a scratch root (dpkg-deb -x): every manual
#     page renders with man -l without warnings, the bash completion offers
#     the next word, the library has no RUNPATH and vg-mgmt's leads to the
#     host platform; the example is built there with the installed pkg-config
#     file (and CMake package) and run against the installed kestd, under
#     qemu-arm for armhf
# Prints each package with its size and lintian's result.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD

. scripts/deps.sh
vg_install_deps "${VG_DEB_PACKAGING[@]}"

build=$(readlink -f "${1:-build/test}")
cache() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }
arch=$(cache VG_DEB_ARCH)
multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH -a "$arch" 2>/dev/null)
if [ "$(cache CMAKE_INSTALL_PREFIX)" != /usr ] || [ "$(cache CMAKE_INSTALL_LIBDIR)" != "lib/$multiarch" ]; then
    echo "packages.sh: configure $build with -DCMAKE_INSTALL_PREFIX=/usr" \
         "(and in a cross build -DCMAKE_INSTALL_LIBDIR=lib/$multiarch), as test.sh and arm.sh do" >&2
    exit 2
fi
out=$build/packages
rm -rf "$out"
mkdir -p "$out"
(cd "$build" && cpack -G DEB -B "$out" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log"; exit 1; }
mapfile -t debs < <(ls "$out"/*.deb)
# Each check passes when it adds no failure.
failures=0 mark=0 passed=0 failed=0 skipped=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
checked() {
    if [ "$failures" -eq "$mark" ]; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
    mark=$failures
}

echo "== packages ($arch)"
for p in libvg-mgmt-client1 libvg-mgmt-client-dev vg-mgmt vg-mgmt-sim; do
    [ -f "$out/${p}_$(dpkg-deb -f "${debs[0]}" Version)_$arch.deb" ] || fail "no package $p"
done
[ "$arch" != "$(dpkg --print-architecture)" ] || [ -f "$out/ansible-vg-mgmt_$(dpkg-deb -f "${debs[0]}" Version)_all.deb" ] \
    || fail "no package ansible-vg-mgmt"
if grep -q "^VG_MHD_LIB:FILEPATH=/" "$build/CMakeCache.txt"; then
    [ -f "$out/vg-webd_$(dpkg-deb -f "${debs[0]}" Version)_$arch.deb" ] || fail "no package vg-webd"
fi
checked

# --- lintian ----------------------------------------------------------------
lintian_rc=0
lintian --fail-on error,warning "${debs[@]}" >"$out/lintian.log" 2>&1 || lintian_rc=$?
[ "$lintian_rc" -eq 0 ] || { fail "lintian exited with $lintian_rc"; cat "$out/lintian.log"; }
checked
summary=()
for deb in "${debs[@]}"; do
    package=$(dpkg-deb -f "$deb" Package)
    tags=$(grep -E "^[EW]: $package( \([^)]*\))?: " "$out/lintian.log" || true)
    if [ -n "$tags" ]; then
        fail "lintian $package"; echo "$tags"; result="errors or warnings"
    else
        result="no errors, no warnings"
    fi
    checked
    summary+=("$(printf '%-40s %7s bytes  lintian: %s' "$(basename "$deb")" "$(stat -c %s "$deb")" "$result")")
done

# --- no host platform library where the loader looks by default ------------
# Rows: the folders that ld.so searches without being told (the default
# paths and Debian's ld.so.conf.d entries for this architecture).
default_dirs=(lib usr/lib "lib/$multiarch" "usr/lib/$multiarch" usr/local/lib
              "usr/local/lib/$multiarch" lib64 usr/lib64 lib32 usr/lib32)
host_libs=(libqmi_cci.so libvg_log.so libvg_manager_msgr.so)
for deb in "${debs[@]}"; do
    contents=$(dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./||')
    for dir in "${default_dirs[@]}"; do
        for lib in "${host_libs[@]}"; do
            if grep -qE "^${dir//./\\.}/${lib//./\\.}(\.|$)" <<<"$contents"; then
                fail "$(basename "$deb") puts $lib in /$dir"
            fi
        done
    done
    grep -qE '^etc/ld\.so\.conf' <<<"$contents" && fail "$(basename "$deb") changes the loader's path"
done
checked
echo "dpkg-deb -c: no host platform library in a default library folder"

# --- the packages installed into a scratch root ------------------------------
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for deb in "${debs[@]}"; do dpkg-deb -x "$deb" "$root"; done
for lib in "${host_libs[@]}"; do
    [ -f "$root/usr/lib/$multiarch/vg_mgmt/host/$lib.1" ] || fail "$lib.1 is not in the private folder"
done
checked

readelf -d "$root/usr/lib/$multiarch/libvg_mgmt_client.so.1" | grep -qE 'RUNPATH|RPATH' \
    && fail "the library has a RUNPATH"
checked
runpath=$(readelf -d "$root/usr/bin/vg-mgmt" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
[[ ":$runpath:" == *":\$ORIGIN/../lib/$multiarch/vg_mgmt/host:"* ]] \
    || fail "vg-mgmt's RUNPATH ($runpath) does not lead to the host platform"
checked
if [ -x "$root/usr/bin/vg-webd" ]; then
    runpath=$(readelf -d "$root/usr/bin/vg-webd" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]/\1/p')
    [[ ":$runpath:" == *":\$ORIGIN/../lib/$multiarch/vg_mgmt/host:"* ]] \
        || fail "vg-webd's RUNPATH ($runpath) does not lead to the host platform"
    [ -f "$root/usr/share/vg-webd/www/index.html" ] || fail "vg-webd's page is not installed"
    if [ "$arch" = "$(dpkg --print-architecture)" ]; then
        "$root/usr/bin/vg-webd" --help | grep -q "www DIR .*/usr/share/vg-webd/www" \
            || fail "the installed vg-webd does not start, or looks for its page elsewhere"
    fi
    checked
fi

# The symbols file names exactly what the library exports.
library=$root/usr/lib/$multiarch/libvg_mgmt_client.so.1
exported=$(readelf -W --dyn-syms "$library" | awk '$5 == "GLOBAL" && $7 != "UND" {print $8}' | sort)
declared=$(dpkg-deb --ctrl-tarfile "$out"/libvg-mgmt-client1_*.deb | tar -xO ./symbols \
           | sed -n 's/^ \([^@ ]*\)@Base .*/\1/p' | sort) || true
[ -n "$exported" ] && [ "$exported" = "$declared" ] \
    || fail "the symbols file does not list the library's exports: $(diff <(echo "$exported") <(echo "$declared") | tr '\n' ' ')"
checked

echo "== manual pages"
mapfile -t pages < <(find "$root/usr/share/man" -type f -name '*.gz' | sort)
[ "${#pages[@]}" -ge 5 ] || fail "only ${#pages[@]} manual pages"
tests/docs/check_manpage.sh "${pages[@]}" || fail "manual pages"
checked

echo "== the Ansible collection"
collections=$root/usr/share/ansible/collections
if [ -d "$collections/ansible_collections/vg/mgmt" ] && command -v ansible-doc >/dev/null; then
    for module in vg.mgmt.config vg.mgmt.facts; do
        ANSIBLE_COLLECTIONS_PATH=$collections ANSIBLE_HOME=$root/ansible-home ansible-doc "$module" >/dev/null \
            || fail "ansible-doc $module"
    done
    checked
else
    echo "skipped: no collection in the packages, or no ansible-doc"
    skipped=$((skipped + 1))
fi

echo "== bash completion"
rc=0
tests/docs/test_completion.sh "$root/usr/share/bash-completion/completions/vg-mgmt" || rc=$?
if [ "$rc" -eq 77 ]; then skipped=$((skipped + 1)); else [ "$rc" -eq 0 ] || fail "bash completion"; checked; fi

echo "== the example against the installed kestd"
if [ "$arch" = "$(dpkg --print-architecture)" ]; then
    tests/install/example_in_tree.sh "$root/usr" "lib/$multiarch" "$source_dir" || fail "example"
    checked
elif command -v "$multiarch-gcc" >/dev/null && command -v qemu-arm >/dev/null && [ "$arch" = armhf ]; then
    VG_CC="$multiarch-gcc" VG_RUN="qemu-arm -L /usr/$multiarch" \
        tests/install/example_in_tree.sh "$root/usr" "lib/$multiarch" "$source_dir" || fail "example"
    checked
else
    echo "skipped: no compiler and emulator for $arch"
    skipped=$((skipped + 1))
fi

echo "== summary ($arch)"
printf '%s\n' "${summary[@]}"
# The closing line: the checks of this architecture's packages.
echo "packages: $passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ]
