#!/usr/bin/env bash
# The module shows its functions and nothing else: exports_test.sh LIBRARY LIST
set -euo pipefail
diff -u "$2" <(nm -D --defined-only --format=posix "$1" | awk '{print $1}' | LC_ALL=C sort)
echo "exports of $(basename "$1") are those of $(basename "$2")"
