#!/usr/bin/env bash
# Installs what Pathlark needs from Debian's packages, only what is missing.
#   setup.sh run   — what building and running the program needs
#   setup.sh test  — that plus what the test suite and benchmarks need
set -euo pipefail

profile=${1:-run}

run_packages=(
  cmake ninja-build g++ make pkg-config
  qt6-base-dev qt6-base-dev-tools libgl-dev
  fonts-liberation xdg-utils file
  fp-utils-3.2.2
)
test_packages=(
  xvfb xauth
  iproute2 nftables procps util-linux
  dnsmasq-base socat
  iputils-ping traceroute mtr-tiny
  libchm-bin
  clang libclang-rt-14-dev
)

wanted=("${run_packages[@]}")
[ "$profile" = test ] && wanted+=("${test_packages[@]}")

missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Please install as root: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
