#!/bin/bash
# The Debian packages of a build satisfy lintian, install, and serve a host author who has nothing else: the README's host
# program compiles against them by pkg-config and by find_package, and runs in the appliance that comes with them. Then
# they go without a trace.
# usage: packages.sh SOURCE BUILD, the build being of the preset "package". Only .ci/run runs it.
set -euo pipefail
source=$(realpath -- "$1") build=$(realpath -- "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root library=usr/lib/$(cc -print-multiarch)

# quietly COMMAND...: shows what it says only when it fails.
quietly() {
  "$@" >"$work/log" 2>&1 && return
  grep -v 'files list file for package' "$work/log"
  exit 1
}

(cd "$build" && quietly cpack -B "$work")
if grep -i warning "$work/log"; then exit 1; fi
lintian --allow-root --no-cfg --fail-on error,warning "$work"/*.deb

# A root of its own where what this machine has installed satisfies the dependencies.
mkdir -p "$root"/var/lib/dpkg/{info,updates} "$work"/{bin,host}
sed '/^Package: \(libbrantix\|brantix\|couplerctl\)/,/^$/d' /var/lib/dpkg/status >"$root/var/lib/dpkg/status"
ln -s /usr/bin/true "$work/bin/ldconfig" # what the scripts in the packages run is for this machine's root
run_dpkg() {
  quietly "$source/platform/appliance" --bind "$work" env PATH="$work/bin:$PATH" \
    dpkg --root="$root" --force-script-chrootless "$@"
}
run_dpkg -i "$work"/*.deb
! grep -rlF "$source" "$root/usr" || { echo "these files name the place where they were built" && exit 1; }

# Folders of this root that the loader would know; those of the stand-ins the appliance adds itself.
appliance() { LD_LIBRARY_PATH=$root/$library "$root/usr/bin/brantix-appliance" "$@"; }
# expect_output COMMAND...: what the host program says
expect_output() {
  appliance "$@" fw.img__hdr 2>"$work/log" | sed 's/ $//' >output
  diff -u - output <<'END'
command 212 is "description %s"
image fw-4.1.img, version
END
}
cd "$work/host"
# shellcheck disable=SC2016 # the ticks are Markdown's
sed -n '/^```c$/,/^```$/{/^```/d;p}' "$source/README.md" >host.c
{ head -c 112 /dev/zero && printf fw-4.1.img && head -c 454 /dev/zero; } >fw.img__hdr

export PKG_CONFIG_PATH=$root/$library/pkgconfig
read -r -a flags < <(pkg-config --cflags --libs brantix-coupler)
cc -std=c11 -Wall -Wextra -pedantic -Werror host.c -o by-pkg-config "${flags[@]}"
expect_output ./by-pkg-config

cat >CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES C)
find_package(BrantixCoupler 0.1 REQUIRED)
add_executable(by-find-package host.c)
target_link_libraries(by-find-package BrantixCoupler::coupler)
END
quietly cmake -B made -DCMAKE_PREFIX_PATH="$root/usr"
quietly cmake --build made
expect_output made/by-find-package

appliance "$root/usr/bin/couplerctl" firmware report >/dev/null
for page in couplerctl brantix-appliance; do man --warnings -l "$root/usr/share/man/man1/$page.1.gz" >/dev/null; done

# Stand-ins come last: behind any folder that is told to the loader, and never through the library.
tail -n 1 "$root"/etc/ld.so.conf.d/zzzz-brantix-stand-ins.conf | grep -qx "/$library/brantix/platform"
if readelf -d "$root/$library/libbrantix_coupler.so" | grep -E 'R(UN)?PATH'; then exit 1; fi
if grep -q stand-ins <(dpkg-deb -f "$work"/libbrantix-coupler_*.deb Depends Recommends); then exit 1; fi

run_dpkg -P couplerctl libbrantix-coupler-dev libbrantix-coupler brantix-appliance
left=$(cd "$root" && find . -path ./var -prune -o -not -name . -print)
[[ -z $left ]] || { echo "left behind: $left" && exit 1; }

# Beside real platform libraries, for which copies stand here, neither stand-ins nor appliance are made.
mkdir "$work/own"
cp "$build"/lib/brantix/platform/lib*.so* "$work/own"
quietly cmake -S "$source" -B "$work/real" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_INSTALL_PREFIX=/usr \
  -DBUILD_TESTING=OFF -DCOUPLER_TOOL=OFF -DCOUPLER_PLATFORM_DIR="$work/own"
quietly cmake --build "$work/real"
(cd "$work/real" && quietly cpack -B made)
diff - <(cd "$work/real/made" && LC_ALL=C && echo *.deb | sed -E 's/_[^ ]*//g') <<<'libbrantix-coupler-dev libbrantix-coupler'
