#!/usr/bin/env bash
# Every program and library below a folder is hardened: hardening.sh FOLDER
set -euo pipefail

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# Debian's own start files lack the mark of CET, and the linker drops it from the whole; the code is
# there, at the begin of every function that the binary shows.
check_control_flow() { # BINARY
    objdump -d --no-show-raw-insn "$1" | awk '/endbr64/ { sub(":", "", $1); print $1 }' |
        sort >"$work/landing"
    [ "$(wc -l <"$work/landing")" -gt 20 ] || fail "$1: CET"
    nm -D --defined-only "$1" | awk '$2 == "T" { sub("^0*", "", $1); print $1 }' |
        sort -u >"$work/shown"
    [ -z "$(comm -13 "$work/landing" "$work/shown")" ] || fail "$1: CET of what it exports"
}

check() { # BINARY
    readelf -lW "$1" | grep GNU_RELRO >/dev/null || fail "$1: relro"
    readelf -dW "$1" | grep -E 'FLAGS.*(BIND_)?NOW' >/dev/null || fail "$1: now"
    readelf -hW "$1" | grep 'Type: *DYN' >/dev/null || fail "$1: position-independent"
    readelf -lW "$1" | grep 'GNU_STACK' | grep 'RW ' >/dev/null || fail "$1: stack"
    ! readelf -dW "$1" | grep -E 'R(UN)?PATH' | grep -v '\[$ORIGIN[^:]*\]' >/dev/null || fail "$1: runpath"
    nm -D "$1" | grep __stack_chk_fail >/dev/null || fail "$1: stack protector"
    nm -D "$1" | grep -v __stack_chk | grep '_chk@' >/dev/null || fail "$1: fortify"
    check_control_flow "$1"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
count=0
while IFS= read -r binary; do
    check "$binary"
    count=$((count + 1))
done < <(find "$1" -type f -exec sh -c 'head -c 4 "$1" | grep -q ELF' _ {} \; -print)
# The tool, the module, CryptoAPI and the provider.
[ "$count" -eq 4 ] || fail "$count binaries"
echo "$count binaries are hardened"
