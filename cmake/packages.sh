# shellcheck shell=sh
# Installs Debian packages that are missing. To be sourced: need PACKAGE...
# Says what it installs, and asks for root only then.

need() {
  missing=
  for package in "$@"; do
    case $(dpkg-query -W -f='${db:Status-Abbrev}' "$package" 2> /dev/null) in
      ii*) ;;
      *) missing="$missing $package" ;;
    esac
  done
  [ -n "$missing" ] || return 0
  echo "Installing from Debian:$missing"
  if ! command -v apt-get > /dev/null; then
    echo "apt-get is missing; install the like of these packages yourself, then run this again" >&2
    return 1
  fi
  if [ "$(id -u)" -eq 0 ]; then as_root=; else as_root=sudo; fi
  $as_root apt-get update -qq
  # shellcheck disable=SC2086 # a list of words
  DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y -qq --no-install-recommends $missing > /dev/null
}

need_for_build() {
  need g++ cmake ninja-build pkg-config libzmq3-dev libcli11-dev libbsd-dev libmd-dev nlohmann-json3-dev bubblewrap proot
}

# The services that the simulated appliance configures.
need_for_services() {
  need procps snmpd snmp snmptrapd rsyslog
}

need_for_tests() {
  need libgtest-dev libgmock-dev locales python3 psmisc abigail-tools
  need_for_services
  need doxygen
}

# To make the Debian packages, and to check them.
need_for_packages() {
  need dpkg-dev file lintian man-db zsh
}
