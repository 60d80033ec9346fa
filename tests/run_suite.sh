#!/bin/sh
# run_suite.sh SCRATCH JAVA ARGUMENTS...
# Runs a Java program of the tests and fails with it, or when the JVM has complained about a use of JNI, or when memory
# was lost that the library had asked for. The JVM's own output goes to SCRATCH/vm.log, the sanitizers' to
# SCRATCH/asan.*; the token directory and the files of the tests are in SCRATCH too. With a module's path in SERVED,
# p11-kit serves that module on a socket meanwhile.
set -eu
scratch=$1
shift

rm -rf "$scratch"
mkdir -p "$scratch/tokens"
printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' "$scratch/tokens" \
    > "$scratch/softhsm2.conf"
SOFTHSM2_CONF=$scratch/softhsm2.conf
export SOFTHSM2_CONF
unset PKCS11DEBUG
[ -z "${ASAN_OPTIONS:-}" ] || export ASAN_OPTIONS="$ASAN_OPTIONS:log_path=$scratch/asan"

if [ -n "${SERVED:-}" ]; then
    env -u LD_PRELOAD p11-kit server -f -n "$scratch/socket" --provider "$SERVED" pkcs11: >"$scratch/server.log" 2>&1 &
    server=$!
    trap 'kill $server' EXIT
    until [ -S "$scratch/socket" ]; do
        kill -0 "$server" # it has not ended
        sleep 0.1
    done
    export P11_KIT_SERVER_ADDRESS="unix:path=$scratch/socket"
fi

java=$1
shift
status=0
"$java" --enable-native-access=ALL-UNNAMED -Dtokbridge.test.scratch="$scratch" \
    -XX:+UnlockDiagnosticVMOptions -XX:+LogVMOutput -XX:-DisplayVMOutput -XX:LogFile="$scratch/vm.log" \
    -XX:ErrorFile="$scratch/crash.log" -XX:-CreateCoredumpOnCrash "$@" || status=$?

complaints='WARNING in native method:|WARNING: JNI local refs:|FATAL ERROR in native method:'
complaints="$complaints|checked_jni_|failed bounds check"
if grep -n -E -A 12 "$complaints" "$scratch/vm.log"; then
    echo "run_suite.sh: the JVM complains about JNI, see $scratch/vm.log" >&2
    status=1
fi

# The JVM and modules leave memory behind at the end; what counts is what the library asked the JVM for: the first frame
# that is neither the sanitizer's nor the JVM's is the library's. The JVM keeps method IDs for ever, and the one array
# that is never released is known.
for report in "$scratch"/asan.*; do
    [ -f "$report" ] || continue
    if ! awk 'BEGIN { RS = "" }
        /SUMMARY: .*(AddressSanitizer|UndefinedBehavior)/ && !/leaked/ { print; bad = 1 }
        /leak of/ && !/NativePKCS11Session_getAttributeValues|jni_Get(Static)?MethodID/ {
            lines = split($0, line, "\n")
            for (i = 2; i <= lines && line[i] ~ /libsanitizer|libasan|libjvm/; ++i)
                ;
            if (i <= lines && line[i] ~ /jni\.h|\/src\/(bridge|marshal|slot|session)\//) { print; bad = 1 }
        }
        END { exit bad }' "$report"; then
        echo "run_suite.sh: see $report" >&2
        status=1
    fi
done
exit "$status"
