#!/usr/bin/env bash
# DNS Lookup: click -> completion shown beside getent hosts, and the UI thread's longest
# stall with 20 lookups in flight, against a dnsmasq in a namespace of its own
# (198.18.53.0/24; no query leaves the namespace).
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
lab="$here/../../tests/dns/dns_lab.sh"
bin="$build/bench/dns_bench"
[ -x "$bin" ] || cmake --build "$build" --target dns_bench
if [ "$(id -u)" -ne 0 ]; then
  echo "skipped: needs root to make a network namespace"
  exit 0
fi
name="pl-dns-$$-bench"
work=$(mktemp -d)
trap '"$lab" down "$name" "$work/lab"; rm -rf "$work"' EXIT
"$lab" up "$name" "$work/lab" lab
XDG_RUNTIME_DIR="$work" QT_QPA_PLATFORM=offscreen ip netns exec "$name" "$bin"
