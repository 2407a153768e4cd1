#!/bin/sh
# The types of the exported interface are those of abi/baseline.xml. usage: abi.sh SOURCE LIBRARY
set -eu
skip() { echo "$1" && exit 77; }
command -v abidw > /dev/null || skip "no abidw here (package abigail-tools)"
readelf -SW "$2" | grep -q '\.debug_info' || skip "$2 has no debug information to compare"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1/abi/update" --print "$2" > "$work/now.xml"
abidiff --harmless "$1/abi/baseline.xml" "$work/now.xml" ||
  { echo "An intended change is taken over with abi/update." && exit 1; }
