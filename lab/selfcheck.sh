#!/usr/bin/env bash
# Builds every topology of netlab.sh and checks what it promises with the usual tools (ping,
# traceroute, getent, dig, tcpdump), printing each check and its numbers. Root only.
#   selfcheck.sh [DELAY_HOLDER]   (default: $NETLAB_HOLDER, else build*/lab/delay_holder)
set -uo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
netlab=$here/netlab.sh
holder=${1:-${NETLAB_HOLDER:-}}
[ -n "$holder" ] || holder=$(ls "$here"/../build*/lab/delay_holder 2>/dev/null | head -n 1)
[ "$(id -u)" = 0 ] || { echo "selfcheck: needs root" >&2; exit 1; }
tag=sc$$
labs=()
work=$(mktemp -d)
trap 'for l in "${labs[@]}"; do bash "$netlab" down "$l"; done; rm -rf "$work"' EXIT
failures=0

check() { # check WHAT COMMAND...: prints ok or FAIL
  local what=$1; shift
  if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
up() { labs+=("$1"); bash "$netlab" up "$1" "$2" || { echo "FAIL up $1 $2"; failures=$((failures + 1)); return 1; }; }
in_ns() { local ns=$1; shift; ip netns exec "$ns" "$@"; }
same() { [ "$1" = "$2" ]; }
quiet() { "$@" >/dev/null 2>&1; }
# One word per hop of a traceroute: its address, "*" when silent, "!N" appended to a net unreachable.
hops() { awk 'NR > 1 { print ($2 == "*" ? "*" : $2 ($NF == "!N" ? "!N" : "")) }' | paste -sd' '; }
avg_rtt() { sed -n 's|^rtt [^=]*= [0-9.]*/\([0-9.]*\)/.*|\1|p'; }
within() { awk -v x="$1" -v lo="$2" -v hi="$3" 'BEGIN { exit !(x != "" && x >= lo && x <= hi) }'; }
seconds() { local t0=$EPOCHREALTIME; "$@" >/dev/null 2>&1; awk -v a="$t0" -v b="$EPOCHREALTIME" 'BEGIN { printf "%.2f", b - a }'; }
count() { grep -c -- "$1" "$work/dump"; }
no_bad_checksum() { ! grep -qiE 'bad cksum|wrong icmp cksum|bad icmp6 cksum' "$work/dump"; }

echo "== path (no delay, ICMP answers not rate limited)"
p=$tag-p
up "$p" path || exit 1
for fam in 4 6; do
  if [ $fam = 4 ]; then t=198.18.5.2 un=198.19.88.88 bh=198.19.99.99 r="198.18.1.1 198.18.2.2 * 198.18.4.2"
  else t=2001:db8:5::2 un=2001:db8:88::88 bh=2001:db8:99::99 r="2001:db8:1::1 2001:db8:2::2 * 2001:db8:4::2"; fi
  out=$(in_ns "$p-h" traceroute -$fam -n -I -w 1 "$t"); echo "$out"
  check "IPv$fam hops: $r $t" same "$(hops <<<"$out")" "$r $t"
  out=$(in_ns "$p-h" traceroute -$fam -n -I -w 1 "$un"); echo "$out"
  check "IPv$fam $un ends at hop 5, net unreachable from $t behind the silent hop" same "$(hops <<<"$out")" "$r $t!N"
  out=$(in_ns "$p-h" traceroute -$fam -n -I -w 1 -m 4 "$bh"); echo "$out"
  check "IPv$fam black hole $bh: hop 1 answers, nothing after" same "$(hops <<<"$out")" "${r%% *} * * *"
done
check "ping_group_range: h '0 2147483647', r1 '1 0'" same \
  "$(in_ns "$p-h" sysctl -n net.ipv4.ping_group_range | tr '\t' ' ')/$(in_ns "$p-r1" sysctl -n net.ipv4.ping_group_range | tr '\t' ' ')" \
  "0 2147483647/1 0"
for t in 198.18.5.2 2001:db8:5::2; do
  check "nobody pings $t from h (datagram socket)" quiet in_ns "$p-h" runuser -u nobody -- ping -c 1 -W 2 "$t"
done
check "r1..r4 and t forward IPv4 and IPv6" same "$(for n in r1 r2 r3 r4 t; do
  in_ns "$p-$n" sysctl -n net.ipv4.ip_forward net.ipv6.conf.all.forwarding; done | sort -u)" 1
for n in "target.path.test 198.18.5.2 2001:db8:5::2" "r1.path.test 198.18.1.1 2001:db8:1::1" \
  "r4.path.test 198.18.4.2 2001:db8:4::2" "target6.path.test 2001:db8:5::2"; do
  set -- $n
  got=$(in_ns "$p-h" getent ahosts "$1" | awk '{print $1}' | sort -u | paste -sd' ')
  check "h: getent ahosts $1 -> $got" same "$got" "$(printf '%s\n' "${@:2}" | sort -u | paste -sd' ')"
done
s=$(seconds in_ns "$p-h" getent hosts 198.18.2.2)
check "h: reverse lookup of 198.18.2.2 fails fast (${s} s)" within "$s" 0 1.5

echo "== the forger in r1 (tcpdump in h; iputils ping as nobody)"
# Both pings end after 3 s; the forger outlives their last late answer (at 1 + 3 + 3 + 2.5 s).
in_ns "$p-h" timeout 12 tcpdump -i tofar -n -vv -l 'icmp or icmp6' >"$work/dump" 2>/dev/null &
dump=$!
in_ns "$p-r1" python3 "$here/forger.py" --duration 11 >"$work/forger" &
forger=$!
sleep 1
in_ns "$p-h" runuser -u nobody -- ping -c 4 198.19.66.66
in_ns "$p-h" runuser -u nobody -- ping -c 4 2001:db8:66::66
wait "$dump" "$forger"
grep -v 'neighbor\|router solicitation\|link-address\|0x0000' "$work/dump"
check "IPv4: 4 foreign replies, 4 foreign quotes, 4 late replies" same \
  "$(count '198.18.9.9 > 198.18.1.2: ICMP echo reply') $(count '198.18.1.2 > 198.19.65.65: ICMP echo request') $(count '198.19.66.66 > 198.18.1.2: ICMP echo reply')" \
  "4 4 4"
check "IPv6: 4 foreign replies, 4 foreign quotes, 4 late replies" same \
  "$(count '2001:db8:9::9 > 2001:db8:1::2: \[icmp6 sum ok\] ICMP6, echo reply') $(count 'time exceeded in-transit for 2001:db8:65::65') $(count '2001:db8:66::66 > 2001:db8:1::2: \[icmp6 sum ok\] ICMP6, echo reply')" \
  "4 4 4"
check "no bad checksum in what h received" no_bad_checksum

echo "== path with NETLAB_DELAY_MS=5"
d=$tag-d
if [ -x "$holder" ] && NETLAB_DELAY_MS=5 NETLAB_HOLDER=$holder up "$d" path; then
  for t in "198.18.1.1 9.5 11.5" "198.18.4.2 39.5 42.5" "198.18.5.2 49.5 53" \
    "2001:db8:1::1 9.5 11.5" "2001:db8:4::2 39.5 42.5" "2001:db8:5::2 49.5 53"; do
    set -- $t
    out=$(in_ns "$d-h" ping -q -c 10 -i 0.1 "$1" | tail -n 1)
    check "ping $1: $out" within "$(avg_rtt <<<"$out")" "$2" "$3"
  done
  in_ns "$d-h" traceroute -n -I 198.18.5.2
  out=$(in_ns "$d-h" ping -q -l 100 -c 100 -W 2 198.18.5.2 | tail -n 2 | paste -sd' ')
  check "100 echo requests at once all come back: $out" grep -q ' 0% packet loss' <<<"$out"
  check "holders wrote nothing on stderr" same "$(cat /run/netlab/"$d"/holder-*.err)" ""
elif [ ! -x "$holder" ]; then
  echo "skip: no delay_holder (build the delay_holder target or pass its path)"
fi

echo "== path with NETLAB_RATELIMIT=default: traceroute -I 198.19.88.88 twice in a row"
k=$tag-k
if NETLAB_RATELIMIT=default up "$k" path; then
  check "t keeps the kernel's limit: icmp_ratelimit $(in_ns "$k-t" sysctl -n net.ipv4.icmp_ratelimit) ms" \
    same "$(in_ns "$k-t" sysctl -n net.ipv4.icmp_ratelimit)" 1000
  in_ns "$k-h" traceroute -n -I -w 1 198.19.88.88
  in_ns "$k-h" traceroute -n -I -w 1 198.19.88.88
fi

echo "== dns"
n=$tag-n
if up "$n" dns; then
  for q in "ahosts real.test|198.18.53.10 real.test" "ahosts www.test|198.18.53.10 real.test" \
    "ahosts multi.test|198.18.53.21 198.18.53.22 198.18.53.23 multi.test" "ahosts files.test|198.18.53.30 files.test" \
    "ahosts fa2.test|198.18.53.30 files.test" "ahosts alias150.crowd.test|198.18.53.31 crowd.test" \
    "ahosts files6.test|2001:db8:53::30 files6.test" "ahosts v6only.test|2001:db8:53::10 v6only.test" \
    "ahostsv4 v6only.test|" "ahosts dual.test|198.18.53.11 2001:db8:53::11 dual.test" "hosts 198.18.53.40|198.18.53.40 ptr.test"; do
    # Addresses and names seen, sorted, whatever the order getent gives them in.
    got=$(in_ns "$n-h" getent ${q%%|*} | awk '{ print $1; if ($2 ~ /[a-z]/) print $2; if ($3 ~ /[a-z]/) print $3 }' \
      | sort -u | paste -sd' ')
    want=$(tr ' ' '\n' <<<"${q#*|}" | sort -u | paste -sd' ')
    check "getent ${q%%|*} -> ${got:-(nothing)}" same "$got" "$want"
  done
  got=$(in_ns "$n-h" getent hosts crowd.test | wc -w)
  check "crowd.test: address, name and 150 aliases ($got words)" same "$got" 152
  if command -v dig >/dev/null; then
    for server in 198.18.53.1 2001:db8:53::1; do
      got=$(in_ns "$n-h" dig +short +tries=1 +time=2 "@$server" www.test A | paste -sd' ')
      check "dig @$server www.test -> $got" same "$got" "mid.test. real.test. 198.18.53.10"
      got=$(in_ns "$n-h" dig +short +tries=1 +time=2 "@$server" dual.test AAAA)
      check "dig @$server dual.test AAAA -> $got" same "$got" 2001:db8:53::11
    done
  fi
  check "resolv.conf: $(paste -sd';' /etc/netns/"$n"-h/resolv.conf)" same \
    "$(in_ns "$n-h" cat /etc/resolv.conf)" "$(printf 'nameserver 198.18.53.1\noptions timeout:1 attempts:2')"
fi

echo "== mute"
m=$tag-m
if up "$m" mute; then
  s=$(seconds in_ns "$m-h" getent ahostsv4 nowhere.test)
  check "a lookup waits out its 5 s time-out ($s s)" within "$s" 4.9 6
  check "hosts names localhost only" same "$(in_ns "$m-h" awk '{print $2}' /etc/hosts | sort -u)" localhost
fi

echo "== v6only"
v=$tag-v
if up "$v" v6only; then
  in_ns "$v-h" ip -brief addr
  check "IPv4: 127.0.0.1 only" same "$(in_ns "$v-h" ip -4 -o addr | awk '{print $4}' | paste -sd' ')" 127.0.0.1/8
  check "global IPv6: 2001:db8:60::2/64 only" same \
    "$(in_ns "$v-h" ip -6 -o addr show scope global | awk '{print $4}' | paste -sd' ')" 2001:db8:60::2/64
  check "default route via 2001:db8:60::1" grep -q '^default via 2001:db8:60::1 ' <<<"$(in_ns "$v-h" ip -6 route)"
fi

echo "== bare"
b=$tag-b
if up "$b" bare; then
  check "loopback only, and up" same "$(in_ns "$b-h" ip -brief link | awk '{print $1, $2}')" "lo UNKNOWN"
fi

echo "== every lab down"
for l in "${labs[@]}"; do bash "$netlab" down "$l"; done
labs=()
left() { # what a lab named $1 left behind; nothing when clean
  ip netns list | grep -E "^$1-" || true
  ls -d /etc/netns/"$1"-* /run/netlab/"$1" 2>/dev/null || true
}
check "no namespace, /etc/netns file or state left" same "$(for l in p d k n m v b; do left "$tag-$l"; done)" ""

echo "== two labs built at the same time"
labs=("$tag-x" "$tag-y")
ms=0 lo=0 hi=5
[ -x "$holder" ] && ms=5 lo=49.5 hi=53
(NETLAB_DELAY_MS=$ms NETLAB_HOLDER=$holder bash "$netlab" up "$tag-x" path; echo "x: up exited $?") &
(NETLAB_DELAY_MS=$ms NETLAB_HOLDER=$holder bash "$netlab" up "$tag-y" path; echo "y: up exited $?") &
wait
for l in x y; do
  out=$(in_ns "$tag-$l-h" ping -q -c 5 -i 0.1 198.18.5.2 | tail -n 1)
  check "$l: ping the target ($ms ms per link): $out" within "$(avg_rtt <<<"$out")" "$lo" "$hi"
done
second_up_refused() { ! bash "$netlab" up "$tag-x" bare 2>/dev/null && quiet in_ns "$tag-x-h" ping -c 1 198.18.5.2; }
check "a second up of an existing name fails and leaves the first alone" second_up_refused
for l in x y; do bash "$netlab" down "$tag-$l"; done
labs=()
check "both down, nothing left" same "$(left "$tag-x"; left "$tag-y")" ""

echo "== an up that fails half way (r4's holder never becomes ready)"
# (Without a real holder, r1's already fails.)
# A holder that records its pid, then fails in r4 and holds packets elsewhere.
printf '#!/bin/sh\necho $$ >>"%s"\ncase $(ip netns identify) in *-r4) echo "refused in r4" >&2; exit 1 ;; esac\nexec "%s" "$@"\n' \
  "$work/holder.pids" "$holder" >"$work/holder"
chmod +x "$work/holder"
f=$tag-f
NETLAB_DELAY_MS=5 NETLAB_HOLDER=$work/holder bash "$netlab" up "$f" path
echo "up exited $?; holders started: $(paste -sd' ' "$work/holder.pids")"
alive() { # the holders still running
  local pid
  for pid in $(cat "$work/holder.pids"); do
    [ -d "/proc/$pid" ] && ! grep -q ') Z ' "/proc/$pid/stat" && echo "$pid"
  done
  true
}
check "after the failed up: no namespace, no /etc/netns file, no state, no holder running" same "$(left "$f"; alive)" ""
bash "$netlab" down "$f"
check "down after the failed up: exits 0, still nothing left" same "$?/$(left "$f"; alive)" 0/
echo "== $failures failure(s)"
[ "$failures" = 0 ]
