#!/bin/bash
# Does what the pages say. Each page gets a simulated appliance of its own, where its blocks are taken in order:
#
#   ```sh                          is run, in one folder for the page, with couplerctl on the PATH
#   ```c                           compiles as strict C11
#   <!-- not run: WHY --> before   is only listed
#   <!-- own network --> before    is run where the appliance has a network of its own, else only listed
#   <!-- output --> before         is what the block above it prints
#   <!-- file: NAME --> before     becomes that file, and one named *.c a program, on the PATH like couplerctl
#
# usage: pages_test.sh COUPLERCTL LIBRARY CC [FLAG...], in the build folder
set -euo pipefail
source=$(realpath -- "$(dirname -- "${BASH_SOURCE[0]}")/../..")

if [[ $1 != --page ]]; then
  status=0
  for page in "$source"/*.md "$source"/docs/*.md; do
    "$source/platform/appliance" "$0" --page "${page#"$source"/}" "$@" || status=1
  done
  exit "$status"
fi

page=$2 couplerctl=$3 library=$4
cc=("${@:5}" -std=c11 -Wall -Wextra -pedantic -Werror "-I$source/include")
folder=$(dirname -- "$library")
work=$(mktemp -d)
mkdir "$work"/{blocks,bin,here}

# A file for each block, its mark and language in front: LINE, MARK, LANGUAGE, then the block.
awk -v blocks="$work/blocks" '
  !inside && /^<!-- .* -->$/ { mark = substr($0, 6, length($0) - 9); next }
  /^```/ {
    inside = !inside
    if (inside) {
      file = sprintf("%s/%04d", blocks, NR)
      printf "%s\n%s\n", mark, substr($0, 4) > file
    } else close(file)
    mark = ""
    next
  }
  inside { print > file; next }
  { mark = "" }
' "$source/$page"

cd "$work/here"
PATH=$work/bin:$(dirname -- "$couplerctl"):$folder/../platform:$PATH
status=0

# fail WHAT: what was printed and where
fail() {
  echo "$page:$((10#$line)): $1"
  sed 's/^/    /' "$work/printed"
  status=1
}
compile() { "${cc[@]}" "$@" 2>"$work/printed" || fail 'does not compile:'; }

for block in "$work"/blocks/*; do
  line=${block##*/}
  if [[ $line == '*' ]]; then continue; fi
  { read -r mark && read -r language; } <"$block"
  sed -i 1,2d "$block"
  if [[ $mark == 'own network' && $APPLIANCE_KIND == bubblewrap ]]; then mark=; fi
  case "$mark|$language" in
    'not run: '* | 'own network|'*)
      echo "$page:$((10#$line)): not run (${mark#not run: }): $(head -n 1 "$block")"
      rm -f "$work/printed"
      ;;
    'output|'*)
      [[ ! -e $work/printed ]] || diff "$block" "$work/printed" >"$work/difference" ||
        { mv "$work"/{difference,printed} && fail 'prints something else:'; }
      ;;
    'file: '*)
      name=${mark#file: }
      cp "$block" "$name"
      [[ $name != *.c ]] || compile "$name" -o "$work/bin/${name%.c}" "-L$folder" -lbrantix_coupler "-Wl,-rpath,$folder" \
        "-Wl,-rpath-link,$folder/brantix/platform"
      ;;
    '|sh') bash -eu -o pipefail "$block" >"$work/printed" 2>&1 || fail "ends with $?:" ;;
    '|c') compile -fsyntax-only -x c "$block" ;;
    '|'*) ;;
    *) echo "$mark" >"$work/printed" && fail 'unknown mark:' ;;
  esac
done
exit "$status"
