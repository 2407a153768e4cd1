#!/bin/bash
# appliance_test.sh KIND: what the simulated appliance promises, run by bubblewrap or by proot.
# shellcheck disable=SC2016,SC2053,SC2086,SC2317 # words for the inner shell, patterns, options of several words, functions
# that expect runs
set -u
export APPLIANCE=$1
root=$(realpath "$(dirname "$0")/../..")
appliance=$root/platform/appliance
"$appliance" true 2>/dev/null || { echo "$1 cannot run a command here" && exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1
echo machine >file
failures=0

# expect WHAT OUTPUT COMMAND...: the command's output, errors included, and its exit status unless 0.
expect() {
  local what=$1 wanted=$2 got
  shift 2
  got=$("$@" 2>&1 || echo "status $?")
  [[ $got == $wanted ]] && return
  printf 'FAILED: %s\n  wanted: %s\n  got:    %s\n' "$what" "$wanted" "$got"
  failures=1
}
# gone COMMAND...: waits until the command finds nothing any more, for at most ten seconds.
gone() { for _ in {1..100}; do "$@" >/dev/null || return 0; sleep 0.1; done && "$@"; }

expect "command that is missing" "*status 127" "$appliance" /none
expect "environment" "some|$1|/tmp|/etc/platform.conf|none" env GTEST_FILTER=some COUPLER_PLATFORM=/x OTHER=x \
  "$appliance" sh -c 'echo "$GTEST_FILTER|$APPLIANCE_KIND|$HOME|$COUPLER_PLATFORM|${OTHER-none}"'
while IFS='|' read -r option said; do
  expect "$option is refused" "appliance: $said*status 125" "$appliance" $option true
done <<'END'
--none|unknown option
--board x|board_type is a number, not x
--set bord=1|there is no setting bord; there are board_type *ssd_revision
--set ssd_present=|ssd_present is yes or no
--bind /usr|--bind: the appliance has a /usr of its own
END

expect "arguments, working directory, exit status" "$scratch machine root a  b|\**status 7" \
  "$appliance" sh -c 'echo "$PWD $(cat file) $(id -un) $1|$2"; exit 7' sh 'a  b' '*'
expect "nothing of this machine is touched" "machine" sh -c "(cd /; '$appliance' sh -c 'mkdir -p $scratch &&
  echo inside >$scratch/file && mv $scratch/file $scratch/moved && rm $scratch/moved'); cat $scratch/file; test ! -e moved"
expect "folder that is bound" "inside" sh -c "'$appliance' --bind . sh -c 'echo inside >bound' && cat bound"

mkdir -p build/{old,new}/bin
cp -r "$root/platform" .
for build in old new; do install /dev/stdin build/$build/bin/couplerctl <<<"echo the $build build" && sleep 0.01; done
expect "a command of the newest build" "the new build" platform/appliance couplerctl
if type -P snmptranslate >/dev/null; then expect "no words about MIBs" "iso.3" "$appliance" snmptranslate .1.3; fi

expect "settings" "1 XM _1" "$appliance" --board 1 --set 'ssd_model=XM _1 ' \
  sh -c 'echo $(platform-setting board_type) $(platform-setting ssd_model)'

marker=31536$$
timeout 60 "$appliance" sh -c "sleep $marker & setsid sleep $marker & exit 0" >/dev/null
expect "nothing is left behind" "" gone pgrep -fa "sleep $marker"
TMPDIR=$scratch "$appliance" --bind . sh -c "touch ready; sleep $marker & setsid sleep $marker & wait" 2>/dev/null &
until [[ -e ready ]]; do sleep 0.1; done
kill -KILL $! && wait $! 2>/dev/null
expect "it dies with its parent" "" gone pgrep -f "sleep $marker"
expect "its root is removed" "" gone compgen -G 'appliance.*'

if [[ $1 == bubblewrap ]]; then
  names="readlink /proc/self/ns/pid /proc/self/ns/net /proc/self/ns/uts /proc/self/ns/ipc /proc/self/ns/mnt"
  expect "five namespaces of its own" 10 sh -c "{ $names && '$appliance' $names; } | sort | uniq -u | wc -l"
  expect "the machine's files are read-only" "*status 1" "$appliance" touch file /usr/x "$root/x"
else
  unset APPLIANCE
  mkdir bin
  install /dev/stdin bin/bwrap <<<"exit 1"
  expect "proot when bubblewrap cannot" "appliance: no namespaces here, so proot runs this: *proot" \
    env PATH="$scratch/bin:$PATH" "$appliance" printenv APPLIANCE_KIND
  cp bin/bwrap bin/proot
  expect "neither of them" "appliance: neither *status 125" env PATH="$scratch/bin:$PATH" "$appliance" true
fi
exit $failures
