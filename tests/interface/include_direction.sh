#!/bin/sh
# Dependencies point one way: a folder includes only what its row allows. Own headers and include/brantix are free.
# usage: include_direction.sh SOURCE
set -eu
cd "$1"
failed=0

# may FOLDER ALLOWED...
may() {
  folder=$1
  shift
  for include in $(grep -rhoE '^#include "[^"]+/' "$folder" | sed -e 's/#include "//' -e 's/\/$//' | sort -u); do
    case " brantix $folder $* " in
      *" $include "*) ;;
      *)
        echo "$folder includes $include"
        failed=1
        ;;
    esac
  done
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
may tools tools/pack
may platform platform/firmware platform/message platform/syslog platform/board
exit $failed
