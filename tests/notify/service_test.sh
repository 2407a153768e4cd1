#!/bin/bash
# A notification goes from the tool through the library and the platform's notification service to a real SNMP trap
# receiver. usage, in the appliance: service_test.sh COUPLERCTL NOTIFICATION_SERVICE
set -euo pipefail
couplerctl=$1 service=$2
type -P snmptrapd snmptrap > /dev/null || { echo "snmptrapd or snmptrap is missing" && exit 77; }

# The transport's own threads hand memory over by means that the thread sanitizer does not see.
printf '%s\n' called_from_lib:libzmq.so race:libzmq.so > /tmp/tsan
export TSAN_OPTIONS=${TSAN_OPTIONS:+$TSAN_OPTIONS:}suppressions=/tmp/tsan

# expect WHAT EXPECTED GOT
expect() {
  if [[ $2 == "$3" ]]; then return; fi
  printf 'FAILED: %s\nexpected: %s\ngot:      %s\n' "$1" "$2" "$3"
  exit 1
}

exec 3< <(exec snmptrapd -f -Lo -Oqn -m "" -C -c /dev/null --disableAuthorization=yes udp:127.0.0.1:1162 2>&1)
line=
until [[ $line == NET-SNMP* ]]; do read -r -t 20 line <&3; done
exec 4< <(exec "$service" --trap 127.0.0.1:1162)
read -r -t 20 line <&4
expect 'the service is there' 'waiting for notifications at tcp://127.0.0.1:5558' "$line"

trap=1.3.6.1.4.1.8072.2.3.0.1
object=1.3.6.1.4.1.8072.2.3.2
"$couplerctl" notify $trap $object.1 i -5 $object.2 s $'it\'s "up";\e' $object.3 o .1.3.6 $object.4 T text \
  $object.5 c 4294967295 $object.6 u 7 $object.7 C 18446744073709551615

expected="notification .$trap
  .$object.1 = INTEGER: -5
  .$object.2 = STRING: it's \"up\";\\x1b
  .$object.3 = OID: .1.3.6
  .$object.4 = Text: text
  .$object.5 = Counter32: 4294967295
  .$object.6 = Gauge32: 7
  .$object.7 = Counter64: 18446744073709551615
  sent on to 127.0.0.1:1162"
got=$(timeout 20 head -n 9 <&4)
expect 'the service' "$expected" "$got"

received="\.1\.3\.6\.1\.6\.3\.1\.1\.4\.1\.0 \.$trap.*\.1 -5.*\.3 \.1\.3\.6.*\.4 \"text\".*\.5 4294967295.*\.6 7.*\.7 18446744073709551615"
until [[ $line == *$trap* && $line != notification* ]]; do read -r -t 20 line <&3; done
[[ $line =~ $received ]] || expect 'the trap' "$received" "$line"

got=$("$couplerctl" notify $trap $object.1 z 1 2>&1) && exit 1
expect 'an unknown type' 'couplerctl: error: z is no type; types are i, s, o, T, c, u and C' "$got"
