#!/usr/bin/env bash
# AS data for a 30-hop trace in a lab namespace: a dnsmasq of its own answers the origin TXT
# record of every hop (5 prefixes, 3 ASes) and logs each query it gets. The window must ask at
# most one query per prefix and one per AS, and show each row before its tooltip fills in:
# once with the name server answering at once, once with each query held 100 ms on its way.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
if [ "$(id -u)" -ne 0 ]; then echo "asn: skipped, needs root (network namespaces)"; exit 0; fi
[ -x "$build/bench/asn_bench" ] && [ -x "$build/lab/delay_holder" ] || cmake --build "$build" --target asn_bench delay_holder >/dev/null
lab=plb-asn-$$
work=$build/bench/asn-out
rm -rf "$work" && mkdir -p "$work"
trap 'bash "$root/lab/netlab.sh" down "$lab"' EXIT
bash "$root/lab/netlab.sh" up "$lab" dns

# 198.18.53.2 beside the lab's own name server; the host asks it alone.
ip -n "$lab-h" addr add 198.18.53.2/24 dev v0
{
  echo "no-resolv"; echo "no-hosts"; echo "listen-address=198.18.53.2"; echo "bind-interfaces"; echo "user=root"
  echo "log-queries"; echo "log-facility=$work/dnsmasq.log"; echo "local=/cymru.com/"
  as=(64510 64510 64512 64513 64513)
  for hop in $(seq 1 30); do
    k=$(((hop - 1) / 6)) net=$((10 + (hop - 1) / 6))
    echo "txt-record=$hop.$net.18.198.origin.asn.cymru.com,\"${as[$k]} | 198.18.$net.0/24 | ZZ | lab | 2026-01-01\""
  done
  for a in 64510 64512 64513; do echo "txt-record=AS$a.asn.cymru.com,\"$a | ZZ | lab | 2026-01-01 | LAB-$a - Lab network $a, ZZ\""; done
} >"$work/dnsmasq.conf"
ip netns exec "$lab-h" dnsmasq --keep-in-foreground --conf-file="$work/dnsmasq.conf" --pid-file="$work/dnsmasq.pid" &
dnsmasq=$!
trap 'kill "$dnsmasq" 2>/dev/null; bash "$root/lab/netlab.sh" down "$lab"' EXIT
printf 'nameserver 198.18.53.2\noptions timeout:1 attempts:2\n' >"/etc/netns/$lab-h/resolv.conf"
sleep 0.3

run() {
  : >"$work/dnsmasq.log"
  timeout 60 ip netns exec "$lab-h" env QT_QPA_PLATFORM=offscreen XDG_RUNTIME_DIR="$work" "$build/bench/asn_bench" >"$work/bench-$1.txt"
  echo "-- $1: $(head -1 "$work/bench-$1.txt" | cut -d'(' -f1)(dnsmasq saw $(grep -c 'query\[TXT\]' "$work/dnsmasq.log"); 5 prefixes + 3 AS names = 8 at most)"
  awk '$1 ~ /^[0-9]+$/ { if ($3 - $2 > lag) lag = $3 - $2; if ($3 > last) last = $3; if ($1 <= 3) rows = rows " hop " $1 " row " $2 " ms, tooltip " $3 " ms;" }
       END { print rows " every tooltip by " last " ms; longest wait of a tooltip after its row: " lag " ms" }' "$work/bench-$1.txt"
}
run "name server at once"
# Each query held 100 ms on its way out (NFQUEUE in h's own output path; no netem here).
ip netns exec "$lab-h" "$build/lab/delay_holder" 0 100 >"$work/holder.out" 2>&1 &
holder=$!
trap 'kill "$holder" "$dnsmasq" 2>/dev/null; bash "$root/lab/netlab.sh" down "$lab"' EXIT
for i in $(seq 1 50); do grep -qx ready "$work/holder.out" && break; sleep 0.1; done
ip netns exec "$lab-h" iptables -t mangle -A OUTPUT -p udp --dport 53 -j NFQUEUE --queue-num 0 --queue-bypass
run "name server 100 ms away"
