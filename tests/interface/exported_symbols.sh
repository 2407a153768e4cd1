#!/bin/sh
# The library exports what abi/exported.symbols lists, nothing else.
# usage: exported_symbols.sh SOURCE LIBRARY
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
sed -e 's/#.*//' -e '/^ *$/d' "$1/abi/exported.symbols" | sort > "$work/listed"
nm -D --defined-only "$2" | awk '{ print $3 }' | grep -v '^__\(asan\|ubsan\|tsan\|odr_asan\|sanitizer\)' | sort > "$work/exported"
diff -u "$work/listed" "$work/exported"

# An empty entry of the run path is the working directory to the loader.
! readelf -d "$2" | grep -E 'R(UN)?PATH.*(\[:|::|:\])' || { echo "$2 has an empty entry in its run path" && exit 1; }
