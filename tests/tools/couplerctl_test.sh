#!/bin/bash
# couplerctl from end to end. Runs inside the simulated appliance; the argument is the program.
set -u
couplerctl=$(realpath -- "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

fail() {
  echo "FAILED: $*"
  sed 's/^/    out: /' out
  sed 's/^/    err: /' err
  failures=$((failures + 1))
}

# expect STATUS STREAM TEXT ARGUMENT...: couplerctl ends with STATUS and STREAM (out, err) has a line with TEXT.
expect() {
  local status=$1 stream=$2 text=$3
  shift 3
  "$couplerctl" "$@" >out 2>err
  local got=$?
  [[ $got == "$status" ]] || fail "$* ended with $got, not $status"
  grep -qF -- "$text" "$stream" || fail "$* does not say: $text"
}

# holds EXPRESSION ARGUMENT...: the result of couplerctl --json, as r, fulfils the Python expression.
holds() {
  local expression=$1
  shift
  "$couplerctl" --json "$@" >out 2>err
  command -v python3 >/dev/null || return 0
  python3 -c "import json, sys; r = json.load(sys.stdin); sys.exit(not ($expression))" <out ||
    fail "$* --json does not fulfil $expression"
}

same() { cmp -s "$1" "$2" || fail "$1 and $2 differ"; }

# set_bytes FILE OFFSET BYTES: overwrites what stands there; BYTES with \x escapes.
set_bytes() { printf '%b' "$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

head -c 5000 /dev/urandom >rommon.bin
echo 'print("ok")' >verify.py
cat >bundle.json <<'END'
{"parts": [
  {"type": "image-header", "version": "4.2(1)", "filename": "fw.img", "build_date": "today", "platform": 3},
  {"type": "rommon", "version": "1.0.5", "file": "rommon.bin"},
  {"type": "fpga", "version": "2.3"},
  {"type": "image", "name": "fw.img", "image": {
    "header": {"version": "4.2(1b)", "filename": "fw.img"}, "nesting": "controller",
    "parts": [{"type": "pseq", "version": "7", "file": "verify.py"}]}},
  {"type": "text", "name": "verify_firmware.py", "file": "verify.py"}]}
END
echo '{"header": {"version": "9", "image_size": "77"}, "nesting": "bundle-type", "file": "rommon.bin"}' >image.json

# There and back.
expect 0 out 'size  6' bundle pack bundle.json fw.bundle
cp fw.bundle first.bundle
expect 0 out 'package version  4.2(1b)' bundle show fw.bundle
holds 'r["rommon_version"] == "1.0.5" and r["pseq_version"] == "7" and r["image_count"] == 1' bundle show fw.bundle
holds 'sorted(r["files"]) == ["fw.img", "hdr", "rommon-1.0.5", "verify_firmware.py"]' bundle unpack fw.bundle parts/new
same parts/new/rommon-1.0.5 rommon.bin
same parts/new/verify_firmware.py verify.py
expect 0 out 4.2 image show parts/new/fw.img
expect 0 out 'staged  fw.bundle' bundle stage fw.bundle
expect 0 out 9.img image pack image.json 9.img
holds 'r["version"] == "9" and r["size"] == 77 and r["name"] == ""' image show 9.img
holds '[o["text"] for o in r["objects"] if o.get("type") == 13] == ["7;12"] and r["problems"] == []' container tree fw.bundle
holds 'r == {"number": 446, "template": "show pkt-capture-sessions"}' command 446

# Content that starts at blocks.
expect 0 out aligned.bundle bundle pack --align 4096 bundle.json aligned.bundle
tail -c +4097 aligned.bundle | head -c 5000 | cmp -s - rommon.bin || fail 'the first content does not start at 4096'
holds 'r == {"findings": [], "notes": []}' bundle verify fw.bundle aligned.bundle
holds 'r == {"differences": []}' bundle diff fw.bundle aligned.bundle

# Where the bytes are the result, nothing else is.
"$couplerctl" bundle pack - - <bundle.json 2>err | cmp - fw.bundle || fail 'pack writes something else to standard output'
expect 2 err '- leaves no place for the document of --json' --json bundle pack bundle.json -
"$couplerctl" command 3 >&- 2>err && fail 'success without a standard output'
grep -q 'there is no standard output' err || fail 'no word of the standard output that is missing'
holds 'r == {"findings": [], "notes": []}' bundle pack --check bundle.json
echo '{"parts": [{"type": "image-header", "filename": "none.img"}]}' >lacking.json
expect 1 out 'lacking.json: at 80: none.img : names the image none.img' bundle pack --check lacking.json
expect 2 err 'OUT is required' bundle pack bundle.json
expect 2 err 'not standard input' bundle stage - <fw.bundle
expect 2 err 'no multiple of 16' bundle pack --align 17 bundle.json aligned.bundle

# Apart and made again; what changed from one to another.
expect 0 out 'manifest   bundle.json' bundle dump fw.bundle apart
expect 0 out remade.bundle bundle pack apart/bundle.json remade.bundle
same fw.bundle remade.bundle
expect 1 err 'apart is not empty' bundle dump fw.bundle apart
holds "r['objects'][4]['sha256'] == '$(sha256sum <rommon.bin | cut -c -64)'" container tree --digest fw.bundle
sed 's/1.0.5/1.0.6/; /verify_firmware/s/^.*$/  {"type": "ssd", "version": "1"}]}/; s/"7"/"8"/' bundle.json >next.json
"$couplerctl" bundle pack next.json next.bundle >out
holds '[(d["change"], d["part"]) for d in r["differences"]] == [("version", "Firmware"), ("content", "ImageFile fw.img"),
  ("removed", "TextFile verify_firmware.py"), ("added", "FirmwareSSD")]' bundle diff fw.bundle next.bundle
expect 1 out '/ImageFile fw.img/ZeltaSignature/ControllerType/FirmwareImageOne' container diff fw.bundle next.bundle
expect 2 err 'the file GUID is missing' container diff fw.bundle rommon.bin

# SSD firmware: for the fitted drive, and for another.
echo '{"identification": "QRV", "models": ["MZ240HBLS"], "version": "HXT7405Q", "file": "rommon.bin"}' >ssd.json
sed 's/MZ240/MZ120/' ssd.json >other.json
expect 0 out 'size  5086' ssd pack ssd.json drive.ssd
holds 'r == {"identification": "QRV", "models": ["MZ240HBLS"], "version": "HXT7405Q", "size": 5000}' ssd show drive.ssd
expect 1 err 'no SSD firmware file: ' ssd show rommon.bin
expect 1 err 'the fitted drive is not known' ssd match drive.ssd
[[ ! -e /mnt/boot/equipped_ssd_firmware/ssd-HXT7405Q ]] || fail 'firmware for a drive that is not known'
holds 'not r["matched"] and r["file"]' ssd match drive.ssd --force
holds 'r["ssd_model"] == "QRV_MZ240HBLS" and r["upgrade_state"] == [1, 1, 1, 1]' firmware report
rm /mnt/boot/equipped_ssd_firmware/*
holds 'r["matched"] and r["fitted_model"] == "MZ240HBLS" and r["ssd_version"] == "HXT7405Q"' ssd match drive.ssd
same /mnt/boot/equipped_ssd_firmware/ssd-HXT7405Q rommon.bin
expect 0 out 'size  5086' ssd pack other.json other.ssd
holds 'not r["matched"] and r["file"] == "" and r["status"] == 1 and r["place"] == "other.ssd"' ssd match other.ssd
expect 1 err 'no SSD firmware file' ssd match rommon.bin

# Of a bundle with a nested image and SSD firmware no beginning passes for the whole, wherever it was cut.
echo '{"parts": [{"type": "image-header", "filename": "i"}, {"type": "ssd", "version": "1", "file": "drive.bin"},
  {"type": "image", "name": "i", "image": {"parts": [{"type": "fpga", "version": "2", "file": "verify.py"}]}}]}' >nested.json
echo firmware >small.bin && sed 's/rommon.bin/small.bin/' ssd.json >small.json
"$couplerctl" ssd pack small.json drive.bin >out && "$couplerctl" bundle pack nested.json nested.bundle >out
rm -rf /mnt/boot/ssd_firmwares/*
expect 0 out "ssd version      1" bundle show nested.bundle
expect 0 out 'fpga version     2' bundle show - <nested.bundle
[[ -z $(ls -A /mnt/boot/ssd_firmwares) ]] || fail 'show leaves SSD firmware'
size=$(stat -c %s nested.bundle)
for length in $(seq 1 97 "$size") $((size - 1)); do
  head -c "$length" nested.bundle >cut.nested
  for words in 'bundle show' 'bundle verify' 'bundle unpack' 'bundle stage' 'bundle dump' 'bundle diff nested.bundle' \
    'container tree' 'container diff nested.bundle' 'image show'; do
    [[ $words =~ unpack|dump ]] && directory='cut' || directory=''
    # shellcheck disable=SC2086 # the words of a command
    "$couplerctl" $words cut.nested $directory >out 2>err && fail "$words ends with 0 at $length of $size"
  done
done
# shellcheck disable=SC2094 # both are read
holds '[b.get("fpga_version", b.get("place")) for b in r["bundles"]] == ["2", "cut.nested: 16", "missing", "2"] and
  r["status"] == 1 and r["place"] == "cut.nested: 16" and r["reason"].endswith("cannot read missing: No such file or directory")' \
  bundle show nested.bundle cut.nested missing - <nested.bundle
# shellcheck disable=SC2094 # both are read
holds '[f["file"] for f in r["findings"]] == ["cut.nested"] * len(r["findings"]) and r["findings"] and r["place"] == "missing" and
  r["reason"].startswith("cannot read missing: ") and "findings: " in r["reason"]' bundle verify missing cut.nested - <nested.bundle

# What is running; what the library itself prints is not among the result.
echo 'label 2.3.1.58' >/etc/version.txt
expect 0 out '2.3.1.58' versions
holds 'r["system_software_id"] == "swid-kv3x-system" and r["kickstart"] == ""' versions
holds 'r["sources"]["system"] == "/etc/version.txt" and r["sources"]["boot_loader"] == "default"' versions
printf 'board_type = 1\npseq_version = 2.5.1\n' >>"$COUPLER_PLATFORM"
holds 'r["package_version"] == "123." and r["ssd_model"] == "N/A"' firmware report
grep -q '^invalid 23$' err || fail 'what the library prints is lost'
echo 'image detail' >/mnt/boot/.boot_brantixmgr
holds 'r["management_image"] == "image" and r["sources"]["npu_image"] == "default" and r["message"].endswith("/mnt/boot/.boot_npu")' boot-names
: >/mnt/boot/.boot_string
expect 1 err 'failed to read the file /mnt/boot/.boot_string' boot-names
# Sessions: a process by the name of a CLI shell, seen twice.
if [[ $APPLIANCE_KIND == bubblewrap ]]; then
  ln -s "$(type -P sleep)" vsh
  expect 0 out USER sessions
  holds 'r == []' sessions
  USER=alice setsid ./vsh 600 &
  until [[ $(<"/proc/$!/comm") == vsh ]]; do :; done
  expect 0 out 'alice  -     -' sessions
  holds "[[s['user'], s['pid'], s['idle_seconds']] for s in r] == [['alice', $!, None]]" sessions
  [[ $(head -n 4 < <("$couplerctl" sessions --watch 1 --user alice) | grep -c "alice\|^-- [0-9]") == 3 ]] || fail '--watch does not refresh'
  kill $!
fi

# The doctor: all that is here is well; what is taken away is told with what it breaks.
expect 1 out 'libmelskfw.so (stand-in)' doctor
holds '[n["what"] for n in r["needs"] if not n["well"]] == ["tcp://127.0.0.1:5558"]' doctor
chmod -x /opt/tolm-mgmt-scripts/syslog_utils.sh && mv /mnt/boot/equipped_ssd_firmware away
holds '[n["breaks"] for n in r["needs"] if not n["well"]] == ["syslog", "SSD firmware", "notifications"]' doctor
chmod +x /opt/tolm-mgmt-scripts/syslog_utils.sh && mv away /mnt/boot/equipped_ssd_firmware

# Roles; a name is a name.
printf 'ldapgroup:x:900:root\n' >>/etc/group
holds 'r == {"user": "root", "role": "admin read-only"}' role root
expect 1 err 'has no role here' role 'root; touch pwned'
[[ ! -e pwned ]] || fail 'a name became a command'

# What is broken is said, and where.
head -c 4000 fw.bundle >cut.bundle
holds 'r["problems"][-1] == {"offset": 704, "text": "the payload has 5008 bytes, but only 3248 are left"}' container tree cut.bundle
cp fw.bundle foreign.bundle && set_bytes foreign.bundle 704 '\x01'
expect 1 err 'invalid object type 99999' bundle unpack foreign.bundle foreign --force
cp fw.bundle size.bundle && set_bytes size.bundle 742 '9'
expect 1 err 'at 704: the part has 9000' bundle stage size.bundle
expect 0 out 'staged  rommon.bin' bundle stage rommon.bin --force
expect 1 err 'part 1.0.5;9000' bundle unpack size.bundle none --force
[[ ! -e none/rommon-1.0.5 ]] || fail 'a part file stands in for a broken part'
expect 1 err 'not a regular file' container tree /
expect 1 err 'cannot read missing: No such file' bundle unpack missing empty
holds 'r == {"status": 1, "reason": "cannot read missing: No such file or directory", "place": "missing"}' ssd show missing
[[ ! -e empty ]] || fail 'an empty directory is left'

expect 1 out 'cut.bundle: at 704: the payload has 5008 bytes' bundle verify first.bundle cut.bundle

# Beyond 4 GiB.
{ head -c 16 fw.bundle; tail -c +705 fw.bundle | head -c 16; printf '\0\0\0\0\0\0\x12\0\0\0\0\0\0\0\0\0'; } >big
truncate -s $((16 + 32 + 0x120000000)) big
tail -c +705 fw.bundle | head -c 5056 >>big
holds '[o["offset"] for o in r["objects"]] == [0, 16, 4831838256]' container tree big

# Names are shown, not obeyed.
name=$'a\e[31m\n.bundle'
expect 0 out 'a\x1b[31m\x0a.bundle' bundle pack bundle.json "$name"
expect 1 err 'a\x1b[31m' container tree "$name.not"

# Errors name the cause; the library's log is shown on request only.
echo '{"parts": [{"type": "rommon", "version": "1/2"}]}' >wrong.json
expect 1 err 'wrong.json: parts[0].version: must not hold' bundle pack wrong.json fw.bundle
same first.bundle fw.bundle
expect 1 err 'cannot create missing/x: No such file' image pack image.json missing/x
expect 0 out 'show pkt-capture-sessions' command list pkt-capture
expect 1 err 'no template holds "frobnicate"' command list frobnicate
cp bundle.json mine.json
expect 1 err 'is what it would be made from, rommon.bin' bundle pack mine.json rommon.bin
ln -f mine.json same.json
expect 1 err 'is what it would be made from' bundle pack mine.json same.json
same bundle.json mine.json
expect 0 err 'orvix_object_firmware 1.0.5;5000' --log info bundle unpack fw.bundle parts/new
expect 0 out 1.0.5 --log critical bundle unpack fw.bundle parts/new
[[ ! -s err ]] || fail 'lines below the level are shown'
long=$(printf 'd%.0s' {1..200})
expect 1 err 'go there and give "."' bundle unpack fw.bundle "$long"

# A file size limit leaves nothing behind.
mkdir limited
(ulimit -f 4; expect 1 err 'File too large' bundle pack bundle.json limited/out; exit $failures) || failures=1
[[ -z $(ls -A limited) ]] || fail 'a limited pack leaves something'

# Where messages go, as the platform's script writes it.
holds 'r == {"done": "remote"}' syslog remote 1 10.0.0.5 err local7
expect 0 out 'remote   1  10.0.0.5  errors    local7' syslog show
holds 'r["settings"] == [{"setting": "remote", "number": "1", "to": "10.0.0.5", "severity": "errors", "facility": "local7"}]' syslog show
expect 2 err 'is none of emergencies, alerts, critical' syslog console err

# Wrong usage.
expect 2 err 'subcommand is required' bundle
expect 2 err 'verify: did you mean "bundle verify"?' verify first.bundle
expect 2 err 'bundle: verfy: did you mean "bundle verify"?' bundle verfy
holds 'r["status"] == 2 and r["place"] == "bundle verify"' bundle verify
expect 0 out 'Usage: couplerctl bundle pack' --json help bundle pack
expect 2 err 'frobnicate is not known here' help frobnicate
expect 2 err 'N: x is no number from 0 to 446' command x
expect 2 err '--log' --log loud command 3

((failures == 0)) || echo "$failures failed"
exit $((failures > 0))
