#!/bin/bash
# Configures the appliance's syslog daemon, rsyslog: each setting is a file of its own in /etc/rsyslog.d.
# Exit status: 0 done, 1 the daemon did not come back with the new setting, 2 wrong arguments.
set -euo pipefail

usage() {
  cat >&2 <<'END'
usage: syslog_utils.sh SETTING

  -SyslogSetRemoteDestination Add N HOST SEVERITY FACILITY   FACILITY's messages also go to HOST, as destination N
  -SyslogSetRemoteDestination DeleteAll
  -SyslogSetConsoleLevel SEVERITY                            messages also go to the console
  -SyslogDisableConsoleLevel
  -SyslogSetPlatformLevelToDorv SEVERITY                     the platform's own messages go no further below SEVERITY
  -SyslogSetPlfmLogLevel SEVERITY [FILE]                     messages also go to /var/log/FILE (messages)
  -SyslogDisablePlfmLogLevel

A SEVERITY is the least severe that passes: emergencies, alerts, critical, errors, warnings, notifications, information
or debugging. A FACILITY is local0 to local7.
END
  exit 2
}

settings=/etc/rsyslog.d
severities=(emergencies alerts critical errors warnings notifications information debugging)
priorities=(emerg alert crit err warning notice info debug)

# severity NAME: sets `number` and `priority` to what rsyslog calls it
severity() {
  for number in "${!severities[@]}"; do
    priority=${priorities[number]}
    if [[ ${severities[number]} == "$1" ]]; then return; fi
  done
  usage
}

# write NAME LINE: the setting's file holds LINE
write() {
  local file=$settings/$1.conf
  printf '%s\n' "$2" >"$file.new"
  mv -- "$file.new" "$file"
}

# rsyslog reads its settings when it starts; where it does not run, they hold from its next start on.
restart() {
  local daemon
  daemon=$(cat /run/rsyslogd.pid 2>/dev/null) || return 0
  if [[ $(cat "/proc/$daemon/comm" 2>/dev/null) != rsyslogd ]]; then return; fi
  kill -TERM "$daemon"
  for ((try = 0; try < 100; try++)); do
    if ! kill -0 "$daemon" 2>/dev/null; then exec rsyslogd 9>&-; fi
    sleep 0.1
  done
  exit 1
}

mkdir -p "$settings"
exec 9>/run/syslog_utils.lock
flock 9

case "$# ${1-} ${2-}" in
  '6 -SyslogSetRemoteDestination Add')
    # What follows becomes part of a file of settings, so it must be what it is taken for.
    [[ $3 =~ ^[0-9]+$ && $4 =~ ^[A-Za-z0-9._:%-]+$ && $6 =~ ^local[0-7]$ ]] || usage
    severity "$5"
    write "remote-$3" "$6.$priority action(type=\"omfwd\" target=\"$4\" port=\"514\" protocol=\"udp\")"
    ;;
  '2 -SyslogSetRemoteDestination DeleteAll') rm -f -- "$settings"/remote-*.conf ;;
  '2 -SyslogSetConsoleLevel '*)
    severity "$2"
    write console "*.$priority action(type=\"omfile\" file=\"/dev/console\")"
    ;;
  '1 -SyslogDisableConsoleLevel ') rm -f -- "$settings/console.conf" ;;
  '2 -SyslogSetPlatformLevelToDorv '*)
    severity "$2"
    # Before all others: the platform's messages are tagged VTRC.
    write 00-platform "if \$msg contains \"VTRC:\" and \$syslogseverity > $number then stop"
    ;;
  [23]' -SyslogSetPlfmLogLevel '*)
    file=${3-messages}
    [[ $file =~ ^[A-Za-z0-9._-]+$ && $file != . && $file != .. ]] || usage
    severity "$2"
    write file "*.$priority action(type=\"omfile\" file=\"/var/log/$file\")"
    ;;
  '1 -SyslogDisablePlfmLogLevel ') rm -f -- "$settings/file.conf" ;;
  *) usage ;;
esac
restart
