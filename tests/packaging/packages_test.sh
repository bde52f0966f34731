#!/usr/bin/env bash
# The Debian packages, unpacked to a folder, which only an installation by root would differ from:
# packages_test.sh SOURCE FOLDER-OF-PACKAGES
set -euo pipefail

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for package in libmvlpfx0 libmvlpfx-dev mvlpfx; do
    dpkg-deb -x "$2/$package"_*.deb "$root"
done
"$1/tests/packaging/installed_tree.sh" "$1" "$root/usr"
echo "packages: all is well"
