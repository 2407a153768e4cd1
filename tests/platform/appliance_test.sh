#!/bin/bash
# appliance_test.sh KIND: what the simulated appliance promises, run by bubblewrap or by proot.
# shellcheck disable=SC2016,SC2317 # words for the inner shell; functions that expect runs
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
  [[ $got == "$wanted" ]] && return
  printf 'FAILED: %s\n  wanted: %s\n  got:    %s\n' "$what" "$wanted" "$got"
  failures=$((failures + 1))
}

# Waits until the command finds nothing any more, for at most ten seconds.
gone() {
  for _ in {1..100}; do
    "$@" >/dev/null || return 0
    sleep 0.1
  done
  "$@"
}

expect "exit status" "status 7" "$appliance" sh -c 'exit 7'
expect "command that is missing" "status 127" sh -c "'$appliance' /none 2>/dev/null"
expect "option that is unknown" "status 125" sh -c "'$appliance' --none true 2>/dev/null"
expect "standard input" "typed" sh -c "echo typed | '$appliance' cat"
expect "arguments as they are" "a  b|*|" "$appliance" printf '%s|' 'a  b' '*'
expect "environment" "some|$1|/tmp|/etc/platform.conf|none" env GTEST_FILTER=some COUPLER_PLATFORM=/x OTHER=x \
  "$appliance" sh -c "echo \"\$GTEST_FILTER|\$APPLIANCE_KIND|\$HOME|\$COUPLER_PLATFORM|\${OTHER-none}\""

expect "fixed places are there and writable" "" "$appliance" sh -c 'for place in /mnt/boot/ssd_firmwares \
  /mnt/boot/equipped_ssd_firmware /etc/snmp /var/lib/net-snmp /opt/tolm-mgmt-scripts /opt/quorva/config/platform \
  /opt/quorva/tolmos_skellan/etc /opt/quorva/npu /etc /tmp /var/run /dev/shm; do echo x >$place/file || exit; done'
expect "scripts are executable" "$(ls "$root/platform/scripts" 2>/dev/null)" "$appliance" sh -c \
  'cd /opt/tolm-mgmt-scripts; for script in *; do [ ! -x "$script" ] || echo "$script"; done'
expect "users and tools" "root x" "$appliance" sh -c "id -un | awk '{print \$1, \"x\"}'"
expect "working directory" "$scratch machine" "$appliance" sh -c 'echo "$PWD $(cat file)"'
expect "working directory that is the root" "/" env -C / "$appliance" pwd
expect "nothing of this machine is touched" "machine" sh -c "(cd /; '$appliance' sh -c 'mkdir -p $scratch &&
  echo inside >$scratch/file && mv $scratch/file $scratch/moved && rm $scratch/moved'); cat $scratch/file; test ! -e moved"
expect "folder that is bound" "inside" sh -c "'$appliance' --bind . sh -c 'echo inside >bound' && cat bound"

# The fixed command lines, run as the library runs them.
expect "sh reads &> as bash does" "status 1" "$appliance" sh -c 'false &>/dev/null'
identify="/sbin/hdparm -I /dev/sda | /bin/grep 'Firmware Revision:' | /usr/bin/awk -F':' '{print \$2}' | /usr/bin/tr -d '[:blank:]'; /sbin/hdparm -I /dev/sda | /bin/grep 'Model Number:' | /usr/bin/awk -F':' '{print \$2}' | /usr/bin/tr -d '[:blank:]'"
list='fdisk -l | grep /dev/sda &>/dev/null'
missing=$'/dev/sda: No such file or directory\n/dev/sda: No such file or directory'
for board in 2 3; do
  expect "board $board lists its drive" "" "$appliance" --board $board sh -c "$list"
  expect "board $board identifies its drive" $'R1\nXM_1' \
    "$appliance" --board $board --set ssd_revision=R1 --set 'ssd_model=XM _1 ' sh -c "$identify"
done
for without in "--board 1" "--board 7" "--set ssd_present=no"; do
  # shellcheck disable=SC2086
  expect "no drive with $without" "status 1" "$appliance" $without sh -c "$list"
  # shellcheck disable=SC2086
  expect "nothing to identify with $without" "$missing" "$appliance" $without sh -c "$identify"
done

marker=31536$$
timeout 60 "$appliance" sh -c "sleep $marker & setsid sleep $marker & exit 0" >/dev/null
expect "nothing is left behind" "" gone pgrep -fa "sleep $marker"
TMPDIR=$scratch "$appliance" --bind . sh -c "touch ready; sleep $marker & setsid sleep $marker & wait" 2>/dev/null &
until [[ -e ready ]]; do sleep 0.1; done
kill -KILL $!
wait $! 2>/dev/null
expect "it dies with its parent" "" gone pgrep -fa "sleep $marker"
expect "its root is removed" "" gone compgen -G 'appliance.*'

if [[ $1 == bubblewrap ]]; then
  for namespace in pid net uts ipc mnt; do
    [[ $("$appliance" readlink "/proc/self/ns/$namespace") != "$(readlink "/proc/self/ns/$namespace")" ]]
    expect "own $namespace namespace" 0 echo $?
  done
  expect "loopback is up" "" "$appliance" grep -q 127.0.0.1 /proc/net/fib_trie
  expect "the machine's files are read-only" "status 1" sh -c "'$appliance' touch file /usr/x '$root/x' 2>/dev/null"
else
  unset APPLIANCE
  mkdir bin
  printf '#!/bin/sh\nexit 1\n' >bin/bwrap
  chmod +x bin/bwrap
  says="appliance: no namespaces here, so proot runs this: network and process table are this machine's"
  expect "proot when bubblewrap cannot" "$says"$'\nproot' env PATH="$scratch/bin:$PATH" "$appliance" printenv APPLIANCE_KIND
  cp bin/bwrap bin/proot
  expect "neither of them" "status 125" sh -c "PATH='$scratch/bin:$PATH' '$appliance' true 2>/dev/null"
fi
exit $((failures > 0))
