#!/bin/sh
# The compiler holds a log line's arguments against its format, also behind the gate and in tables.
# usage: log_formats.sh SOURCE CXX
set -eu
source=$1 cxx=$2

# compiles STATEMENT: whether it does, warnings being errors
compiles() {
  printf '#include "frame/message.h"\nusing coupler::LogMessage;\nvoid f() { %s; }\n' "$1" |
    "$cxx" -x c++ -std=c++20 -Wall -Wformat=2 -Werror -fsyntax-only "-I$source" "-I$source/include" - 2> /dev/null
}

compiles 'LOG_LINE(info, "op", "%d %s", 1, "text")'
compiles 'VERBOSE_LINE("op", "%zu", sizeof(int))'
compiles 'LogMessage<const char*, int32_t, unsigned>(info, "%s %d %u").write("op", "text", 1, 2U)'
compiles 'LogMessage<const char*, int32_t>(info, "%s").write("op", "text", 1)'
for wrong in 'LOG_LINE(info, "op", "%s", 1)' 'LOG_LINE(info, "op", "%d")' 'VERBOSE_LINE("op", "%d", "text")' \
  'LogMessage<const char*>(info, "%d")' 'LogMessage<>(info, "%s")' 'LogMessage<int32_t>(info, "%d%d")' \
  'LogMessage<unsigned>(info, "%lu")' 'LogMessage<int32_t>(info, "100 %")'; do
  ! compiles "$wrong" || { echo "compiles: $wrong" && exit 1; }
done
