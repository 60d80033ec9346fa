#!/bin/sh
# run_suite.sh SCRATCH JAVA ARGUMENTS...
# Runs a Java program of the tests. Fails with it, or when the JVM has reported a misuse of JNI, or when memory of the
# library leaked. The JVM's own output is in SCRATCH/vm.log, the sanitizers' in SCRATCH/asan.*; the files of the tests are
# in SCRATCH too. Tokens and sockets, which need short and simple paths, are in a temporary directory that is removed.
set -eu
unset PKCS11DEBUG PKCS11_MODULE JAVA_TOOL_OPTIONS JDK_JAVA_OPTIONS _JAVA_OPTIONS CLASSPATH
export LC_ALL=C.UTF-8
scratch=$1
shift

rm -rf "$scratch"
mkdir -p "$scratch"
[ -z "${ASAN_OPTIONS:-}" ] || export ASAN_OPTIONS="$ASAN_OPTIONS:log_path=\"$scratch/asan\""

short=
clean() {
    trap '' HUP INT PIPE TERM
    [ -z "$short" ] || rm -rf "$short"
}
trap clean EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
# The path of a socket has at most 107 bytes.
parent=${TMPDIR:-/tmp}
[ ${#parent} -le 64 ] || parent=/tmp
# shellcheck source=tests/scratch.sh
. "$(dirname "$0")/scratch.sh"
short=$(scratch_directory "$parent")
mkdir "$short/tokens"
printf 'directories.tokendir = %s\nobjectstore.backend = file\nlog.level = ERROR\n' "$short/tokens" \
    >"$short/softhsm2.conf"
export SOFTHSM2_CONF="$short/softhsm2.conf" P11_KIT_SERVER_ADDRESS="unix:path=$short/socket"

java=$1
shift
status=0
"$java" --enable-native-access=ALL-UNNAMED -Dtokbridge.test.scratch="$scratch" -Djava.io.tmpdir="$short" \
    -XX:+UnlockDiagnosticVMOptions -XX:+LogVMOutput -XX:-DisplayVMOutput -XX:LogFile="$scratch/vm.log" \
    -XX:ErrorFile="$scratch/crash.log" -XX:-CreateCoredumpOnCrash "$@" || status=$?

complaints='WARNING in native method:|WARNING: JNI local refs:|FATAL ERROR in native method:'
complaints="$complaints|checked_jni_|failed bounds check"
if grep -n -E -A 12 "$complaints" "$scratch/vm.log"; then
    echo "run_suite.sh: the JVM complains about JNI, see $scratch/vm.log" >&2
    status=1
fi

# The JVM and modules leak memory at the end, and the JVM keeps data of classes and IDs for ever. Only leaks of the library
# count: memory that it allocated, and arrays and strings that it pinned. The first frame that is neither the sanitizer's
# nor the JVM's is then the library's own, or jni.h's Get function. One array is never released on purpose.
for report in "$scratch"/asan.*; do
    [ -f "$report" ] || continue
    if ! awk 'BEGIN { RS = "" }
        /SUMMARY: .*(AddressSanitizer|UndefinedBehavior)/ && !/leaked/ { print; bad = 1 }
        /leak of/ && !/NativePKCS11Session_getAttributeValues/ {
            lines = split($0, line, "\n")
            for (i = 2; i <= lines && line[i] ~ /libsanitizer|libasan|libjvm/; ++i)
                ;
            if (i <= lines && (line[i] ~ /JNIEnv_::Get[A-Za-z]*(Elements|Chars|Critical)\(/ ||
                line[i] !~ /jni\.h/ && line[i] ~ /\/src\/(bridge|marshal|slot|session|extensions)\//)) { print; bad = 1 }
        }
        END { exit bad }' "$report"; then
        echo "run_suite.sh: see $report" >&2
        status=1
    fi
done
exit "$status"
