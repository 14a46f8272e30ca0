#!/usr/bin/env bash
# Installs what Pathlark needs from Debian's packages, only what is missing.
#   setup.sh run      — building and running the program
#   setup.sh help     — that plus the help compiler (refreshing help/Pathlark.chm)
#   setup.sh package  — that plus the tools that build and check the Debian package
#   setup.sh test     — everything the test suite and the benchmarks need
set -euo pipefail

profile=${1:-run}

# Qt Charts' CMake package needs Qt's OpenGL one, which its -dev package does not pull in.
# The help compiler is a 250 MB Free Pascal install: not part of the run set-up, which copies
# the committed help/Pathlark.chm instead.
run_packages=(
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-charts-dev libqt6opengl6-dev libgl-dev
  fonts-liberation xdg-utils file
)
help_packages=(fp-utils-3.2.2)
package_packages=(dpkg-dev lintian desktop-file-utils appstream)
test_packages=(
  make
  xvfb xauth
  iproute2 nftables iptables libnetfilter-queue-dev procps util-linux
  dnsmasq-base socat
  iputils-ping traceroute mtr-tiny bind9-dnsutils whois time
  libchm-bin
  python3 python3-pyatspi at-spi2-core dbus dbus-x11
  libcap2-bin
  clang libclang-rt-14-dev
)

case $profile in
  run)     wanted=("${run_packages[@]}") ;;
  help)    wanted=("${run_packages[@]}" "${help_packages[@]}") ;;
  package) wanted=("${run_packages[@]}" "${help_packages[@]}" "${package_packages[@]}") ;;
  test)    wanted=("${run_packages[@]}" "${help_packages[@]}" "${package_packages[@]}" "${test_packages[@]}") ;;
  *) echo "usage: setup.sh run|help|package|test" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if ! command -v sudo >/dev/null; then
    echo "These Debian packages are missing and there is no sudo; please install them as root:" >&2
    echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
# sudo drops the environment, so the setting goes through env.
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
