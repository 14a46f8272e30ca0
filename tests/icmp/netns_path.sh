#!/usr/bin/env bash
# A five-hop path in network namespaces, for the ICMP engine's real tests and benchmark.
#   netns_path.sh up PREFIX    builds PREFIX-h (the host) -> PREFIX-r1..r4 (routers) -> PREFIX-t (target)
#   netns_path.sh down PREFIX  removes all of it again
# Link n is 198.18.n.0/24: its side toward the host is .1 (.2 on link 1, where the host sits),
#   host 198.18.1.2, r1 198.18.1.1, r2 198.18.2.2, r3 198.18.3.2, r4 198.18.4.2, target 198.18.5.2
# r2 sends no time-exceeded (a silent hop). r3 answers 198.19.88.88 with host-unreachable and
# drops whatever goes to 198.19.99.99 (a black hole). The host has a hosts file naming r1, r3
# and the target, and a resolver on its own loopback, where nothing answers.
set -euo pipefail

cmd=${1:?up|down} prefix=${2:?prefix}
nodes=(h r1 r2 r3 r4 t)

down() {
  for n in "${nodes[@]}"; do ip netns del "$prefix-$n" 2>/dev/null || true; done
  rm -rf "/etc/netns/$prefix-h"
}

if [ "$cmd" = down ]; then
  down
  exit 0
fi

trap down ERR
for n in "${nodes[@]}"; do
  ip netns add "$prefix-$n"
  ip -n "$prefix-$n" link set lo up
  ip netns exec "$prefix-$n" sysctl -qw net.ipv4.icmp_ratelimit=0
  ip netns exec "$prefix-$n" sysctl -qw net.ipv4.icmp_msgs_burst=10000 2>/dev/null || true
done
for i in 1 2 3 4 5; do
  near=${nodes[$((i - 1))]} far=${nodes[$i]}
  ip -n "$prefix-$near" link add tofar type veth peer name tonear netns "$prefix-$far"
  nearAddr=198.18.$i.1 farAddr=198.18.$i.2
  [ "$i" = 1 ] && { nearAddr=198.18.1.2; farAddr=198.18.1.1; }
  ip -n "$prefix-$near" addr add "$nearAddr/24" dev tofar
  ip -n "$prefix-$far" addr add "$farAddr/24" dev tonear
  ip -n "$prefix-$near" link set tofar up
  ip -n "$prefix-$far" link set tonear up
done

# Toward the target: the next router on; back toward the host: the link behind.
ip -n "$prefix-h" route add 198.18.0.0/15 via 198.18.1.1
ip -n "$prefix-r1" route add 198.18.0.0/15 via 198.18.2.2
for i in 2 3 4; do
  r=$prefix-r$i
  ip -n "$r" route add 198.18.0.0/15 via "198.18.$((i + 1)).2"
  for back in $(seq 1 $((i - 1))); do
    ip -n "$r" route add "198.18.$back.0/24" via "198.18.$i.1"
  done
done
ip -n "$prefix-t" route add 198.18.0.0/15 via 198.18.5.1
for r in r1 r2 r3 r4; do ip netns exec "$prefix-$r" sysctl -qw net.ipv4.ip_forward=1; done
# The host's unprivileged users may open ICMP datagram sockets.
ip netns exec "$prefix-h" sysctl -qw net.ipv4.ping_group_range="0 2147483647"

ip netns exec "$prefix-r2" nft -f - <<'NFT'
table inet silent {
  chain out { type filter hook output priority 0; icmp type time-exceeded drop; }
}
NFT
ip netns exec "$prefix-r3" nft -f - <<'NFT'
table inet edge {
  chain through {
    type filter hook forward priority 0;
    ip daddr 198.19.88.88 reject with icmp type host-unreachable
    ip daddr 198.19.99.99 drop
  }
}
NFT

mkdir -p "/etc/netns/$prefix-h"
cat > "/etc/netns/$prefix-h/hosts" <<'HOSTS'
127.0.0.1 localhost
198.18.1.1 r1.path.test
198.18.3.2 r3.path.test
198.18.5.2 target.path.test
HOSTS
printf 'nameserver 127.0.0.1\noptions timeout:1 attempts:1\n' > "/etc/netns/$prefix-h/resolv.conf"
