#!/bin/sh
# Dependencies point one way: a folder includes only what its row allows. Own headers and include/brantix are free.
# usage: include_direction.sh SOURCE
set -eu
cd "$1"
failed=0

# may FOLDER ALLOWED...
may() {
  allowed=$(printf '|%s' brantix "$@")
  wrong=$(grep -rhoE '^#include "[^"]+/' "$1" | sed 's/#include "//; s/\/$//' | sort -u | grep -vxE "none$allowed" || true)
  [ -n "$wrong" ] || return 0
  printf '%s includes %s\n' "$1" "$wrong"
  failed=1
}

may include/brantix
may support
may frame support platform/firmware
may container support frame
may firmware support frame container platform/firmware platform/board
may snmp support frame
may notify support frame platform/message platform/syslog
may sessions support
may access support
may tools tools/pack support
may platform platform/firmware platform/message platform/syslog platform/board
exit $failed
