#!/bin/sh
# Every public header compiles alone as C11 and as C++17 and C++20, without a warning.
# usage: headers_compile.sh SOURCE CC CXX
set -eu
source=$1 cc=$2 cxx=$3

# compile COMPILER LANGUAGE STANDARD HEADER
compile() {
  printf '#include "brantix/%s"\nint main(void) { return 0; }\n' "${4##*/}" |
    "$1" -x "$2" "-std=$3" -Wall -Wextra -Wpedantic -Werror -fsyntax-only "-I$source/include" -
}

for header in "$source"/include/brantix/*.h; do
  compile "$cc" c c11 "$header"
done
for header in "$source"/include/brantix/*.h*; do
  compile "$cxx" c++ c++17 "$header"
  compile "$cxx" c++ c++20 "$header"
done
