#!/bin/bash
# couplerctl snmp, with the platform's scripts. Runs inside the simulated appliance; the argument is the program.
set -u
couplerctl=$(realpath -- "$1")
cd "$(mktemp -d)" || exit 1
config=/etc/snmp/snmpd.conf
failures=0

# expect STATUS TEXT ARGUMENT...: couplerctl snmp ends with STATUS and prints TEXT.
expect() {
  local status=$1 text=$2 got
  shift 2
  "$couplerctl" snmp "$@" >out 2>&1 </dev/null
  got=$?
  [[ $got == "$status" && $(<out) == *"$text"* ]] && return
  echo "FAILED: $* ended with $got, not $status, or does not say: $text"
  sed 's/^/    /' out
  failures=$((failures + 1))
}

# configured LINE yes|no
configured() {
  local found=no
  if grep -qxF -- "$1" "$config"; then found=yes; fi
  [[ $found == "$2" ]] && return
  echo "FAILED: in the configuration: $1: $found"
  failures=$((failures + 1))
}

echo secret12 >password
echo privacy1 >privacy
passwords=(--password-file password --privacy-password-file privacy)
mkdir -p /var/lib/net-snmp
echo 'oldEngineID 0x80001f' >/var/lib/net-snmp/snmpd.conf

expect 0 'added  10.0.0.1' host add 10.0.0.1 public --port 162
configured 'trap2sink 10.0.0.1:162 public' yes
expect 0 'added' host add 10.0.0.2 public --version 1
expect 0 'added' host add 10.0.0.2 public --notify inform
expect 0 'added' host add 10.0.0.3 alice --version 3 "${passwords[@]}"
configured 'trapsess -r 0 -v 3 -e 0x80001f -u alice -l authPriv -a SHA -A secret12 -x AES -X privacy1 10.0.0.3' yes
expect 0 '"level": "authPriv"' host list --json
expect 0 '10.0.0.2      1        trap    public' host list
expect 0 'alice' user list
if grep -q secret12 out; then echo "FAILED: a list shows a password" && failures=1; fi
expect 0 '10.0.0.3  version 3  trap  alice  authPriv' show
if grep -q 'secret12\|privacy1' out; then echo "FAILED: show tells a password" && failures=1; fi
expect 0 'added' host add 10.0.0.20 public
expect 1 'trap2sink 10.0.0.20 public' host delete 10.0.0.2
configured 'trap2sink 10.0.0.20 public' yes
expect 1 'there is no destination 10.0.0' host delete 10.0.0
expect 0 'deleted  10.0.0.20' host delete 10.0.0.20
expect 0 'deleted  10.0.0.2' host delete 10.0.0.2
configured 'trapsink 10.0.0.2 public' no
configured 'informsink 10.0.0.2 public' no
configured 'trap2sink 10.0.0.1:162 public' yes
expect 0 'deleted  alice' user delete alice
expect 1 'there is no user alice' user delete alice
configured 'rouser "alice" authpriv' no

# typed KEYS COMMAND: out is what the command prints at a terminal where KEYS are typed once it prompts.
typed() {
  : >out
  # shellcheck disable=SC2094 # the output tells when to type
  {
    for ((i = 0; i < 200; i++)); do
      if grep -q 'password: ' out; then break; fi
      sleep 0.05
    done
    printf %b "$1"
  } | timeout 20 script -qfec "$2" /dev/null >out
}
if script -qec true /dev/null >/dev/null 2>&1; then
  typed 'secret12\n' "'$couplerctl' snmp user add bob --privacy none"
  if grep -q secret12 out; then echo "FAILED: the prompt shows the password" && failures=1; fi
  configured 'rouser "bob" authnopriv' yes
  typed '\003' "trap : INT; '$couplerctl' snmp user add carol; echo ended with \$?; stty -a"
  if ! grep -q 'ended with 130' out || grep -q -- '-echo ' out; then
    echo "FAILED: an interrupted prompt: $(<out)" && failures=1
  fi
else
  echo 'skipped: the prompt for passwords, as there is no pseudo-terminal here'
fi
expect 1 'no terminal to ask for the password' user add carol
expect 1 'holds no password' user add carol --password-file /dev/null
echo short >password
expect 1 'carol was not set; "--log critical"' user add carol --password-file password --privacy none
expect 2 'more than 32 bytes' user add "$(printf '%033d' 0)"
expect 2 '' user add carol --auth none

expect 0 'added  readers' community add readers
expect 0 $'readers\nreaders' community list
expect 0 'set' contact 'ask the readers'
expect 1 'sysContact ask the readers' community delete readers
configured 'rocommunity  readers' yes
expect 0 'deleted  readers' community delete readers --all-matching
expect 1 'there is no community readers' community delete readers
expect 1 'there is no community pub' community delete pub
configured 'rocommunity  readers' no
expect 2 'is not one word' community delete ''
expect 2 'is not one word' host delete ''
expect 2 'a line end would start another line' contact $'me\nrwcommunity all'
expect 0 'set' contact 'me; you'
configured 'sysContact me; you' yes
expect 0 'set' location ''
configured "sysLocation ''" yes

mv /opt/quorva/tolmos_skellan/etc/snmp.conf gone
expect 1 'cannot read /opt/quorva/tolmos_skellan/etc/snmp.conf: No such file' enable
mv "$config" gone
expect 1 'cannot read /etc/snmp/snmpd.conf: No such file' host list
exit $((failures != 0))
