#!/bin/sh
# A host program in C loads the library and reads the name in a stand-alone header file.
# usage: host_program.sh HOST LIBRARY
set -eu
image=/tmp/host.img__hdr
{ head -c 112 /dev/zero; printf 'fw-4.1.img'; head -c 454 /dev/zero; } > "$image"
"$1" "$2" "$image" > /tmp/host.out
cat > /tmp/host.expected << END
2 SCI_Initialize_lib: Successfully initialized pelk_coupler lib
2 SC_Initialize_commands: Number of commands in array = 447 and in enums = 447
2 SC_Initialize_commands: Command array and enum matches!
command 316 is 'no switchport access vlan '
the image is 'fw-4.1.img'
END
diff -u /tmp/host.expected /tmp/host.out
