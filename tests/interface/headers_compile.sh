#!/bin/sh
# Every public header compiles alone as C11, C17 and C23, and as C++17 and C++20, without a warning; the operations that do
# nothing take any arguments.
# usage: headers_compile.sh SOURCE CC CXX
set -eu
source=$1 cc=$2 cxx=$3

# compile COMPILER LANGUAGE STANDARD HEADER [STATEMENT]
compile() {
  printf '#include "brantix/%s"\nint main(void) { %s return 0; }\n' "${4##*/}" "${5-}" |
    "$1" -x "$2" "-std=$3" $strict -Wall -Wextra -Wpedantic -Werror -fsyntax-only "-I$source/include" -
}

strict=-Wstrict-prototypes
for compiler in "$cc" clang; do
  command -v "$compiler" > /dev/null || continue
  for standard in c11 c17 c2x; do
    for header in "$source"/include/brantix/*.h; do
      compile "$compiler" c "$standard" "$header"
    done
    compile "$compiler" c "$standard" noop.h 'SCI_setTelnetService(1, "on"); SCI_setSshService();'
  done
done
strict=
for header in "$source"/include/brantix/*.h*; do
  compile "$cxx" c++ c++17 "$header"
  compile "$cxx" c++ c++20 "$header"
done
