# Installs the Debian packages that the build and the tests need, when any
# is missing. Sourced by the other scripts.
# Manual pages and their tests: scdoc, man-db and groff-base (man -l),
# bash-completion. scripts/packages.sh adds what packaging needs.
VG_DEB_PACKAGES=(cmake ninja-build g++ googletest libgtest-dev nlohmann-json3-dev libcli11-dev pkgconf
                 scdoc man-db groff-base bash-completion)
# cpack and dpkg-shlibdeps (dpkg-dev, file), lintian.
VG_DEB_PACKAGING=(dpkg-dev file lintian)
# The tests of vg-mgmt config: python3 with python3-jsonschema, and ansible-core.
VG_DEB_PACKAGES+=(python3 python3-jsonschema ansible-core)
# The Ansible test over SSH: a private sshd and the ssh client.
VG_DEB_PACKAGES+=(openssh-server openssh-client)
# The layout check of the C and C++ sources (scripts/format.sh --check).
VG_DEB_PACKAGES+=(clang-format)
# vg-webd, the web console: GNU libmicrohttpd (HTTP, TLS) and libcrypt
# (yescrypt); its tests: Debian's python3 with pytest and selenium, Chromium
# and its driver, promtool (prometheus) for the metrics, openssl for a test
# certificate. (npm, for the accessibility check's axe-core, comes with the
# machine's Node.js.)
VG_DEB_PACKAGES+=(libmicrohttpd-dev libcrypt-dev python3-pytest python3-selenium chromium chromium-driver
                  prometheus openssl)
# A compiler cache: the test command's builds compile the same sources again
# (normal, sanitizer, thread sanitizer, ARM) run after run.
VG_DEB_PACKAGES+=(ccache)

# VG_CMAKE_CACHE: the CMake options that put the cache in front of the
# compilers. Paths are taken relative to the tree, so that a new clone finds
# what an old one left.
vg_use_ccache() {
    VG_CMAKE_CACHE=()
    if command -v ccache >/dev/null; then
        export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
        VG_CMAKE_CACHE=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
}

vg_install_deps() {
    local missing=()
    for p in "${VG_DEB_PACKAGES[@]}" "$@"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "installing: ${missing[*]}"
        local sudo=""
        [ "$(id -u)" -eq 0 ] || sudo=sudo
        $sudo apt-get update -qq
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
    vg_use_ccache
}
