#!/bin/sh
# install.sh BUILD PREFIX SOFTHSM2
# Builds a copy of the sources with CMake alone, in a directory with an unusual name, and installs it: that must be equal
# to the byte to what BUILD installs. Then uses it as a user would: the command, and an application on the class path; and
# the jar that contains its library, on the class path and as a module in an image of its own. JAVA_HOME, CXX
# and CMAKE_GENERATOR are those of BUILD.
set -eu
build=$1 prefix=$2 softhsm=$3
here=$(cd "$(dirname "$0")" && pwd)
work=
clean() {
    status=$?
    trap '' HUP INT PIPE TERM
    [ "$status" = 0 ] || [ ! -e "$work/log" ] || cat "$work/log"
    [ -z "$work" ] || rm -rf "$work"
}
trap clean EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
# shellcheck source=tests/scratch.sh
. "$here/../scratch.sh"
work=$(scratch_directory)

copy="$work/a blank, übung and more than a hundred characters of a path, which is what a user's home may be like too"
mkdir "$copy"
for part in CMakeLists.txt README.md CHANGELOG.md cmake docs src java provider samples tool packaging; do
    cp -R "$here/../../$part" "$copy"
done
export LC_ALL=C JAVA_TOOL_OPTIONS=-Dseen=yes
cd "$copy"
{
    cmake -B build -DTOKBRIDGE_TESTS=OFF -DCMAKE_INSTALL_PREFIX="$prefix"
    cmake --build build --parallel "$(nproc)" --target all maven
    DESTDIR="$work/copy" cmake --install build
    DESTDIR="$work/build" cmake --install "$build"
} >"$work/log" 2>&1
diff -r "$work/build" "$work/copy"
[ -n "$(find "$work/copy" -name libtokbridge.so)" ]
unset JAVA_TOOL_OPTIONS
export LC_ALL=C.UTF-8

installed=$work/copy$prefix
mkdir "$work/tokens"
printf 'directories.tokendir = %s/tokens\nobjectstore.backend = file\n' "$work" >"$work/softhsm2.conf"
export SOFTHSM2_CONF="$work/softhsm2.conf"
"$here/../quickstart.sh" "$installed/bin/tokbridge" check --write --module "$softhsm" >"$work/log" 2>&1
grep -q ' operations work, 1 does not\.$' "$work/log"
# The pages that its messages name.
documents=$installed/share/doc/tokbridge
grep -oh 'docs/[a-z]*\.md' "$documents/docs/errors.md" | while read -r page; do [ -f "$documents/$page" ]; done
# With a prefix that the first configuration did not have, and with a directory for libraries apart.
{
    cmake -B build -DCMAKE_INSTALL_PREFIX=/usr
    DESTDIR="$work/debian" cmake --install build
    ls "$work"/debian/usr/lib/*/jni/libtokbridge.so
    cmake -B build -DCMAKE_INSTALL_PREFIX="$work/apart" -DCMAKE_INSTALL_LIBDIR="$work/lib"
    cmake --install build
    "$work/apart/bin/tokbridge" info --module "$softhsm"
} >"$work/log" 2>&1

jar=$installed/share/java/tokbridge.jar
packed=$(find build/maven -name 'tokbridge-[0-9]*[0-9].jar')
"$JAVA_HOME/bin/javac" --release 11 -p "$jar" -d "$work/app" "$here/module-info.java" "$here/app/App.java"
"$JAVA_HOME/bin/jlink" -p "$packed:$work/app:$installed/share/java/tokbridge-provider.jar" \
    --add-modules app,com.kelvane.pkcs11.provider --strip-debug --output "$work/image"
mkdir "$work/tmp"
# own HOME MODULE ARGUMENTS... - runs with the jar's own library, of which no file remains.
own() {
    java=$1/bin/java native=$2
    shift 2
    "$java" --enable-native-access="$native" -Djava.library.path=/none -Djava.io.tmpdir="$work/tmp" "$@" "$softhsm"
    rmdir "$work/tmp"
    mkdir "$work/tmp"
}
{
    "$JAVA_HOME/bin/java" --enable-native-access=ALL-UNNAMED -cp "$jar:$work/app" \
        -Dtokbridge.library="$(find "$installed" -name libtokbridge.so)" app.App "$softhsm"
    own "$JAVA_HOME" ALL-UNNAMED -Xcheck:jni -cp "$packed:$work/app" app.App
    own "$work/image" com.kelvane.pkcs11 -m app/app.App
    "$JAVA_HOME/bin/keytool" -J--class-path="$installed/share/java/tokbridge-provider.jar" \
        -J-Dtokbridge.library="$(find "$installed" -name libtokbridge.so)" -list -keystore NONE -storetype PKCS11 \
        -addprovider Tokbridge -providerArg "pkcs11:?module-path=$softhsm" </dev/null 2>/dev/null |
        sed -n 's/^\(Keystore provider: Tokbridge\)-.*/\1/p'
} >"$work/log" 2>&1
sed 's/-1/1/' "$work/log" | diff - /dev/fd/3 3<<'TEXT'
random 1 in the class path
random 1 in the class path
random 1 in a module
Keystore provider: Tokbridge
TEXT
