#!/usr/bin/env bash
# Checks that a Windows DLL's export table holds every name in exports.txt:
# a class by at least one of its members, a free function by itself.
set -euo pipefail
dll=$1
objdump=${2:-i686-w64-mingw32-objdump}
cxxfilt=${objdump%objdump}c++filt
list=$(dirname "$0")/exports.txt

exports=$("$objdump" -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' \
          | sed -E 's/^[[:space:]]*\[[[:space:]]*[0-9]+\][[:space:]]*//' | "$cxxfilt" -n)

missing=0
while read -r name; do
  case "$name" in ''|'#'*) continue ;; esac
  if ! grep -qE "^${name}(::|\()" <<<"$exports"; then
    echo "not exported: $name"
    missing=$((missing + 1))
  fi
done <"$list"

total=$(grep -cvE '^(#|$)' "$list")
echo "exports: $((total - missing)) of $total names found in $(basename "$dll")"
[ "$missing" -eq 0 ]
