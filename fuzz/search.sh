#!/bin/sh
# Searches for inputs that break the library, and reports the share of each file's lines that the corpus and the tests
# without a JVM reach. Arguments: the build directory, the number of minutes.
set -eu
sources=$(dirname "$0")/../src
corpus=$(dirname "$0")/corpus
cd "$1"

mkdir -p found
rm -f fuzz-?.log
fuzz/fuzz_search -jobs=2 -workers=2 -max_total_time=$(($2 * 60)) -max_len=1024 -timeout=60 -print_final_stats=1 \
    found "$corpus" >search.log 2>&1 || {
    tail -n 40 fuzz-?.log >&2
    echo "Found a fault. Again, for each crash-* in $PWD: fuzz/fuzz_search FILE" >&2
    exit 1
}
awk '/^stat::number_of_executed_units:/ { inputs += $2 } END { print inputs " inputs, no fault" }' fuzz-?.log

rm -rf profiles
export LLVM_PROFILE_FILE="$PWD/profiles/%p-%m"
ctest --output-on-failure >ctest.log || {
    cat ctest.log >&2
    exit 1
}
llvm-profdata merge profiles -o lines.profdata
# Not counted: functions that the compiler alone evaluates.
llvm-cov report libtokbridge.so -object tests/native/native_test -instr-profile=lines.profdata \
    -ignore-filename-regex='cryptoki.h|parameter_fields.h|sorted_rows.h' "$sources" 2>search.log |
    awk '$10 ~ /%$/ { printf "%7s of %4d lines  %s\n", $10, $8, $1; low += $10 + 0 < 95 }
        END { if (low > 0 || NR == 0) { print "Fewer than 95 % of the lines of a file are reached."; exit 1 } }'
