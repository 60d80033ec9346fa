#!/bin/sh
# try.sh MODULE SCRATCH SUITE...
# Tries a module that bring_up.sh has brought up: runs the suite of real tokens, whose command SUITE is, and the tool's
# `check --write` with the rows of LegacyRows, and compares both with expected/MODULE, whose lines are:
#
#   like MODULE                         the expectations for another module apply to this one too
#   cannot TEST                         a test of the suite that is left out
#   version: TEXT                       the library and its version of C_GetInfo, the package and its version
#   RESULT OPERATION: MECHANISM...      the results of check
#   by itself: TEXT                     the behaviour of the module, for the page of modules
#   to know: TEXT                       advice to its users
#
# What works has to work, unless the module does not list it any more, and nothing else may be refused or wrong. A module
# of another version than the one recorded may offer more or less, and only a wrong result fails. SCRATCH gets check's
# rows, and a row for the page of modules.
set -eu
module=$1 scratch=$2
shift 2
here=$(dirname "$0")
written=$here/expected/$module
mkdir -p "$scratch"
cd "$scratch"
"$@" -Dtokbridge.test.module="$PKCS11_MODULE" -Dtokbridge.test.scratch="$scratch" \
    -Dtokbridge.test.cannot="$(sed -n 's/^cannot //p' "$written" | tr '\n' ' ')" \
    org.junit.platform.console.ConsoleLauncher --disable-banner --disable-ansi-colors \
    --fail-if-no-tests --include-tag any -c com.kelvane.tokbridge.test.RealTokenTest

status=0
"$@" com.kelvane.tokbridge.tool.trials.LegacyRows check --write --json --token "$TOKEN" ${PIN:+--pin-env PIN} >rows ||
    status=$?
[ $status -le 1 ] || {
    cat rows
    exit 1
}

file=${MODULE:-$PKCS11_MODULE}
package=$(dpkg-query -S "$file" "$(readlink -f "$file")" 2>/dev/null | sed -n '1s/[:,].*//p')
package="$package $(dpkg-query -W -f='${Version}' "$package")"
version=$(sed -nE '1s/.*"library":"([^"]*)","version":"([^"]*)".*/\1 \2/p' rows)
version="$version ($package)"
same=yes
grep -qxF "version: $version" "$written" || {
    same=
    echo "module $module is another version than the one recorded: $version"
}

# Both as lines "RESULT OPERATION: MECHANISM", sorted.
sed -nE 's/^\{"result":"([^"]*)","operation":"([^"]*)","mechanism":"CKM_([^"]*)".*/\1 \2: \3/p
    s/^\{"result":"([^"]*)","operation":"([^"]*)","mechanism":null.*/\1 \2: -/p' rows | sort -u >happened
like=$(sed -n 's/^like //p' "$written")
sed -nE 's/^((works|not offered|refused|wrong) [^:]*): */\1|/p' "$written" ${like:+"$here/expected/$like"} |
    awk -F'|' '{ split($2, names, " "); for (i in names) print $1 ": " names[i] }' | sort -u >expected
sed -nE 's/.*"mechanism":"CKM_([^"]*)".*/\1/p' rows | sort -u >listed
echo - >>listed
differs=$(
    comm -13 happened expected | sed -n 's/^works //p' | while read -r line; do
        ! grep -qxF -e "${line##*: }" listed || echo "no longer works: $line"
    done
    comm -23 happened expected | sed -nE '/^(refused|wrong) /s/^/not written down: /p'
)
[ -z "$differs" ] || echo "$differs"
[ -n "$same" ] || differs=$(echo "$differs" | grep '^not written down: wrong ' || :)
[ -z "$differs" ] || exit 1

texts() {
    sed -n "s/^$1: //p" "$written" | paste -sd' '
}
sed -nE '$s/.*"work":(.*),"doNotWork":(.*),"mechanisms":(.*),"mechanismsTried":(.*),"keys":.*/\1 \2 \3 \4/p' rows | {
    read -r work not offered tried
    printf '| `%s` | %s | %s of %s operations; %s of %s mechanisms were tried | %s | %s |\n' "${file##*/}" "$package" \
        "$work" $((work + not)) "$tried" "$offered" "$(texts 'by itself')" "$(texts 'to know')"
} >row
cat row
