#!/bin/sh
# The types of the exported interface are those of abi/baseline.xml. usage: abi.sh SOURCE LIBRARY
set -eu
if ! command -v abidw > /dev/null; then
  echo "no abidw here (package abigail-tools)"
  exit 77
fi
if ! readelf -SW "$2" | grep -q '\.debug_info'; then
  echo "$2 has no debug information to compare"
  exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1/abi/update" --print "$2" > "$work/now.xml"
if ! abidiff --harmless "$1/abi/baseline.xml" "$work/now.xml"; then
  echo "An intended change is taken over with abi/update."
  exit 1
fi
