#!/bin/sh
# wine.sh PROGRAM ARGUMENTS...
# Runs a Windows program under Wine without a display. What Wine writes, some 700 MB, goes into a directory under the
# working one and is gone with the program; nothing goes into the caller's home directory.
set -eu
scratch=
trap '[ -z "$scratch" ] || { wineserver64 -k || :; rm -rf "$scratch"; }' EXIT # the server of this directory
trap 'exit 1' HUP INT TERM # on which not every shell runs the EXIT trap
PATH=$PATH:/usr/lib/wine # where Debian keeps the 64-bit programs
scratch=$(mktemp -d "$PWD/wine.XXXXXX")
export HOME="$scratch" TMPDIR="$scratch" WINEPREFIX="$scratch/prefix" WINEDEBUG=-all WINEDLLOVERRIDES='winemenubuilder.exe,mscoree,mshtml='
unset DISPLAY WAYLAND_DISPLAY XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME

wine64 "$@"
