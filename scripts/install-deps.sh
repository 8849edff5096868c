#!/usr/bin/env bash
# Installs, from Debian's packages, everything the build, the tests and the demo need.
# Idempotent: packages already present are left alone. Run as root (or through sudo).
set -euo pipefail

packages=(
  # toolchain
  g++ cmake ninja-build pkg-config clang libclang-rt-14-dev
  # style and static checks (run-clang-tidy.sh reads the compilation database with python3)
  clang-format clang-tidy
  # test and benchmark frameworks
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  # property lists, the notification bus, HTTP
  libplist-dev libsdbus-c++-dev libsystemd-dev dbus libcurl4-openssl-dev
  # the front end
  qt6-base-dev
  # commands the agent runs: whois reports, the administrator form of the script runner
  whois pkexec
  # the list of services the alert names ports by (/etc/services)
  netbase
  # test peers and helpers
  python3 procps
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all ${#packages[@]} packages already installed"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
echo "install-deps: done"
