#!/bin/sh
# check.sh DIRECTORY JDK
# Uses the Maven layout and the Debian packages of a directory. Maven builds an application with one dependency. A bare
# root of this Debian, from the mirror of this machine's apt, installs the packages and runs the tool and the application
# with only the class path: first with the packages, then, after their removal, with Maven's jar, also where the
# temporary directory cannot be used. The root is removed at the end.
set -eu
work=
trap 'trap "" HUP INT PIPE TERM; [ -z "$work" ] || rm -rf "$work"' EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
work=$(mktemp -d)
export WORK="$work/root"
mkdir -p "$WORK" "$work/project/src/main/java"
chmod 755 "$work" "$WORK"

here=$(dirname "$0")
cp "$here/pom.xml" "$work/project"
cp -R "$here/app" "$work/project/src/main/java"
# plugin NAME - the version of one of Maven's plugins in this Debian, which may differ from its Maven's defaults.
plugin() {
    find "/usr/share/maven-repo/org/apache/maven/plugins/maven-$1-plugin" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' |
        sort -V | tail -n 1
}
JAVA_HOME=$2 mvn -o -B -q -f "$work/project" -Dlayout="$1/maven" \
    -Dresources="$(plugin resources)" -Dcompiler="$(plugin compiler)" -Dmaven.repo.local="$work/repository" \
    -Daether.offline.protocols=file compile >"$work/mvn" || { cat "$work/mvn"; exit 1; }
cp -R "$work/project/target/classes/app" "$WORK"
cp "$work"/repository/com/kelvane/tokbridge/*/tokbridge-*.jar "$WORK/maven.jar"

cp "$1"/*.deb "$WORK"
cat >"$WORK/inside.sh" <<'INSIDE'
set -eu
cd /opt/root
export DEBIAN_FRONTEND=noninteractive
apt-get install -y -qq --no-install-recommends ./*.deb softhsm2 mount >apt 2>&1 || { cat apt; exit 1; }
softhsm=/usr/lib/softhsm/libsofthsm2.so
mkdir tokens
printf 'directories.tokendir = /opt/root/tokens\n' >softhsm2.conf
export SOFTHSM2_CONF=/opt/root/softhsm2.conf
softhsm2-util --init-token --free --label quickstart --so-pin 12345678 --pin 12345678
echo 12345678 >pin
tokbridge check --write --pin-file pin --module $softhsm --token quickstart | grep ' work, 1 does not\.$'
tokbridge info --module $softhsm | grep 'quickstart'
bash -n /usr/share/bash-completion/completions/tokbridge
java -cp /usr/share/java/tokbridge.jar:. app.App $softhsm
zcat /usr/share/man/man1/tokbridge.1.gz | grep -q '^\.Nm tokbridge'
apt-get remove -y -qq libtokbridge-jni >/dev/null
left=$(find /usr -name '*tokbridge*' ! -path '/usr/share/doc/*')
[ -z "$left" ] || { echo "left behind: $left"; exit 1; }

java -cp maven.jar:. app.App $softhsm
# refused MOUNT-OPTION REASON - in a temporary directory that is mounted so.
refused() {
    mount -t tmpfs -o "$1" tmpfs /mnt
    ! java -Djava.io.tmpdir=/mnt -cp maven.jar:. app.App $softhsm 2>output || exit 1
    [ -z "$(ls /mnt)" ]
    umount /mnt
    grep -q "java.io.tmpdir = /mnt.* $2.*-Djava.io.tmpdir=" output || { cat output; exit 1; }
}
refused noexec 'mounted noexec'
refused size=64k 'No space left'
refused ro 'Read-only'
INSIDE

apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' \
    >"$work/sources"
# shellcheck disable=SC2016 # the hooks are mmdebstrap's to expand
env -u JAVA_HOME mmdebstrap --quiet --variant=apt --customize-hook='cp -r "$WORK" "$1/opt/root"' \
    --customize-hook='chroot "$1" sh /opt/root/inside.sh' \
    "$(awk '{ print $3; exit }' "$work/sources")" /dev/null - <"$work/sources"
echo "The packages work in a bare root, and the Maven layout by itself."
