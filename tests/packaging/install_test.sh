#!/usr/bin/env bash
# A build installed into a prefix of the user's own, and that tree moved away:
# install_test.sh SOURCE BUILD
set -euo pipefail

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
cmake --install "$2" --prefix "$root/prefix" >/dev/null
"$1/tests/packaging/installed_tree.sh" "$1" "$root/prefix"
echo "installed: all is well"

mv "$root/prefix" "$root/moved"
"$1/tests/packaging/installed_tree.sh" "$1" "$root/moved"
echo "moved: all is well"
