#!/usr/bin/env bash
# Documents that OpenSSL's GOST engine and GnuTLS make on this machine, now, are verified here:
#   peer_documents_test.sh SOURCE_FOLDER MVLPFX
# Exits with 77, which ctest shows as skipped, where a peer is missing.
set -euo pipefail

for peer in openssl certtool; do
    command -v "$peer" >/dev/null || { echo "SKIPPED: $peer is not installed"; exit 77; }
done
openssl engine gost >/dev/null 2>&1 || { echo "SKIPPED: OpenSSL has no GOST engine"; exit 77; }

tool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1/scripts/make-peer-documents" "$work"
cd "$work"

failed=0
expect() { # CODE NAME COMMAND...
    local code=0
    "${@:3}" >out.log 2>&1 || code=$?
    if [ "$code" -ne "$1" ]; then
        echo "FAILED: $2: exit code $code instead of $1"
        cat out.log
        failed=1
    fi
}

count=0
for document in *.pfx; do
    name=${document%.pfx}
    fits=0
    [ "$name" = openssl-33-bytes ] && fits=3
    forms=(pfx pem b64)
    # These cost 600,000 iterations a time.
    [[ $name = gnutls-* || $name = openssl-600000 ]] && forms=(pem)
    for form in "${forms[@]}"; do
        expect "$fits" "$name.$form" "$tool" verify "$name.$form" --pass-file "$name.password"
        expect 3 "$name.$form with a wrong password" \
            "$tool" verify "$name.$form" --pass-stdin <<<'wrong password'
        count=$((count + 1))
    done
done
echo "$count documents verified"
[ "$count" -ge 20 ] || failed=1
exit "$failed"
