#!/usr/bin/env bash
# An installed tree as a new user meets it, without any variable that would help:
# installed_tree.sh SOURCE PREFIX
set -euo pipefail
source=$1
prefix=$2

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/home"
printf 'Password1\n' >"$work/password"
bare() { env -i "HOME=$work/home" PATH=/usr/bin:/bin "$@"; }
fail() {
    echo "FAILED: $*" >&2
    exit 1
}
libraries=$(dirname "$(find "$prefix/lib" -name libmvlpfx64.so)")

echo "the tool finds module and provider, and its manual page is there"
bare "$prefix/bin/mvlpfx" new --subject CN=packages --exportable >/dev/null
[ "$(bare "$prefix/bin/mvlpfx" create -o "$work/out.pfx" --pass-file "$work/password")" = \
    "$work/out.pfx: 1 key, 1 certificate" ] || fail "create"
[ -d "$work/home/.local/share/velmorix/keys" ] || fail "the key is not in the user's folder"
[ -s "$prefix/share/man/man1/mvlpfx.1" ] || fail "no manual page"

examples=$prefix/share/doc/mvlpfx/examples
# The first message of RFC 6986, and its hash with the octets in the order of OpenSSL's GOST engine.
printf '012345678901234567890123456789012345678901234567890123456789012' >"$work/message"
hash=9d151eefd8590b89daa6ba6cb74af9275dd051026bb149a452fd84e5e57b5500
try_hash() { # PROGRAM
    [ "$(bare "$1" "$work/message")" = "$hash" ] || fail "$1"
    ! readelf -d "$1" | grep 'NEEDED.*mvlpfx' >/dev/null || fail "$1 needs the module"
}
try_examples() { # FOLDER
    [ "$(bare PFX_PASSWORD=Password1 "$1/verify" "$work/out.pfx")" = "the password fits" ] ||
        fail "$1/verify"
    [ "$(bare PFX_PASSWORD=wrong "$1/verify" "$work/out.pfx")" = "the password is wrong" ] ||
        fail "$1/verify"
    [ "$(bare PFX_PASSWORD=Password1 "$1/backup" "$work/backup.pfx")" = \
        "1 certificates written, 1 restored" ] || fail "$1/backup"
    try_hash "$1/hash"
}

echo "programs in C and C++, through pkg-config"
query() { PKG_CONFIG_LIBDIR=$libraries/pkgconfig pkg-config "$@"; }
strict=(-Wall -Wextra -Werror "-Wl,-rpath,$libraries")
mkdir "$work/plain"
# Words are split on purpose.
# shellcheck disable=SC2046
{
    gcc -std=c99 -D_POSIX_C_SOURCE=200809L "${strict[@]}" $(query --cflags mvlpfx) \
        "$examples/verify.c" -o "$work/plain/verify" $(query --libs mvlpfx)
    g++ -std=c++20 "${strict[@]}" $(query --cflags mvlpfx) "$examples/backup.cpp" \
        -o "$work/plain/backup" $(query --libs mvlpfx)
    gcc -std=c99 "${strict[@]}" $(query --cflags vlxcapi) "$examples/hash.c" \
        -o "$work/plain/hash" $(query --libs vlxcapi)
}
try_examples "$work/plain"

echo "the same through find_package"
cmake -S "$examples" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/build" >/dev/null
try_examples "$work/build"
cmake -S "$source/tests/packaging/capi_alone" -B "$work/capi" -DEXAMPLES="$examples" \
    -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/capi" >/dev/null
try_hash "$work/capi/hash"

echo "the libraries show what their lists say"
"$source/tests/arch/exports_test.sh" "$libraries/libmvlpfx64.so.0" \
    "$source/tests/arch/mvlpfx64.exports"
"$source/tests/arch/exports_test.sh" "$libraries/libvlxcapi.so.0" \
    "$source/tests/unit/capi/vlxcapi.exports"
"$source/tests/arch/exports_test.sh" "$libraries/velmorix/velmorixcsp.so" \
    "$source/tests/unit/provider/velmorixcsp.exports"
for library in libmvlpfx64 libvlxcapi; do
    readelf -d "$libraries/$library.so" | grep "SONAME.*\[$library.so.0\]" >/dev/null || fail "$library"
done

"$source/tests/packaging/hardening.sh" "$prefix"
