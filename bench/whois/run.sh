#!/usr/bin/env bash
# Whois: awkward answers shown in the real window beside the Debian whois client, from a server
# process of the bench's own: on 127.0.0.1, and as root also across the lab's path (h -> r1 .. r4 -> t,
# 5 ms per link direction), the server on t (198.18.5.2), the window and the client on h.
# Then a referral chain (root -> registry -> registrar) on three addresses of r1, each 5 ms away
# (10 ms round trip): the click to the whole chain shown beside `whois -h ROOT -p 43` following
# the same chain, run after run in turn. Each hop costs two round trips (the TCP handshake, then
# the query and the answer), so the floor is 6 x 10 ms; the target is within 60 ms of the three
# round trips plus the servers' own delays, and no slower than the client.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
bin="$build/bench/whois_bench"
[ -x "$bin" ] && [ -x "$build/bench/whois_chain_bench" ] ||
  cmake --build "$build" --target whois_bench whois_chain_bench >/dev/null
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

echo "-- referral chain on the lab's r1, 5 ms each way, servers' delay ${CHAIN_DELAY_MS:=2} ms"
r1=$lab-r1
for a in 11 12 13; do ip -n "$r1" addr add "198.18.1.$a/24" dev tonear; done
ip netns exec "$r1" python3 "$root/bench/whois/chain_servers.py" 198.18.1.11 198.18.1.12 198.18.1.13 "$CHAIN_DELAY_MS" \
  >"$work/chain.out" 2>&1 &
for _ in $(seq 50); do grep -q ready "$work/chain.out" 2>/dev/null && break; sleep 0.1; done
for a in 11 12 13; do
  ip netns exec "$lab-h" ping -c 5 -i 0.2 -q "198.18.1.$a" | sed -n "s|^rtt.*= [0-9.]*/\([0-9.]*\)/.*|round trip to 198.18.1.$a: \1 ms|p"
done
timeout 300 ip netns exec "$lab-h" env XDG_RUNTIME_DIR="$work/run" QT_QPA_PLATFORM=offscreen \
  "$build/bench/whois_chain_bench" 198.18.1.11 "Registrar record of the lab" "${CHAIN_RUNS:-15}"
