# The verb package. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

make_packages() {
    others=$(for each in x86_64 aarch64 s390x; do echo "$each"; done | grep -vx "$(uname -m)")
    # shellcheck disable=SC2046,SC2086 # lists of words
    packages dpkg-dev file g++-mingw-w64-x86-64-posix $(for each in $others; do cross_compiler "$each"; done)
    umask 022 # what is packed is for everybody
    for each in windows $others; do
        build "$each" tokbridge
    done
    build package all maven
    rm -f "$build/package"/*.deb
    run cpack --config "$build/package/CPackConfig.cmake" -B "$build/package" >"$scratch/cpack" 2>&1 || {
        cat "$scratch/cpack" >&2
        fail "the packages could not be made"
    }
    find "$build/package" -maxdepth 1 -name '*.deb'
    echo "$build/package/maven"
    [ $# -eq 0 ] || {
        packages mmdebstrap maven libmaven-compiler-plugin-java libmaven-resources-plugin-java
        run tests/packages/check.sh "$build/package" "$JAVA_HOME"
    }
}
