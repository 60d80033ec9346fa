#!/bin/sh
# check_dll.sh OBJDUMP DLL - it exports the 108 native methods, nothing else, imports from the system's DLLs alone, and
# has no build time.
set -eu
listing=$("$1" -p "$2")
exports=$(echo "$listing" | sed -n '/^\[Ordinal\/Name Pointer\]/,/^$/ s/^\t\[.* //p')
imports=$(echo "$listing" | sed -n 's/^\tDLL Name: //p' | sort | tr '\n' ' ')
echo "$imports"
echo "$listing" | grep '^Time/Date.* 1970$'
[ "$imports" = 'ADVAPI32.dll KERNEL32.dll msvcrt.dll ' ]
[ "$(echo "$exports" | grep -c '^Java_com_kelvane_pkcs11_nat_NativePKCS11')" = 89 ]
[ "$(echo "$exports" | wc -l)" = 108 ]
