#!/usr/bin/env bash
# Whois: awkward answers shown in the real window beside the Debian whois client, from a server
# process of the bench's own: on 127.0.0.1, and as root also across the lab's path (h -> r1 .. r4 -> t,
# 5 ms per link direction), the server on t (198.18.5.2), the window and the client on h.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
bin="$build/bench/whois_bench"
[ -x "$bin" ] || cmake --build "$build" --target whois_bench >/dev/null
work=$(mktemp -d)
lab=plb-whois-$$
trap 'rm -rf "$work"' EXIT
mkdir -m 700 "$work/run"
echo "-- loopback"
XDG_RUNTIME_DIR="$work/run" QT_QPA_PLATFORM=offscreen "$bin"
if [ "$(id -u)" -ne 0 ]; then echo "-- lab path: skipped, needs root (network namespaces)"; exit 0; fi
[ -x "$build/lab/delay_holder" ] || cmake --build "$build" --target delay_holder >/dev/null
trap 'bash "$root/lab/netlab.sh" down "$lab"; rm -rf "$work"' EXIT
NETLAB_DELAY_MS=5 NETLAB_HOLDER="$build/lab/delay_holder" bash "$root/lab/netlab.sh" up "$lab" path
echo "-- lab path, 5 ms per link direction"
timeout 600 ip netns exec "$lab-h" env XDG_RUNTIME_DIR="$work/run" QT_QPA_PLATFORM=offscreen \
  WHOIS_BENCH_SERVER=198.18.5.2 WHOIS_BENCH_SERVER_NS="$lab-t" "$bin"
