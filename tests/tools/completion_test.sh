#!/bin/bash
# Both shells complete the words of couplerctl; its manual page has every command and no warning. The arguments are the
# program and the source folder.
# shellcheck disable=SC2317 # in_bash and in_zsh are called by a name put together
set -u
couplerctl=$(realpath -- "$1") source=$(realpath -- "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
mkdir parts && touch fw.bundle
failures=0

in_bash() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _couplerctl "$couplerctl"
  echo "${COMPREPLY[*]}"
}

# The completion system of zsh replaced by what it is asked for.
in_zsh() {
  zsh -f -c '
    _describe() { print -r -- ${(M)${(@)${(@P)2}%%:*}:#$words[CURRENT]*} }
    _files() { if [[ $1 == -/ ]]; then print -r -- *(/); else print -r -- *; fi }
    run() { eval "$(<$1)" }
    script=$1 words=("${@:2}") CURRENT=$#
    ((CURRENT--))
    run $script' zsh "$source/tools/completion/_couplerctl" "$couplerctl" "${@:2}"
}

# completes EXPECTED WORD...
completes() {
  local shell expected=$1 got
  shift
  for shell in "${shells[@]}"; do
    got=$("in_$shell" couplerctl "$@")
    if [[ $got != "$expected" ]]; then
      echo "FAILED: $shell completes '$*' with '$got', not '$expected'"
      failures=$((failures + 1))
    fi
  done
}

compopt() { :; }
# shellcheck source=tools/completion/couplerctl
. "$source/tools/completion/couplerctl"
shells=(bash)
if command -v zsh >/dev/null; then shells+=(zsh); else echo "no zsh here: its completion is not tested"; fi
completes 'bundle boot-names' b
completes 'show' --json image s
completes 'show unpack verify dump diff stage pack' --log info bundle ''
completes 'debug info critical' --log ''
completes '--watch' sessions --w
completes '--help --version --json --log' --
completes 'fw.bundle parts' bundle show ''
completes 'parts' --json bundle unpack fw.bundle ''
completes '' command ''
completes '' frobnicate ''

# commands WORD...: every command below, from the help
commands() {
  local word
  for word in $("$couplerctl" "$@" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z][a-z-]*\) .*/\1/p'); do
    commands "$@" "$word"
  done | grep . || echo "$*"
}

if command -v man >/dev/null; then
  MANWIDTH=500 LC_ALL=C man --warnings -l "$source/docs/couplerctl.1" >page 2>warnings
  if [[ -s warnings ]]; then
    cat warnings
    failures=$((failures + 1))
  fi
  while read -r command; do
    grep -qE "(^|, ) *$command\b" page || { echo "FAILED: no '$command' in the manual page" && failures=$((failures + 1)); }
  done < <(commands)
fi
exit $((failures > 0))
