#!/bin/bash
# The appliance's syslog script configures a real syslog daemon: messages go where the tool says.
# usage, in the appliance: syslog_script_test.sh COUPLERCTL
set -euo pipefail
couplerctl=$1
type -P rsyslogd > /dev/null || { echo "rsyslogd is missing" && exit 77; }

fail() {
  echo "FAILED: $*"
  head /etc/rsyslog.d/* /var/log/*
  exit 1
}

# arrives TEXT FILE: waits for it
arrives() {
  for ((try = 0; try < 200; try++)); do
    if grep -qs -- "$1" "$2"; then return; fi
    sleep 0.05
  done
  fail "$1 is not in $2"
}

"$couplerctl" syslog file errors platform.log
rsyslogd
"$couplerctl" syslog platform warnings
"$couplerctl" syslog console alerts
"$couplerctl" syslog remote 1 127.0.0.1 errors 7
"$couplerctl" syslog message notifications 'too low for the platform'
"$couplerctl" syslog message warnings 'too low for the file'
"$couplerctl" syslog message errors 'for the file'
"$couplerctl" syslog message alerts 'for the console'
arrives 'VTRC: for the file' /var/log/platform.log
arrives 'VTRC: for the console' /dev/console
arrives 'too low for the file' /var/log/syslog
if grep -q 'too low' /var/log/platform.log || grep -q 'too low for the platform' /var/log/syslog; then fail "levels"; fi

"$couplerctl" syslog no-file
"$couplerctl" syslog no-console
"$couplerctl" syslog no-remote
if ls /etc/rsyslog.d/{file,console,remote-*}.conf 2> /dev/null; then fail "what was removed is still there"; fi

for words in 'remote 1 a;b errors 7' 'file errors ../x' 'console errors'; do
  # shellcheck disable=SC2086 # the words of a command
  if "$couplerctl" syslog $words 2> /dev/null; then fail "accepted: $words"; fi
done
