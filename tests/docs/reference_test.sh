#!/bin/sh
# The reference documents every exported name, without a warning. Runs in the source folder.
# usage: reference_test.sh DOXYGEN
set -eu
COUPLER_VERSION=test COUPLER_DOCS=$(mktemp -d)
export COUPLER_VERSION COUPLER_DOCS
trap 'rm -rf "$COUPLER_DOCS"' EXIT
"$1" docs/Doxyfile

failed=0
for name in $(sed 's/#.*//' abi/exported.symbols | c++filt | sed 's/(.*//; s/\[.*//; s/.*:://'); do
  grep -q "<name>$name</name>" "$COUPLER_DOCS/interface.tags" && continue
  echo "not in the reference: $name"
  failed=1
done
exit $failed
