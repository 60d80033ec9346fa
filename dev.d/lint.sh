# The verbs format and lint. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

# One version of the formatter, which every Debian has: each one lays out a little differently.
clang=19

sources() {
    find bench fuzz src tests -name '*.cpp' -o -name '*.h'
}

# java_sources - without those that declare a module or a package, which checkstyle does not parse.
java_sources() {
    find bench java provider samples tests tool -name '*.java' ! -name '*-info.java'
}

format() {
    packages clang-format-$clang
    # shellcheck disable=SC2046 # a list of words
    clang-format-$clang -i $(sources)
}

# folders - checks that each file of src includes its own folder and those below alone, and none of native methods.
folders() {
    below=
    for folder in bridge marshal session slot extensions; do
        below="$below${below:+|}$folder"
        ! grep -nE '^#include "([a-z0-9]+/|.*native_.*\.cpp)' "$root/src/$folder"/* |
            grep -vE ":#include \"($below)/[a-z0-9_]+\.h\"" || fail "src/$folder includes a folder that is not below it"
    done
}

# layers - checks that each package of the tool imports itself and those below alone.
layers() {
    tool=com/kelvane/tokbridge/tool below=
    for layer in token reports trials commands; do
        below="$below${below:+|}$layer"
        ! grep -nE '^import (static )?com\.kelvane\.tokbridge\.tool\.' "$root/tool/$tool/$layer"/*.java |
            grep -vE "tokbridge\.tool\.($below)\." || fail "the tool's $layer imports a package that is not below it"
    done
}

lint() {
    packages clang-format-$clang clang-tidy-$clang checkstyle shellcheck
    build release
    # shellcheck disable=SC2046
    clang-format-$clang --dry-run --Werror $(sources) || fail "repair with: ./dev format"
    folders
    layers
    (cd "$root" && shellcheck -x -S warning dev dev.d/*.sh tests/*.sh tests/*/*.sh fuzz/*.sh) || fail "see above"
    scratch_directory
    # shellcheck disable=SC2046
    run checkstyle -c "$root/dev.d/checkstyle.xml" $(java_sources) >"$scratch/lint" 2>&1 || {
        grep -E '^\[|Caused by' "$scratch/lint" >&2
        fail "checkstyle has found errors"
    }
    checked=$(sources | grep -E '^(src|tests|fuzz)/.*\.cpp$' | grep -v windows)
    # shellcheck disable=SC2086
    run clang-tidy-$clang --quiet -p "$release" $checked 2>"$scratch/lint" || {
        grep -vE '^\[[0-9]+/|warnings? generated' "$scratch/lint" >&2
        fail "clang-tidy has found errors"
    }
    echo "No errors."
}
