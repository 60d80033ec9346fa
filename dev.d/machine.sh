# What this machine needs: a directory to build in, Debian packages, a JDK. Read by ./dev.
# shellcheck shell=sh disable=SC2154 # variables and functions of ./dev

# check_machine - fails early for what would fail in odd places later.
check_machine() {
    for path in "$root" "$build"; do
        case $path in
        *[\;:\"\\\$\*\?\[\]\#\`\&\'^\<\>\|[:cntrl:]]*)
            fail "this path has a character that is special for CMake, Ninja or Java, use another directory: $path"
            ;;
        esac
        printf '%s' "$path" | iconv -f UTF-8 -t UTF-8 >/dev/null 2>&1 ||
            fail "this path is not UTF-8, use another directory: $path"
    done
    [ ${#release} -le 200 ] || fail "this path is too long for modules in it; name a shorter TOKBRIDGE_BUILD: $build"
    { mkdir -p "$build" && [ -w "$build" ]; } 2>/dev/null ||
        fail "cannot write to $build; build elsewhere: TOKBRIDGE_BUILD=/some/directory ./dev ..."
}

# packages PACKAGE... - installs those that are missing. Held packages and those of several architectures count as
# installed.
packages() {
    missing=
    native=$(dpkg --print-architecture 2>/dev/null) || :
    for package in "$@"; do
        dpkg-query -W -f='${db:Status-Status} ${Architecture}\n' "$package" 2>/dev/null |
            grep -qxE "installed (all|$native)" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    command -v apt-get >/dev/null || fail "this is not Debian; use CMake itself; Debian's packages would be$missing"
    by_hand="as root: apt-get update && apt-get install$missing"
    as_root=
    if [ "$(id -u)" != 0 ]; then
        command -v sudo >/dev/null || fail "packages are missing, and there is no sudo; $by_hand"
        as_root=sudo
    fi
    echo "Installing:$missing"
    # One of several sources may fail. Where none answers, the installation would try each package in vain.
    apt_get update -q || :
    # shellcheck disable=SC2086 # a list of words
    if grep -qE '^(Get|Hit):' "$scratch/apt" && apt_get install -y -qq --no-install-recommends $missing; then
        return
    fi
    grep '^[EW]:' "$scratch/apt" >"$scratch/complaints" || cp "$scratch/apt" "$scratch/complaints"
    head -n 3 "$scratch/complaints" >&2
    fail "the packages could not be installed, apt-get printed $(wc -l <"$scratch/complaints") such lines; $by_hand"
}

# apt_get ARGUMENTS... - waits for another apt or dpkg, as it runs on machines that have just started.
apt_get() {
    scratch_directory
    waited=0
    until $as_root env LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive apt-get "$@" >"$scratch/apt" 2>&1; do
        grep -qE '^E: (Could not get|Unable to) lock' "$scratch/apt" && [ "$waited" -lt 1200 ] || return 1
        [ "$waited" -gt 0 ] || echo "Waiting for another apt or dpkg to finish ..."
        sleep 3
        waited=$((waited + 3))
    done
}

# is_jdk DIRECTORY - whether it has a JDK of 17 or later.
is_jdk() {
    [ -x "$1/bin/javac" ] && [ -x "$1/bin/jar" ] && [ -f "$1/include/jni.h" ] || return 1
    version=$("$1/bin/javac" -version 2>/dev/null) || return 1
    version=${version#javac }
    [ "${version%%[!0-9]*}" -ge 17 ] 2>/dev/null
}

# find_jdk - sets and exports JAVA_HOME: the given one, that of the search path, or an installed one.
find_jdk() {
    compiler=$(readlink -f "$(command -v javac)" || :)
    for jdk in "${JAVA_HOME:-}" "${compiler%/bin/javac}" /usr/lib/jvm/default-java /usr/lib/jvm/*; do
        if [ -n "$jdk" ] && is_jdk "$jdk"; then
            [ "$jdk" = "${JAVA_HOME:-$jdk}" ] ||
                echo "dev: JAVA_HOME=$JAVA_HOME is not a JDK of 17 or later, using $jdk" >&2
            JAVA_HOME=$(readlink -f "$jdk")
            export JAVA_HOME
            return
        fi
    done
    return 1
}

setup() {
    jdk_package=
    find_jdk || jdk_package=default-jdk-headless
    packages g++ cmake ninja-build p11-kit p11-kit-modules softhsm2 junit5 libpicocli-java libbcpkix-java curl bsdutils \
        ${jdk_package:+"$jdk_package"}
    find_jdk || fail "no JDK of 17 or later was found: install one, or set JAVA_HOME"
}
