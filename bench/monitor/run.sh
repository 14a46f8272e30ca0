#!/usr/bin/env bash
# Path monitor: loss, delay, verdict and CPU beside mtr in the same run, on the lab's path
# h -> r1 .. r4 -> t with 5 ms per link direction (r3 silent), then a simulated day for memory.
#  (1) r1 drops 10% of the ICMP it forwards, each way: loss begins at hop 2 (r2)
#  (2) r2 forwards everything but drops half of its own time-exceeded answers: hop 2 limits its replies
#  (3) the verdicts of (1) and (2), MONITOR_BENCH_REPEATS runs each, all at once
#  (4) 24 hours of a 30-hop path at 1 s on a simulated clock: memory above idle, CPU per round by hour
#  (5) the main window's longest stall beside a monitor at 0.1 s with its chart
# Ours and mtr both run as root in h (ours takes the datagram socket h allows, mtr its raw one).
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
if [ "$(id -u)" -ne 0 ]; then echo "monitor: skipped, needs root (network namespaces)"; exit 0; fi
[ -x "$build/bench/monitor_bench" ] && [ -x "$build/lab/delay_holder" ] ||
  cmake --build "$build" --target monitor_bench delay_holder >/dev/null
for tool in mtr /usr/bin/time python3; do
  command -v "$tool" >/dev/null || { echo "monitor: $tool is missing (scripts/setup.sh test installs it)"; exit 1; }
done
rounds=${MONITOR_BENCH_ROUNDS:-300}
repeats=${MONITOR_BENCH_REPEATS:-10}
interval=0.2
target=198.18.5.2
lab=plb-mon-$$
# Every tool's own output stays here after the run, for a closer look.
work=$build/bench/monitor-out
rm -rf "$work" && mkdir -p "$work"
trap 'bash "$root/lab/netlab.sh" down "$lab"' EXIT
bench=$build/bench/monitor_bench
# Bounded: the rounds at their interval, plus margins for the last waits and mtr's grace time.
limit=$(awk -v r="$rounds" -v i="$interval" 'BEGIN { printf "%d", r * i + 60 }')
in_ns() { local node=$1; shift; timeout "$limit" ip netns exec "$lab-$node" "$@"; }

NETLAB_DELAY_MS=5 NETLAB_HOLDER="$build/lab/delay_holder" bash "$root/lab/netlab.sh" up "$lab" path

lossy_link() {
  in_ns r1 nft -f - <<'NFT'
table inet loss {
  chain lossy {
    type filter hook forward priority 0;
    meta l4proto { icmp, ipv6-icmp } numgen random mod 100 < 10 drop
  }
}
NFT
}
half_silent_router() {
  in_ns r2 nft -f - <<'NFT'
table inet halfmute {
  chain out {
    type filter hook output priority 0;
    icmp type time-exceeded numgen random mod 2 0 drop
    icmpv6 type time-exceeded numgen random mod 2 0 drop
  }
}
NFT
}

# Ours and mtr on the path at the same time; $1 names the case, $2 is loss or limit, $3 the hop
# the verdict must name.
side_by_side() {
  local tag=$1 mode=$2 hop=$3 mtr_pid ours_pid failed=0
  in_ns h /usr/bin/time -f '%U %S' -o "$work/$tag.mtr.time" \
    mtr -r -n -c "$rounds" -i "$interval" --json "$target" >"$work/$tag.mtr.json" &
  mtr_pid=$!
  in_ns h "$bench" live "$target" "$rounds" "$interval" >"$work/$tag.ours" &
  ours_pid=$!
  wait "$mtr_pid" || { echo "  mtr failed"; failed=1; }
  wait "$ours_pid" || { echo "  monitor_bench failed"; failed=1; }
  [ "$failed" = 0 ] || return 1
  python3 "$here/compare.py" table "$work/$tag.ours" "$work/$tag.mtr.json" "$work/$tag.mtr.time" "$rounds" "$mode" "$hop"
}

# $repeats monitors at once, each on its own socket; how many verdicts name the hop.
verdicts() {
  local tag=$1 mode=$2 hop=$3 i pids=() yes=0
  for i in $(seq "$repeats"); do
    in_ns h "$bench" live "$target" "$rounds" "$interval" >"$work/$tag.$i" &
    pids+=($!)
  done
  for i in "${pids[@]}"; do wait "$i" || echo "  a run failed"; done
  for i in $(seq "$repeats"); do
    python3 "$here/compare.py" verdict "$work/$tag.$i" "$mode" "$hop"
  done >"$work/$tag.verdicts"
  yes=$(grep -c '^yes' "$work/$tag.verdicts" || true)
  sort "$work/$tag.verdicts" | uniq -c | sed 's/^/  /'
  echo "  named the right hop in $yes of $repeats: $([ "$yes" = "$repeats" ] && echo met || echo MISSED)"
}

echo "-- outputs of every tool go to $work"
echo "-- (1) r1 drops 10% of forwarded ICMP each way; $rounds rounds at $interval s beside mtr -r -c $rounds -i $interval"
lossy_link
side_by_side lossy loss 2
echo "-- (3a) the same path, $repeats monitors of $rounds rounds at once: does the verdict say loss begins at hop 2?"
verdicts lossy loss 2
in_ns r1 nft delete table inet loss

echo "-- (2) r2 forwards everything, drops half of its own time-exceeded answers; beside mtr in the same run"
half_silent_router
side_by_side limit limit 2
echo "-- (3b) the same path, $repeats monitors of $rounds rounds at once: does the verdict say hop 2 limits its replies?"
verdicts limit limit 2
in_ns r2 nft delete table inet halfmute

[ -x "$build/bench/monitor_window_bench" ] || cmake --build "$build" --target monitor_window_bench >/dev/null
# Aimed at a black hole, a round probes all 30 hops; aimed at the target, the chart holds a full view.
for aim in "198.19.99.99 30 black hole (30 hops a round)" "$target 60 the target (a full chart of 600 rounds)"; do
  set -- $aim
  echo "-- (5) the main window beside a monitor at 0.1 s with its chart, $2 s, aimed at ${aim#* * }"
  in_ns h env QT_QPA_PLATFORM=offscreen "$build/bench/monitor_window_bench" "$1" "$2" | tee -a "$work/window" |
    awk '{ printf "  %s rounds, %s rows; longest gap of the window'"'"'s 5 ms timer while it runs %s ms (target <= 16): %s;\n  the UI thread'"'"'s own CPU time in its longest gap %s ms; while the monitor window opens %s ms\n", $4, $6, $8, ($8 <= 16 ? "met" : "MISSED"), $12, $10 }'
done
bash "$root/lab/netlab.sh" down "$lab"

echo "-- (4) 24 hours of a 30-hop path at 1 s on a simulated clock (no waiting)"
"$bench" day 30 24 >"$work/day"
awk '
  /^idle_rss_kb/ { idle = $2 }
  /^hour/ { cpu[$2] = $6; last = $2; if ($2 == 1 || $2 % 6 == 0) printf "  hour %2d: %.1f us per round, RSS %.1f MB, history %.1f MB\n", $2, $6, $8 / 1024, $10 / 1024 }
  /^verdict/ { verdict = $0 }
  /^peak_rss_kb/ { peak = $2; above = $4 }
  END {
    printf "  idle RSS %.1f MB, peak %.1f MB: %.1f MB above idle (target < 64): %s\n", idle / 1024, peak / 1024,
           above / 1024, (above < 64 * 1024 ? "met" : "MISSED")
    r = cpu[last] / cpu[1]
    printf "  CPU per round, hour 1 %.1f us, hour %d %.1f us (ratio %.2f; target: no growth, <= 1.25): %s\n",
           cpu[1], last, cpu[last], r, (r <= 1.25 ? "met" : "MISSED")
  }' "$work/day"
