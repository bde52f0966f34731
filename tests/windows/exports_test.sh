#!/usr/bin/env bash
# A DLL shows its functions and nothing else: windows_exports_test.sh LIBRARY LIST
set -euo pipefail
diff -u "$2" <(x86_64-w64-mingw32-objdump -p "$1" |
    sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p' | LC_ALL=C sort)
echo "exports of $(basename "$1") are those of $(basename "$2")"
