#!/bin/sh
# handles.sh BUILD JAVA
# What wide handles cost: the figures of handles.cpp, and the least address space in which a small JVM loads the library.
set -eu
build=$1
"$build/bench/handles_bench" "$build/tests/native/libstub_module.so"

# runs KILOBYTES [without]
runs() {
    (
        ulimit -v "$1"
        shift
        exec "$java" -Xmx8m -Xss512k -XX:+UseSerialGC -XX:TieredStopAtLevel=1 -XX:ReservedCodeCacheSize=8m \
            -XX:CompressedClassSpaceSize=8m -XX:-UsePerfData -XX:ErrorFile=/dev/null -Xshare:off \
            -Dtokbridge.library="$build/libtokbridge.so" \
            -cp "$build/tokbridge.jar:$build/tokbridge-bench.jar" com.kelvane.tokbridge.bench.Loaded "$@"
    ) >/dev/null 2>&1
}

# least [without] - by halving
least() {
    low=50000 high=4000000
    while [ $((high - low)) -gt 1000 ]; do
        middle=$(((low + high) / 2))
        if runs $middle "$@"; then high=$middle; else low=$middle; fi
    done
    echo "$high"
}

java=$2
printf '%-78s %8d kB\n' 'ulimit -v for a small JVM without the library' "$(least without)"
printf '%-78s %8d kB\n' '    that loads it' "$(least)"
