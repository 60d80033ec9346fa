#!/bin/sh
# try.sh MODULE SCRATCH TOOL SUITE...
# Tries a module that bring_up.sh has brought up: runs the suite of real tokens, whose command SUITE is, and the tool's
# `check --write`, and compares both with what is written down in expected/MODULE, whose lines are:
#
#   like MODULE                         what is written down for another module goes for this one too
#   cannot TEST                         a test of the suite that is left out
#   RESULT OPERATION: MECHANISM...      how check ends; what works must, nothing else may go wrong than what is named
#   by itself: TEXT                     what the module does, for the page of modules
#   to know: TEXT                       what its users should know
#
# SCRATCH gets check's rows, and a row for the page of modules.
set -eu
module=$1 scratch=$2 tool=$3
shift 3
here=$(dirname "$0")
written=$here/expected/$module
mkdir -p "$scratch"
cd "$scratch"
"$@" -Dtokbridge.test.module="$PKCS11_MODULE" -Dtokbridge.test.scratch="$scratch" \
    -Dtokbridge.test.cannot="$(sed -n 's/^cannot //p' "$written" | tr '\n' ' ')" \
    org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors \
    --fail-if-no-tests --include-tag any -c com.kelvane.tokbridge.test.RealTokenTest

status=0
"$tool" check --write --json --token "$TOKEN" ${PIN:+--pin-env PIN} >rows || status=$?
[ $status -le 1 ] || {
    cat rows
    exit 1
}

# Both as lines "RESULT OPERATION: MECHANISM", sorted.
sed -nE 's/^\{"result":"([^"]*)","operation":"([^"]*)","mechanism":"CKM_([^"]*)".*/\1 \2: \3/p
    s/^\{"result":"([^"]*)","operation":"([^"]*)","mechanism":null.*/\1 \2: -/p' rows | sort -u >happened
like=$(sed -n 's/^like //p' "$written")
sed -nE 's/^((works|not offered|refused|wrong) [^:]*): */\1|/p' "$written" ${like:+"$here/expected/$like"} |
    awk -F'|' '{ split($2, names, " "); for (i in names) print $1 ": " names[i] }' | sort -u >expected
# What a version of the module does not list any more is no fault.
sed -nE 's/.*"mechanism":"CKM_([^"]*)".*/\1/p' rows | sort -u >listed
echo - >>listed
failed=$(
    comm -13 happened expected | sed -n 's/^works //p' | while read -r line; do
        ! grep -qxF -e "${line##*: }" listed || echo "no longer works: $line"
    done
    comm -23 happened expected | grep -E '^(not offered|refused|wrong) ' | sed 's/^/not written down: /' || :
)
[ -z "$failed" ] || {
    echo "$failed"
    exit 1
}

file=${FORWARD_TO:-$PKCS11_MODULE}
package=$(dpkg-query -S "$file" "$(readlink -f "$file")" 2>/dev/null | sed -n '1s/[:,].*//p')
texts() {
    sed -n "s/^$1: //p" "$written" | paste -sd' '
}
sed -nE '$s/.*"work":(.*),"doNotWork":(.*),"mechanisms":(.*),"mechanismsTried":(.*),"keys":.*/\1 \2 \3 \4/p' rows | {
    read -r work not offered tried
    printf '| `%s` | %s %s | %s of %s operations; %s of %s mechanisms were tried | %s | %s |\n' "${file##*/}" \
        "$package" "$(dpkg-query -W -f='${Version}' "$package")" "$work" $((work + not)) "$tried" "$offered" \
        "$(texts 'by itself')" "$(texts 'to know')"
} >row
cat row
