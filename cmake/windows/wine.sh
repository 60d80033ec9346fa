#!/bin/sh
# wine.sh PROGRAM ARGUMENTS...
# Runs a Windows program under Wine without a display. What Wine writes, some 700 MB, goes into a directory under the
# working one and is gone with the program; nothing goes into the caller's home directory.
set -eu
scratch=$(mktemp -d "$PWD/wine.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
export HOME="$scratch" TMPDIR="$scratch" WINEPREFIX="$scratch/prefix" WINEDEBUG=-all WINEDLLOVERRIDES='winemenubuilder.exe,mscoree,mshtml='
unset DISPLAY WAYLAND_DISPLAY XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME
PATH=$PATH:/usr/lib/wine # where Debian keeps the 64-bit programs

status=0
wine64 "$@" || status=$?
wineserver64 -k # the one of this directory
exit "$status"
