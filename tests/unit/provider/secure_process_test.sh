#!/usr/bin/env bash
# A set-user-id process keeps keys where its user's entry says, not where the environment says:
#   secure_process_test.sh PROGRAM
# The program prints the folder of the user's containers.
set -euo pipefail
. "$(dirname "$0")/../../support/set_user_id.sh"

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
secure=$(run_set_user_id "$work/program" "$work")
home=$(getent passwd nobody | cut -d: -f6)
[ "$secure" = "$home/.local/share/velmorix/keys" ] || { echo "a set-user-id process has $secure"; exit 1; }
