#!/usr/bin/env bash
# A set-user-id process takes its settings from /etc alone, and its temporary files to /tmp:
# secure_process_test.sh PROGRAM
# The program prints the type of the provider and the temporary directory; the settings that the
# environment names say 75.
set -euo pipefail
. "$(dirname "$0")/../../support/set_user_id.sh"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
cat > "$work/settings.toml" <<'TOML'
['SOFTWARE\Microsoft\Cryptography\Defaults\Provider\Velmorix Cryptographic Service Provider']
Type = 75
TOML
cp "$1" "$work/program"
export VELMORIX_SETTINGS="$work/settings.toml" TMPDIR="$work"

plain=$("$work/program")
[ "$plain" = "75 $work/" ] || { echo "an ordinary process read $plain, not 75 $work/"; exit 1; }

if [ "$(id -u)" != 0 ] || [ -f /etc/velmorix/settings.toml ]; then
    echo "needs root, and no settings in /etc"
    exit 77
fi
secure=$(run_set_user_id "$work/program" "$work")
[ "$secure" = "2 /tmp/" ] || { echo "a set-user-id process read $secure, not 2 /tmp/"; exit 1; }
