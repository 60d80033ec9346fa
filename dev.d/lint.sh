# The verbs format and lint. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

# One version of the formatter, which every Debian has: each one lays out a little differently.
clang=19

sources() {
    find bench fuzz src tests -name '*.cpp' -o -name '*.h'
}

format() {
    packages clang-format-$clang
    # shellcheck disable=SC2046 # a list of words
    clang-format-$clang -i $(sources)
}

# rooms - whether each file of src includes its own room and those below alone, and none of native methods.
rooms() {
    below=
    for room in bridge marshal session slot extensions; do
        below="$below${below:+|}$room"
        ! grep -nE '^#include "([a-z0-9]+/|.*native_.*\.cpp)' "$root/src/$room"/* |
            grep -vE ":#include \"($below)/[a-z0-9_]+\.h\"" || fail "$room includes what is not below it"
    done
}

# layers - whether each package of the tool imports itself and those below alone.
layers() {
    tool=com/kelvane/tokbridge/tool below=
    for layer in token trials reports commands; do
        below="$below${below:+|}$layer"
        ! grep -nE '^import (static )?com\.kelvane\.tokbridge\.tool\.' "$root/tool/$tool/$layer"/*.java |
            grep -vE "tokbridge\.tool\.($below)\." || fail "the tool's $layer imports what is not below it"
    done
}

lint() {
    packages clang-format-$clang clang-tidy-$clang
    build release
    # shellcheck disable=SC2046
    clang-format-$clang --dry-run --Werror $(sources) || fail "repair with: ./dev format"
    rooms
    layers
    scratch_directory
    checked=$(sources | grep '^src/.*\.cpp$' | grep -v windows)
    # shellcheck disable=SC2086
    run clang-tidy-$clang --quiet -p "$release" $checked 2>"$scratch/lint" || {
        grep -vE '^\[[0-9]+/|warnings? generated' "$scratch/lint" >&2
        fail "clang-tidy has found something"
    }
    echo "Nothing to complain about."
}
