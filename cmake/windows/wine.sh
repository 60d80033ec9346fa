#!/bin/sh
# wine.sh PROGRAM ARGUMENTS...
# Runs a Windows program under Wine without a display. What Wine writes, some 700 MB, goes into a directory under the
# working one and is gone with the program; nothing goes into the caller's home directory.
set -eu
scratch=
clean() {
    trap '' HUP INT PIPE TERM
    [ -n "$scratch" ] || return 0
    # The server of this directory, and with it every Windows process; it may only be about to start.
    for _ in 1 2 3; do
        wineserver64 -k || sleep 0.3
        wineserver64 -w || :
    done
    # Its own directory stands in /tmp; Debian 13's crashes when TMPDIR names another place.
    server=$(cat "$scratch/prefix/wineserver" 2>/dev/null) || :
    case ${server:-} in wine-*) rm -rf "/tmp/$server" ;; esac
    rm -rf "$scratch"
}
trap clean EXIT
trap 'exit 1' HUP INT PIPE TERM # on which not every shell runs the EXIT trap
PATH=$PATH:/usr/lib/wine # where Debian keeps the 64-bit programs
scratch=$(mktemp -d "$PWD/wine.XXXXXX")
export HOME="$scratch" WINEPREFIX="$scratch/prefix" WINEDEBUG=-all WINEDLLOVERRIDES='winemenubuilder.exe,mscoree,mshtml='
unset TMPDIR DISPLAY WAYLAND_DISPLAY XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME

wine64 "$@"
