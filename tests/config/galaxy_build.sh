#!/bin/sh
# galaxy_build.sh COLLECTION_DIR OUT_DIR: the collection's ansible-galaxy
# artifact, built into OUT_DIR, holding both modules, their documentation and
# the licence, and nothing Python left behind.
set -eu
src=$1 out=$2
mkdir -p "$out"
export ANSIBLE_HOME="$out/ansible-home" ANSIBLE_NOCOLOR=1 LC_ALL=C.UTF-8
ansible-galaxy collection build --force --output-path "$out" "$src"
version=$(sed -n 's/^version: *//p' "$src/galaxy.yml")
artifact="$out/vg-mgmt-$version.tar.gz"
contents=$(tar -tzf "$artifact")
for f in plugins/modules/config plugins/modules/config.py plugins/modules/facts plugins/modules/facts.py \
         LICENSE MANIFEST.json; do
    echo "$contents" | grep -qx "$f" || { echo "$artifact lacks $f"; exit 1; }
done
if echo "$contents" | grep -q '__pycache__\|\.pyc$'; then
    echo "$artifact holds compiled Python"; exit 1
fi
tar -xzOf "$artifact" MANIFEST.json |
    python3 -c 'import json, sys; assert json.load(sys.stdin)["collection_info"]["license"] == ["MIT"], "licence"'
echo "built $artifact"
