# The verbs test, modules, windows and cross. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

# run_tests - builds everything, then runs the tests of every preset, whatever the result of the others. The time of each
# and the total come last.
run_tests() {
    presets='release sanitize threads windows aarch64 s390x'
    setup
    ! apt-cache show libtomcat10-java >/dev/null 2>&1 || packages libtomcat10-java # without it one test is left out
    windows_packages
    cross_packages aarch64
    cross_packages s390x
    start=$(date +%s)
    times=
    failed=
    for each in $presets; do
        build "$each"
    done
    times="built in $(($(date +%s) - start)) s"
    for each in $presets; do
        start=$(date +%s)
        run ctest --test-dir "$build/$each" --parallel 2 --output-on-failure || failed="$failed $each"
        times="$times, $each tested in $(($(date +%s) - start)) s"
    done
    for each in $presets; do
        cat "$build/$each/Testing/Temporary/LastTest.log"
    done | LC_ALL=C awk -f dev.d/count.awk
    echo "Time: $times."
    [ -z "$failed" ] || fail "tests have failed:$failed"
}

windows_packages() {
    packages g++-mingw-w64-x86-64-posix wine64
}

windows() {
    windows_packages
    build windows
    run ctest --test-dir "$build/windows" --output-on-failure
}

# cross_compiler ARCH - the package of the compiler for another processor's Linux.
cross_compiler() {
    echo "g++-$1-linux-gnu" | tr _ -
}

cross_packages() {
    packages "$(cross_compiler "$1")" qemu-user
}

cross() {
    cross_packages "$1"
    build "$1"
    run ctest --test-dir "$build/$1" --output-on-failure
}

# modules - the page of modules is created beside the one that is kept.
modules() {
    build release
    available=
    for package in libnss3 libnss3-tools libtpm2-pkcs11-1 libtss2-tcti-tabrmd0 swtpm tpm2-abrmd dbus opensc-pkcs11 \
        pcscd vsmartcard-vpcd python3-cryptography ykcs11 cackey coolkey opencryptoki iproute2; do
        ! apt-cache show "$package" >/dev/null 2>&1 || available="$available $package"
    done
    # shellcheck disable=SC2086 # a list of words
    packages $available
    run ctest --test-dir "$release" -R '^module-' --output-on-failure
    {
        sed '/^|---/q' docs/modules.md
        cat "$release"/tests/module-*/row
        sed '1,/^|---/d; /^|/d' docs/modules.md
    } >"$release/modules.md"
    if cmp -s docs/modules.md "$release/modules.md"; then
        echo "docs/modules.md is up to date."
    else
        echo "docs/modules.md has other rows than $release/modules.md"
    fi
}
