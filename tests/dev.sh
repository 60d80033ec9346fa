#!/bin/sh
# dev.sh
# Tests ./dev where nothing is installed, and where everything is. The machine is simulated: dpkg's list of packages,
# a JDK that only prints what it reads, and the programs that would change something.
set -eu
work=
trap 'trap "" HUP INT PIPE TERM; [ -z "$work" ] || rm -rf "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
root=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=tests/scratch.sh
. "$root/tests/scratch.sh"
work=$(scratch_directory)

mkdir -p "$work/dpkg/info" "$work/jdk/bin" "$work/jdk/include" "$work/a, copy"
touch "$work/dpkg/status" "$work/jdk/include/jni.h"
# program NAME TEXT - found before the machine's own.
program() {
    printf '#!/bin/sh\n%s\n' "$2" >"$work/jdk/bin/$1"
    chmod +x "$work/jdk/bin/$1"
}
program javac 'echo javac 17'
program jar false
program java cat
program cmake 'echo ninja: no work to do.'
program sudo 'exec "$@"'
program apt-get 'echo E: changed >&2; exit 1'
export PATH="$work/jdk/bin:$PATH" DPKG_ADMINDIR="$work/dpkg"
unset JAVA_HOME
# copy DIRECTORY - as far as ./dev needs it.
copy() {
    (cd "$root" && cp --parents dev dev.d/* "$1")
}
copy "$work/a, copy"

# Help wants nothing.
"$work/a, copy/dev" quickstart --help >"$work/output"

# What it would install is all that it wants, held or not, and there for another architecture too.
"$work/a, copy/dev" setup >"$work/output" 2>&1 && exit 1
wanted=$(sed -n 's/.*apt-get install//p' "$work/output")
[ -n "$wanted" ]
for package in $wanted; do
    for architecture in $(dpkg --print-architecture) other; do
        printf '%s\n' "Package: $package" "Architecture: $architecture" 'Status: hold ok installed' 'Version: 1' \
            'Multi-Arch: same' 'Maintainer: x' 'Description: x' ''
    done
done >"$work/dpkg/status"
"$work/a, copy/dev" setup

# The tool has the caller's input, and its output alone.
mkdir -p "$work/a, copy/build/release/tool"
cp "$work/jdk/bin/java" "$work/a, copy/build/release/tool/tokbridge"
[ "$(echo typed | "$work/a, copy/dev" tool)" = typed ]

JAVA_HOME=/none "$work/a, copy/dev" setup 2>&1 | grep -q 'JAVA_HOME=/none is not a JDK'

# A path that would not do.
for character in '&' "'" '^' '<' '>' '|' '#' '	'; do
    mkdir "$work/a${character}b"
    copy "$work/a${character}b"
    "$work/a${character}b/dev" setup 2>"$work/output" && exit 1
    grep -q 'use another directory' "$work/output"
done
