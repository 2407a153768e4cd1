#!/bin/bash
# Debian's agent, kept running by the appliance's service, answers, sends and stops as it is told.
# usage: agent_test.sh COUPLERCTL
set -eu
couplerctl=$1 config=/etc/snmp/snmpd.conf state=/var/lib/net-snmp/snmpd.conf
if [[ $APPLIANCE_KIND != bubblewrap ]]; then echo "needs a network of its own" && exit 77; fi
if [[ ! -x /usr/sbin/snmpd ]]; then echo "needs Debian's snmpd, snmp and snmptrapd" && exit 77; fi
cd "$(mktemp -d)"
export MIBS=

fail() { echo "FAILED: $*" && exit 1; }
snmp() { "$couplerctl" --log critical snmp "$@" >said 2>&1 || fail "$*: $(<said)"; }
# comes TEXT COMMAND...: what the command prints holds the text, within twenty seconds.
comes() {
  for _ in {1..200}; do
    if [[ $("${@:2}" 2>&1) == *"$1"* ]]; then return; fi
    sleep 0.1
  done
  fail "no \"$1\" from ${*:2}, but: $("${@:2}" 2>&1)"
}
ask() { snmpget -r 0 -t 0.3 -Oqv "$@" 1.3.6.1.2.1.1.6.0; }
alice=(-v 3 -u alice -l authPriv -a SHA -A secret12 -x AES -X privacy1 127.0.0.1)
passwords=(--password-file password --privacy-password-file privacy)
echo secret12 >password
echo privacy1 >privacy

printf '%s\n' 'authtrapenable 1' 'rocommunity probe' 'sysLocation nowhere' >$config
snmp enable
comes nowhere ask -v 2c -c probe 127.0.0.1
snmp community add public
snmp location "lab 7; upper shelf"
for address in 127.0.0.1 'udp6:[::1]'; do comes "lab 7; upper shelf" ask -v 2c -c public "$address"; done

snmp host add 127.0.0.1 first --port 1162 --version 1
snmp host add 127.0.0.1 second --port 1162
snmp host add 127.0.0.1 third --port 1162 --notify inform
snmp host add 127.0.0.1 alice --port 1162 --version 3 "${passwords[@]}"
comes "lab 7" ask "${alice[@]}"
echo "createUser -e $(awk '/^oldEngineID/ { print $2 }' $state) alice SHA secret12 AES privacy1" >receiver.conf
SNMP_PERSISTENT_DIR=$PWD/receiver /usr/sbin/snmptrapd -f -n -C -c receiver.conf --disableAuthorization=yes -F '%P\n' \
  -Lf received udp:127.0.0.1:1162 &
# What the agent sends when it is asked without right, and whatever else was received.
received() { ask -v 2c -c wrong 127.0.0.1 || cat received; }
for line in "TRAP, SNMP v1, community first" "TRAP2, SNMP v2c, community second" "INFORM, SNMP v2c, community third" \
  "TRAP2, SNMP v3, user alice"; do comes "$line" received; done
snmp host delete 127.0.0.1
snmp location elsewhere
snmp host add 127.0.0.1 last --port 1162
comes "community last" received
true >received
comes "community last" received
if grep -E 'first|second|third|alice' received; then fail "a deleted destination still receives"; fi
kill $!

snmp user delete alice
comes "Unknown user name" ask "${alice[@]}"
if grep alice $config $state; then fail "a deleted user is still there"; fi
snmp disable
comes Timeout ask -v 2c -c public 127.0.0.1

# A new location kills the first of several, and nothing else.
line="/usr/sbin/snmpd -f -c $config" pids=()
snmp location lab
grep -q 'sending SIGKILL to pid:0$' said || fail "no agent is running, but: $(<said)"
for rest in '' '-Lf /tmp/brantix_snmp_ma_logs ' '-Lf /tmp/brantix_snmp_ma_logs '; do
  (exec -a "$line ${rest}udp:161 udp6:161" sleep 1000) &
  pids+=($!)
  comes $! pgrep -f "$line"
done
snmp location ''
grep -q "sending SIGKILL to pid:${pids[1]}$" said || fail "not the first of ${pids[*]}: $(<said)"
wait "${pids[1]}" && fail "${pids[1]} was not killed"
kill "${pids[0]}" "${pids[2]}" || fail "more than one was killed"
