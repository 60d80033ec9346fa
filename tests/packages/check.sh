#!/bin/sh
# check.sh DIRECTORY JDK
# Installs the Debian packages of a directory in a bare root of this Debian, from the mirror that this machine's apt has,
# and uses them there: the tool, and an application with nothing but the class path. The root goes when it has passed.
set -eu
work=
trap 'trap "" HUP INT PIPE TERM; [ -z "$work" ] || rm -rf "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
work=$(mktemp -d)
export WORK="$work"
chmod 755 "$work"

cp "$1"/*.deb "$work"
"$2/bin/javac" --release 11 -cp "$1/tokbridge.jar" -d "$work" "$(dirname "$0")/app/App.java"
cat >"$work/inside.sh" <<'INSIDE'
set -eu
cd /opt/work
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends ./*.deb softhsm2 >/dev/null 2>apt || { cat apt; exit 1; }
softhsm=/usr/lib/softhsm/libsofthsm2.so
mkdir tokens
printf 'directories.tokendir = /opt/work/tokens\n' >softhsm2.conf
export SOFTHSM2_CONF=/opt/work/softhsm2.conf
tokbridge quickstart | grep '^All checks of'
tokbridge info --module $softhsm | grep 'quickstart'
bash -n /usr/share/bash-completion/completions/tokbridge
java -cp /usr/share/java/tokbridge.jar:. app.App $softhsm
zcat /usr/share/man/man1/tokbridge.1.gz | grep -q '^\.Nm tokbridge'
apt-get remove -y -qq libtokbridge-jni >/dev/null
left=$(find /usr -name '*tokbridge*' ! -path '/usr/share/doc/*')
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }
INSIDE

apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' \
    >"$work/sources"
# shellcheck disable=SC2016 # the hooks are mmdebstrap's to expand
env -u JAVA_HOME mmdebstrap --quiet --variant=apt --customize-hook='cp -r "$WORK" "$1/opt/work"' \
    --customize-hook='chroot "$1" sh /opt/work/inside.sh' \
    "$(awk '{ print $3; exit }' "$work/sources")" /dev/null - <"$work/sources"
echo "The packages work in a bare root."
