# shellcheck shell=bash disable=SC2034
# What the SNMP scripts share; they source it.

config=/etc/snmp/snmpd.conf
state=/var/lib/net-snmp/snmpd.conf

fail() {
  echo "${0##*/}: $*" >&2
  exit 1
}

# In the agent's files a line end would begin a directive of its own.
refuse_line_ends() {
  local value
  for value; do
    if [[ $value == *[$'\n\r']* ]]; then fail "a value holds a line end"; fi
  done
}

# One word of the agent's configuration language.
word() {
  local text=${1//\\/\\\\}
  printf '"%s"' "${text//\"/\\\"}"
}

# locked COMMAND...: while it runs nobody else changes the configuration. It must not wait for the agent, nor start it.
locked() (
  flock -w 10 9 || fail "${config%/*} is locked"
  "$@"
) 9<"${config%/*}"

# The agent is stopped until the script ends, however it ends.
stop_agent() {
  trap 'skellan_svc rescan snmp || exit 1' EXIT
  skellan_svc stop snmp
}

# append FILE LINE: in one write, whatever the last line lacks
append() {
  local end=
  if [[ -s $1 && -n $(tail -c 1 "$1") ]]; then end=$'\n'; fi
  printf '%s%s\n' "$end" "$2" >>"$1"
}

# forget_user FILE NAME: takes what the file says about the user out of it. The agent keeps names that are not plain in
# hexadecimal.
forget_user() (
  local file=$1 quoted hexadecimal new line
  quoted=$(word "$2")
  hexadecimal=0x$(printf %s "$2" | od -An -v -tx1 | tr -d ' \n')
  if [[ ! -e $file ]]; then return; fi
  new=$(mktemp "$file.XXXXXX")
  trap 'rm -f -- "$new"' EXIT
  while IFS= read -r line || [[ $line ]]; do
    if [[ $line =~ ^(usmUser\ [^\ ]+\ [^\ ]+\ [^\ ]+|createUser|rouser)\ (.*)$ &&
      (${BASH_REMATCH[2]} == "$quoted "* || ${BASH_REMATCH[2]} == "$hexadecimal "*) ]]; then continue; fi
    printf '%s\n' "$line"
  done <"$file" >"$new"
  chown --reference="$file" "$new"
  chmod --reference="$file" "$new"
  sync "$new"
  mv -T "$new" "$file"
)
