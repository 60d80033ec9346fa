# The verbs test, modules, windows and cross. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

run_tests() {
    setup
    ! apt-cache show libtomcat10-java >/dev/null 2>&1 || packages libtomcat10-java # a test is left out without
    for each in release sanitize threads; do
        build "$each"
    done
    for each in release sanitize threads; do
        run ctest --test-dir "$build/$each" --output-on-failure
    done
    windows
    cross aarch64
    cross s390x
    for each in release sanitize threads windows aarch64 s390x; do
        cat "$build/$each/Testing/Temporary/LastTest.log"
    done | LC_ALL=C awk -f tests/count.awk
}

windows() {
    packages g++-mingw-w64-x86-64-posix wine64
    build windows
    run ctest --test-dir "$build/windows" --output-on-failure
}

# cross_compiler ARCH - the package of the compiler for another processor's Linux.
cross_compiler() {
    echo "g++-$1-linux-gnu" | tr _ -
}

cross() {
    packages "$(cross_compiler "$1")" qemu-user
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
