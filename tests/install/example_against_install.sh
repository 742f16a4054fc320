#!/usr/bin/env bash
# example_against_install.sh BUILD_DIR SOURCE_DIR LIBDIR: cmake --install into
# a temporary prefix, then the example and vg-mgmt against that tree.
set -euo pipefail
build=$1
source_dir=$2
libdir=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
"$source_dir/tests/install/example_in_tree.sh" "$work/prefix" "$libdir" "$source_dir"
