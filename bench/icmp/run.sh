#!/usr/bin/env bash
# ICMP: the engine and the window beside traceroute -I, mtr and iputils ping, all in one run, on
# the lab's path h -> r1 .. r4 -> t with 5 ms per link direction (r3 silent). Pathlark and ping run
# as nobody on datagram sockets; traceroute and mtr need root's raw sockets.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
if [ "$(id -u)" -ne 0 ]; then echo "icmp: skipped, needs root (network namespaces)"; exit 0; fi
[ -x "$build/bench/icmp_bench" ] && [ -x "$build/lab/delay_holder" ] ||
  cmake --build "$build" --target icmp_bench delay_holder >/dev/null
runs=${ICMP_BENCH_RUNS:-5}
base=plb-icmp-$$
work=$(mktemp -d)
trap 'for n in "$base" "$base-rl"; do bash "$root/lab/netlab.sh" down "$n"; done; rm -rf "$work"' EXIT
# Reachable by nobody: the build folder may sit under /root.
chmod 755 "$work"
cp "$build/bench/icmp_bench" "$work/"
mkdir -m 700 "$work/run" && chown nobody:nogroup "$work/run"

lab=$base
up() { NETLAB_DELAY_MS=5 NETLAB_HOLDER="$build/lab/delay_holder" bash "$root/lab/netlab.sh" up "$lab" path; }
as_root() { timeout 120 ip netns exec "$lab-h" "$@"; }
as_user() {
  timeout 120 ip netns exec "$lab-h" setpriv --reuid=nobody --regid=nogroup --clear-groups \
    env XDG_RUNTIME_DIR="$work/run" QT_QPA_PLATFORM=offscreen "$@"
}
ours() { as_user "$work/icmp_bench" "$@"; }
# A peer's wall time in ms, process start included.
wall_ms() {
  local start=$EPOCHREALTIME
  "$@" >/dev/null 2>&1 || true
  awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.1f\n", (b - a) * 1000 }'
}
median() {
  sort -n | awk '{ v[NR] = $1 } END { if (NR % 2) print v[(NR + 1) / 2]; else printf "%.3f\n", (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}
mean() { awk '{ s += $1 } END { printf "%.3f\n", s / NR }'; }

# Trace to $1 ($2: -6 or nothing), interleaved runs: ours (Trace to SequenceComplete), the peers' wall times.
trace_row() {
  local dst=$1 six=$2 i o=() t=() m=() last
  for i in $(seq "$runs"); do
    last=$(ours trace "$dst" 1)
    o+=("$(awk '{ print $2 }' <<<"$last")")
    t+=("$(wall_ms as_root traceroute $six -I -n "$dst")")
    m+=("$(wall_ms as_root mtr $six -r -c 1 -n "$dst")")
  done
  ours_ms=$(printf '%s\n' "${o[@]}" | median)
  tr_ms=$(printf '%s\n' "${t[@]}" | median)
  printf '  %-15s pathlark %7.1f ms   traceroute%s -I %8.1f ms   mtr%s -r -c 1 %7.1f ms   (last row: %s)\n' "$dst" \
    "$ours_ms" "${six:+ $six}" "$tr_ms" "${six:+ $six}" "$(printf '%s\n' "${m[@]}" | median)" "${last#*last }"
}
versus_traceroute() {
  awk -v a="$ours_ms" -v b="$tr_ms" 'BEGIN { r = a / b
    printf "    pathlark / traceroute -I = %.2f (target <= 1, aim 0.8): %s\n", r, (r <= 1 ? "met" : "MISSED") }'
}
# Ping: ours and iputils ping -s 32 (both as nobody), interleaved, every echo's trip time. Both show
# 0.1 ms above 10 ms, so the means are given too.
ping_row() {
  local dst=$1 six=$2 i o=() p=()
  for i in $(seq $((runs * 2))); do
    o+=($(ours ping "$dst" | awk '/rtt_ms/ { print $2 }'))
    p+=($(as_user ping $six -c 4 -s 32 "$dst" | sed -n 's/.*time=\([0-9.]*\) ms.*/\1/p'))
  done
  local om pm
  om=$(printf '%s\n' "${o[@]}" | median) pm=$(printf '%s\n' "${p[@]}" | median)
  printf '  %-15s pathlark median %.3f mean %.3f ms (%d echoes)   ping median %.3f mean %.3f ms (%d echoes)\n' "$dst" \
    "$om" "$(printf '%s\n' "${o[@]}" | mean)" ${#o[@]} "$pm" "$(printf '%s\n' "${p[@]}" | mean)" ${#p[@]}
  awk -v a="$om" -v b="$pm" 'BEGIN { d = a - b; if (d < 0) d = -d
    printf "    median difference %.3f ms (target <= 0.05): %s\n", d, (d <= 0.05 ? "met" : "MISSED") }'
}

up
echo "-- trace completion, medians of $runs (path of 5 hops, 5 ms per link direction; pathlark: Trace() to"
echo "   SequenceComplete, the peers: wall time; mtr's includes its 5 s grace time for late replies)"
trace_row 198.18.5.2 ""
versus_traceroute
trace_row 198.19.88.88 ""
versus_traceroute

echo "-- black hole 198.19.99.99 (hop 1 answers, then silence), medians of $runs"
trace_row 198.19.99.99 ""
awk -v a="$ours_ms" 'BEGIN { printf "    pathlark %.0f ms (target <= 2500): %s\n", a, (a <= 2500 ? "met" : "MISSED") }'

echo "-- cancel during the black-hole trace: request -> SequenceComplete"
ours cancel 198.19.99.99 300 1200 1900 | awk '
  /latency_ms/ { printf "  requested at %5d ms: %7.1f ms, %d rows after (target <= ~2000): %s\n", $2, $4, $6,
                  ($4 <= 2000 ? "met" : "MISSED") }
  /ended_first/ { printf "  requested at %5d ms: the trace had ended (%.1f ms)\n", $2, $4 }'

echo "-- ping trip time to 198.18.5.2 beside ping -s 32, interleaved, $((runs * 2)) x 4 echoes each"
ping_row 198.18.5.2 ""

echo "-- IPv6: trace beside traceroute -6 -I and mtr -6, ping beside ping -6"
trace_row 2001:db8:5::2 -6
versus_traceroute
trace_row 2001:db8:88::88 -6
versus_traceroute
ping_row 2001:db8:5::2 -6

echo "-- UI thread during a trace from the window's Trace Route button (target.path.test, reverse lookups)"
gaps() {
  ours window target.path.test | awk '{ printf "  trace %7.1f ms, %2d rows, longest 5 ms timer gap %6.2f ms (target < 20): %s\n",
                                        $2, $6, $4, ($4 < 20 ? "met" : "MISSED") }'
}
for _ in 1 2 3; do gaps; done
echo "  ... with a name server that never answers (a black hole; reverse lookups not in the hosts file wait)"
printf 'nameserver 198.19.99.99\noptions timeout:2 attempts:1\n' >"/etc/netns/$lab-h/resolv.conf"
for _ in 1 2; do gaps; done
bash "$root/lab/netlab.sh" down "$lab"

echo "-- the kernel's ICMP rate limits on (NETLAB_RATELIMIT=default): two traces in a row to 198.19.88.88"
lab=$base-rl
NETLAB_RATELIMIT=default up
ours trace 198.19.88.88 2 | awk '{ l = $0; sub(/.*last /, "", l); split(l, r, "|")
  answers = r[1] == 5 && r[3] != "Request timed out"
  printf "  pathlark run %d:      hops %s; hop %s: %s (%s)\n", NR, $6, r[1], r[3], (answers ? "hop 5 answers" : "HOP 5 MISSING") }'
sleep 7   # the routers' buckets fill again: each tool starts alike
for run in 1 2; do
  as_root traceroute -I -n 198.19.88.88 | awk -v run="$run" '
    NR > 1 { hops = hops (NR > 2 ? "," : "") $2 } $1 == 5 { $1 = ""; five = $0 }
    END { printf "  traceroute -I run %d: hops %s; hop 5:%s\n", run, hops, five }'
done
