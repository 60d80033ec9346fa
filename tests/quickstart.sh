#!/bin/sh
# quickstart.sh COMMAND...
# Initialises a token in the directory that SOFTHSM2_CONF configures, and runs COMMAND, the tool's check, on it. JAVA in
# the environment is put before COMMAND.
set -eu
directory=$(dirname "$SOFTHSM2_CONF")
umask 077
for name in pin so-pin; do
    od -An -tu4 -N4 /dev/urandom | tr -cd 0-9 >"$directory/$name"
done
softhsm2-util --init-token --free --label quickstart --pin "$(cat "$directory/pin")" \
    --so-pin "$(cat "$directory/so-pin")" >"$directory/log" 2>&1 || {
    cat "$directory/log" >&2
    exit 3
}
status=0
${JAVA:+"$JAVA"} "$@" --token quickstart --pin-file "$directory/pin" || status=$?
# 1 is a negative result, as for one mechanism of SoftHSM2 (docs/modules.md).
[ "$status" -le 1 ]
