#!/usr/bin/env bash
# The Debian packages as a new user meets them: packages_test.sh SOURCE FOLDER-OF-PACKAGES
#
# They are unpacked to a folder, which only an installation by root would differ from, and used
# without any variable that would help.
set -euo pipefail
source=$1
packages=$2
triplet=$(dpkg-architecture -qDEB_HOST_MULTIARCH 2>/dev/null || gcc -print-multiarch)

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for package in libmvlpfx0 libmvlpfx-dev mvlpfx; do
    dpkg-deb -x "$packages/$package"_*.deb "$root"
done
libraries=$root/usr/lib/$triplet
mkdir "$root/home"
printf 'Password1\n' >"$root/password"
bare() { env -i "HOME=$root/home" PATH=/usr/bin:/bin "$@"; }
fail() {
    echo "FAILED: $*" >&2
    exit 1
}

echo "the tool finds module and provider, and its manual page is there"
bare "$root/usr/bin/mvlpfx" new --subject CN=packages --exportable >/dev/null
[ "$(bare "$root/usr/bin/mvlpfx" create -o "$root/out.pfx" --pass-file "$root/password")" = \
    "$root/out.pfx: 1 key, 1 certificate" ] || fail "create"
[ -d "$root/home/.local/share/velmorix/keys" ] || fail "the key is not in the user's folder"
[ -s "$root/usr/share/man/man1/mvlpfx.1" ] || fail "no manual page"

echo "a program in C and one in C++, through pkg-config"
query() {
    PKG_CONFIG_SYSROOT_DIR=$root PKG_CONFIG_LIBDIR=$libraries/pkgconfig pkg-config "$@" mvlpfx
}
examples=$root/usr/share/doc/mvlpfx/examples
strict="-Wall -Wextra -Werror -Wl,-rpath,$libraries"
# Words are split on purpose.
# shellcheck disable=SC2046,SC2086
{
    gcc -std=c99 -D_POSIX_C_SOURCE=200809L $strict $(query --cflags) "$examples/verify.c" \
        -o "$root/verify" $(query --libs)
    g++ -std=c++20 $strict $(query --cflags) "$examples/backup.cpp" -o "$root/backup" \
        $(query --libs)
}
try_examples() { # VERIFY BACKUP
    [ "$(bare PFX_PASSWORD=Password1 "$1" "$root/out.pfx")" = "the password fits" ] || fail "$1"
    [ "$(bare PFX_PASSWORD=wrong "$1" "$root/out.pfx")" = "the password is wrong" ] || fail "$1"
    [ "$(bare PFX_PASSWORD=Password1 "$2" "$root/backup.pfx")" = \
        "1 certificates written, 1 restored" ] || fail "$2"
}
try_examples "$root/verify" "$root/backup"

echo "the same through find_package"
cmake -S "$examples" -B "$root/build" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$root/build" >/dev/null
try_examples "$root/build/verify" "$root/build/backup"

echo "the libraries show what their lists say"
"$source/tests/arch/exports_test.sh" "$libraries/libmvlpfx64.so.0" \
    "$source/tests/arch/mvlpfx64.exports"
"$source/tests/arch/exports_test.sh" "$libraries/libvlxcapi.so.0" \
    "$source/tests/unit/capi/vlxcapi.exports"
for library in libmvlpfx64 libvlxcapi; do
    readelf -d "$libraries/$library.so" | grep "SONAME.*\[$library.so.0\]" >/dev/null || fail "$library"
done

echo "they are hardened"
for binary in "$root/usr/bin/mvlpfx" "$libraries/libmvlpfx64.so.0" "$libraries/libvlxcapi.so.0" \
    "$libraries/velmorix/velmorixcsp.so"; do
    readelf -lW "$binary" | grep GNU_RELRO >/dev/null || fail "$binary: relro"
    readelf -dW "$binary" | grep -E 'FLAGS.*(BIND_)?NOW' >/dev/null || fail "$binary: now"
    readelf -hW "$binary" | grep 'Type: *DYN' >/dev/null || fail "$binary: position-independent"
    readelf -lW "$binary" | grep 'GNU_STACK' | grep 'RW ' >/dev/null || fail "$binary: stack"
    # Debian's own start files lack the mark of CET, and the linker drops it from the whole; the
    # code is there.
    [ "$(objdump -d "$binary" | grep -c endbr64)" -gt 20 ] || fail "$binary: CET"
    nm -D "$binary" | grep __stack_chk_fail >/dev/null || fail "$binary: stack protector"
done
nm -D "$libraries/libvlxcapi.so.0" | grep '_chk@' >/dev/null || fail "fortify"
echo "packages: all is well"
