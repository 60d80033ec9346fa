# The verb bench. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables of ./dev

# program ARGUMENTS... - runs a Java program on the release build, where the caller is.
program() {
    cd "$caller" || exit
    run "$JAVA_HOME/bin/java" --enable-native-access=ALL-UNNAMED -Dtokbridge.library="$release/libtokbridge.so" "$@"
}

# on_scripted_token MAIN ARGUMENTS... - runs a program of the tests.
on_scripted_token() {
    junit=/usr/share/java/junit-platform-console-standalone.jar
    program -Dtokbridge.test.token="$release/tests/libscripted_token.so" -Dtokbridge.test.scratch="$scratch" \
        -Dtokbridge.test.spy="$release/tests/libjni_spy.so" \
        -cp "$release/tokbridge.jar:$release/tests/tokbridge-tests.jar:$junit" "$@"
}

bench() {
    build release
    scratch_token
    case ${1:-} in
    --calls)
        no_arguments "bench --calls" ${2+"$2"}
        on_scripted_token com.kelvane.tokbridge.test.JniTest
        return
        ;;
    esac
    program -cp "$release/tokbridge.jar:$release/tokbridge-provider.jar:$release/tokbridge-bench.jar" \
        -Dtokbridge.bench.library="$release/libtokbridge_bench.so" \
        com.kelvane.tokbridge.bench.Bench "$@"
}
