#!/usr/bin/env bash
# ICMP engine against iputils ping, traceroute -I and mtr, on the five-hop namespace path of
# tests/icmp/netns_path.sh (one silent router, a black hole behind r3), all in one run.
# Needs root (namespaces). Prints each figure beside its target.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
bin="$build/bench/icmp_bench"
[ -x "$bin" ] || cmake --build "$build" --target icmp_bench
if [ "$(id -u)" -ne 0 ]; then echo "icmp bench: needs root for network namespaces, skipped"; exit 0; fi

prefix=pl-icmp-$$-b
path="$here/../../tests/icmp/netns_path.sh"
export XDG_RUNTIME_DIR
XDG_RUNTIME_DIR=$(mktemp -d)
trap 'bash "$path" down "$prefix"; rm -rf "$XDG_RUNTIME_DIR"' EXIT
bash "$path" up "$prefix"
in_ns() { ip netns exec "$prefix-h" "$@"; }
target=198.18.5.2 hole=198.19.99.99
runs=${ICMP_BENCH_RUNS:-7}
export QT_QPA_PLATFORM=offscreen

# Wall time of a command in milliseconds, to the microsecond.
wall_ms() {
  local start end
  start=$(date +%s%N)
  "$@" >/dev/null 2>&1 || true
  end=$(date +%s%N)
  awk -v ns=$((end - start)) 'BEGIN { printf "%.2f\n", ns / 1e6 }'
}
median() { sort -n | awk '{ v[NR] = $1 } END { if (NR % 2) print v[(NR + 1) / 2]; else printf "%.3f\n", (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

echo "-- trace to $target (5 hops, hop 2 silent), median of $runs runs"
ours=$(in_ns "$bin" trace "$target" "$runs" | awk '{ print $2 }' | median)
tr=$(for _ in $(seq "$runs"); do wall_ms in_ns traceroute -I "$target"; done | median)
mtr=$(for _ in $(seq "$runs"); do wall_ms in_ns mtr --report -c 1 "$target"; done | median)
echo "pathlark Trace->SequenceComplete: $ours ms   traceroute -I: $tr ms   mtr --report -c 1: $mtr ms"
awk -v a="$ours" -v b="$tr" 'BEGIN { print (a <= b ? "  target met" : "  TARGET MISSED") ": no slower than traceroute -I" }'

echo "-- black hole $hole (hops 1-3 answer, then silence)"
ours_trace=$(in_ns "$bin" trace "$hole" 1 | awk '{ print $2 }')
ours_ping=$(in_ns "$bin" ping "$hole" | awk '/ping_ms/ { print $2 }')
peer_ping=$(wall_ms in_ns ping -c 4 "$hole")
peer_mtr=$(wall_ms in_ns mtr --report -c 1 "$hole")
peer_tr=$(wall_ms in_ns traceroute -I "$hole")
echo "pathlark trace: $ours_trace ms (target <= 6500)   traceroute -I: $peer_tr ms   mtr: $peer_mtr ms"
echo "pathlark ping of 4: $ours_ping ms (target <= 5100)   ping -c 4: $peer_ping ms"

echo "-- trip time to $target, pathlark ping vs iputils ping -s 32, interleaved, 3 x 4 echoes each"
ours_rtt=() peer_rtt=()
for _ in 1 2 3; do
  ours_rtt+=($(in_ns "$bin" ping "$target" | awk '/rtt_ms/ { print $2 }'))
  peer_rtt+=($(in_ns ping -c 4 -s 32 "$target" | sed -n 's/.*time=\([0-9.]*\) ms.*/\1/p'))
done
a=$(printf '%s\n' "${ours_rtt[@]}" | median) b=$(printf '%s\n' "${peer_rtt[@]}" | median)
echo "pathlark median: $a ms (${#ours_rtt[@]} echoes)   iputils median: $b ms (${#peer_rtt[@]} echoes)"
awk -v a="$a" -v b="$b" 'BEGIN { d = a - b; if (d < 0) d = -d; printf "  difference %.3f ms: %s\n", d, (d <= 0.05 ? "target met (<= 0.05)" : "TARGET MISSED") }'

echo "-- UI thread: longest gap of a 5 ms timer during a trace from the window, with reverse lookups"
for _ in 1 2 3; do in_ns "$bin" window "$target"; done
echo "   ... with a resolver that never answers (every lookup waits for its time-out)"
printf 'nameserver %s\noptions timeout:2 attempts:1\n' "$hole" > "/etc/netns/$prefix-h/resolv.conf"
grep -v 'r1\|r3' "/etc/netns/$prefix-h/hosts" > "/etc/netns/$prefix-h/hosts.new"
mv "/etc/netns/$prefix-h/hosts.new" "/etc/netns/$prefix-h/hosts"
in_ns "$bin" window "$target"
echo "  target: longest gap < 20 ms"
