#!/bin/sh
# Every source of library, platform and tools says first what it is for; no function there is longer than 40 lines.
# usage: sources.sh SOURCE
set -eu
cd "$1"
find include frame support container firmware snmp notify sessions access platform tools \
  \( -name '*.h' -o -name '*.cc' -o -name '*.hpp' \) -exec awk '
    FNR == 1 { start = 0 }
    FNR == 1 && !/^\/[\/*] / { print FILENAME ": begins without a line that says what it is for"; failed = 1 }
    /^ *}/ && index($0, "}") == depth && start {
      if (FNR - start >= 40) { print FILENAME ":" start ": a function of " FNR - start + 1 " lines"; failed = 1 }
      start = 0
    }
    /\) (const )?\{$/ && match($0, /[^ ]/) <= 3 && !start { start = FNR; depth = RSTART }
    END { exit failed }' {} +
