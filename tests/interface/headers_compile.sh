#!/bin/sh
# Every public header compiles alone as C11, C17 and C23, and as C++17 and C++20, without a warning; the operations that do
# nothing take any arguments.
# usage: headers_compile.sh SOURCE CC CXX
set -eu
source=$1 cc=$2 cxx=$3

# compile HEADERS COMPILER OPTION...
compile() {
  headers=$1
  shift
  for header in "$source"/include/brantix/$headers; do
    statement=
    if [ "${header##*/}" = noop.h ]; then statement='SCI_setTelnetService(1, "on"); SCI_setSshService();'; fi
    printf '#include "brantix/%s"\nint main(void) { %s return 0; }\n' "${header##*/}" "$statement" |
      "$@" -Wall -Wextra -Wpedantic -Werror -fsyntax-only "-I$source/include" -
  done
}

for compiler in "$cc" clang; do
  command -v "$compiler" > /dev/null || continue
  for standard in c11 c17 c2x; do compile '*.h' "$compiler" -x c "-std=$standard" -Wstrict-prototypes; done
done
for standard in c++17 c++20; do compile '*.h*' "$cxx" -x c++ "-std=$standard"; done
