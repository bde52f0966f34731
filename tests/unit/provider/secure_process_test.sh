#!/usr/bin/env bash
# A set-user-id process keeps keys where its user's entry says, not where the environment says:
#   secure_process_test.sh PROGRAM
# The program prints the folder of the user's containers.
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
cp "$1" "$work/program"
export VELMORIX_HOME="$work/named" XDG_DATA_HOME="$work/data" HOME="$work/home"

plain=$("$work/program")
[ "$plain" = "$work/named/keys" ] || { echo "an ordinary process has $plain"; exit 1; }

if [ "$(id -u)" != 0 ]; then
    echo "SKIPPED: only root can make a set-user-id program of another user"
    exit 77
fi
# Where the file system or the process takes no such rights, no program gets any.
cp "$(command -v id)" "$work/id"
chown nobody "$work/id" "$work/program"
chmod 4755 "$work/id" "$work/program"
if [ "$("$work/id" -u)" != "$(id -u nobody)" ]; then
    echo "SKIPPED: no program can be set-user-id here"
    exit 77
fi
if ! secure=$("$work/program" 2>"$work/errors"); then
    cat "$work/errors"
    # The libraries are loaded from the build folder, as that user.
    grep -q 'shared libraries' "$work/errors" || exit 1
    echo "SKIPPED: the build folder is closed to the user nobody"
    exit 77
fi
home=$(getent passwd nobody | cut -d: -f6)
[ "$secure" = "$home/.local/share/velmorix/keys" ] || { echo "a set-user-id process has $secure"; exit 1; }
