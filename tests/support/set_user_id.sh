# For tests in bash, to be sourced: what a program does as one of another user.

# Prints what PROGRAM prints, which becomes a set-user-id program of the user nobody; WORK is a folder
# for files of its own. Answers 77, which ctest shows as skipped, where there can be no such program,
# and 1 where it fails.
run_set_user_id() { # PROGRAM WORK
    # A substitution does not inherit it.
    set -e
    # Where the file system or the process takes no such rights, no program gets any.
    cp "$(command -v id)" "$2/id"
    chown nobody "$2/id" "$1"
    chmod 4755 "$2/id" "$1"
    if [ "$("$2/id" -u)" != "$(id -u nobody)" ]; then
        echo "SKIPPED: no program can be set-user-id here" >&2
        return 77
    fi
    if ! "$1" 2>"$2/errors"; then
        cat "$2/errors" >&2
        # The libraries are loaded from the build folder, as that user.
        grep -q 'shared libraries' "$2/errors" || return 1
        echo "SKIPPED: the build folder is closed to the user nobody" >&2
        return 77
    fi
}
