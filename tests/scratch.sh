# Read by the scripts of the tests.
# shellcheck shell=sh

# scratch_directory [PARENT] - creates a directory in PARENT or TMPDIR from which programs and libraries can be started,
# and prints its name.
scratch_directory() {
    parent=${1:-${TMPDIR:-/tmp}}
    directory=$(mktemp -d "$parent/tokbridge.XXXXXX") || return
    printf '#!/bin/sh\n' >"$directory/program"
    chmod +x "$directory/program"
    "$directory/program" 2>/dev/null || {
        rm -r "$directory"
        echo "no program can be started from $parent (noexec?): name another directory in TMPDIR" >&2
        return 1
    }
    rm "$directory/program"
    echo "$directory"
}
