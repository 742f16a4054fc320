#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks, then builds and runs every test:
# a normal build and a build under AddressSanitizer and
# UndefinedBehaviorSanitizer. Warnings are errors in both. Then the threaded
# parts (host transport, end-to-end and web console tests) under ThreadSanitizer, and the
# fuzzers over their committed inputs with a short run each. Last, the cross
# build for the module's 32-bit ARM Linux with every test under qemu-arm. The
# normal and the ARM build each give their Debian packages (amd64, armhf),
# which are linted, installed into a scratch root and used there
# (scripts/packages.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/deps.sh
vg_install_deps

jobs=$(nproc)
# The web console's accessibility check: axe-core, as package-lock.json pins it.
echo "== npm ci (tests/web: axe-core)"
npm ci --prefix tests/web --no-audit --no-fund --loglevel=error
echo "== source layout (.clang-format)"
./scripts/format.sh --check
run_build() {
    local dir=$1; shift
    local only=${VG_TEST_ONLY:-}
    cmake -S . -B "$dir" -G Ninja "${VG_CMAKE_CACHE[@]}" "$@"
    cmake --build "$dir" -j "$jobs"
    ctest --test-dir "$dir" --output-on-failure -j "$jobs" ${only:+-R "$only"}
}

# Installed to /usr, as the packages are: the library goes to the multiarch
# folder.
echo "== normal build"
run_build build/test -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX=/usr
echo "== Debian packages (amd64)"
./scripts/packages.sh build/test
echo "== sanitizer build (ASan + UBSan)"
run_build build/sanitize -DCMAKE_BUILD_TYPE=Debug -DVG_SANITIZE=ON
# Only the tests with threads of their own: the transport's reader and
# delivery threads, and many callers on one handle.
echo "== ThreadSanitizer build (host transport, end-to-end and web console tests)"
VG_TEST_ONLY='^test_(host_|e2e_|webd_api)' run_build build/tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVG_TSAN=ON

# ---------------------------------------------------------------------------
# Fuzzers (clang, libFuzzer, ASan + UBSan): every committed input once, then a
# short run of each.
echo "== fuzzers: committed inputs and a short run each"
./scripts/fuzz.sh --regress

# ---------------------------------------------------------------------------
# 32-bit ARM: the module's target, built with the cross compiler and tested
# under qemu-arm (installs both when missing).
echo "== 32-bit ARM build (tests under qemu-arm)"
VG_ARM_BUILD_DIR=build/arm ./scripts/arm.sh
echo "== Debian packages (armhf)"
./scripts/packages.sh build/arm
