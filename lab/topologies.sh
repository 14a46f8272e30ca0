# The lab's topologies, sourced by netlab.sh (which supplies name, state, delay and its helpers).
# shellcheck shell=bash disable=SC2154

# h -> r1 -> r2 -> r3 -> r4 -> t. Link n joins node n-1 and node n: 198.18.n.0/24 and
# 2001:db8:n::/64, .1/::1 toward the host and .2/::2 away from it, except link 1, where the
# host is .2 and r1 is .1. Each router answers from its address on the link toward the host.
build_path() {
  local n i near far nearHost farHost
  for n in "${nodes[@]}"; do add_node "$n"; done
  for i in 1 2 3 4 5; do
    near=${nodes[$((i - 1))]} far=${nodes[$i]} nearHost=1 farHost=2
    [ "$i" = 1 ] && { nearHost=2; farHost=1; }
    ip -n "$name-$near" link add tofar type veth peer name tonear netns "$name-$far"
    # Up before the addresses: an IPv6 address added to a link without carrier misses the
    # first neighbour solicitation, and the first packet waits a second for the retry.
    ip -n "$name-$near" link set tofar up
    ip -n "$name-$far" link set tonear up
    ip -n "$name-$near" addr add "198.18.$i.$nearHost/24" dev tofar
    ip -n "$name-$far" addr add "198.18.$i.$farHost/24" dev tonear
    ip -n "$name-$near" -6 addr add "2001:db8:$i::$nearHost/64" dev tofar nodad
    ip -n "$name-$far" -6 addr add "2001:db8:$i::$farHost/64" dev tonear nodad
  done

  # Toward the target: the next node's near address; back toward the host: the link behind.
  ip -n "$name-h" route add 198.18.0.0/15 via 198.18.1.1
  ip -n "$name-h" -6 route add 2001:db8::/32 via 2001:db8:1::1
  for i in 1 2 3 4; do
    ip -n "$name-r$i" route add 198.18.0.0/15 via "198.18.$((i + 1)).2"
    ip -n "$name-r$i" -6 route add 2001:db8::/32 via "2001:db8:$((i + 1))::2"
    for n in $(seq 1 $((i - 1))); do
      ip -n "$name-r$i" route add "198.18.$n.0/24" via "198.18.$i.1"
      ip -n "$name-r$i" -6 route add "2001:db8:$n::/64" via "2001:db8:$i::1"
    done
  done
  ip -n "$name-t" route add 198.18.0.0/15 via 198.18.5.1
  ip -n "$name-t" -6 route add 2001:db8::/32 via 2001:db8:5::1
  for n in r1 r2 r3 r4 t; do
    in_ns "$n" sysctl -qw net.ipv4.ip_forward=1 net.ipv6.conf.all.forwarding=1
  done
  # Unprivileged ICMP datagram sockets on the host only (this covers ICMPv6 too).
  in_ns h sysctl -qw net.ipv4.ping_group_range="0 2147483647"

  # r3 forwards but never says time exceeded.
  in_ns r3 nft -f - <<'NFT'
table inet silent {
  chain out {
    type filter hook output priority 0;
    icmp type time-exceeded drop
    icmpv6 type time-exceeded drop
  }
}
NFT
  # r1 swallows the black hole and the forger's address (the forger answers in its place).
  in_ns r1 nft -f - <<'NFT'
table inet edge {
  chain through {
    type filter hook forward priority 0;
    ip daddr { 198.19.99.99, 198.19.66.66 } drop
    ip6 daddr { 2001:db8:99::99, 2001:db8:66::66 } drop
  }
}
NFT
  # t refuses the unreachable network. In prerouting, ahead of the forwarding code: that answers
  # time exceeded to a probe arriving with TTL 1 before any forward chain sees it, and the
  # probe that reaches t is exactly hop 5.
  in_ns t nft -f - <<'NFT'
table inet edge {
  chain early {
    type filter hook prerouting priority 0;
    ip daddr 198.19.88.88 reject with icmp type net-unreachable
    ip6 daddr 2001:db8:88::88 reject with icmpv6 type no-route
  }
}
NFT

  etc_file h hosts <<'HOSTS'
127.0.0.1 localhost
::1 localhost
198.18.1.1 r1.path.test
2001:db8:1::1 r1.path.test
198.18.4.2 r4.path.test
2001:db8:4::2 r4.path.test
198.18.5.2 target.path.test
2001:db8:5::2 target.path.test
2001:db8:5::2 target6.path.test
HOSTS
  # Nothing listens there, so reverse lookups of the other addresses fail at once.
  printf 'nameserver 127.0.0.1\noptions timeout:1 attempts:1\n' | etc_file h resolv.conf

  [ "$delay" -gt 0 ] && hold_packets
  # Ready means the whole path answers, and no test's first packet waits for neighbour discovery.
  # The first IPv6 echo also waits for neighbour discovery on every link, delayed as well.
  local dst wait=$((5 + delay * 30 / 1000))
  for dst in 198.18.5.2 2001:db8:5::2; do
    in_ns h ping -q -c 1 -W "$wait" "$dst" >/dev/null || { echo "netlab: $name-h cannot reach $dst" >&2; return 1; }
  done
}

# One holder per router delays each packet once per link direction: on the way out of every router,
# and on the way in where a link comes from an end host (h into r1, t into r4). End hosts hold
# nothing: the sender would meet TCP small queues, the receiver would stamp packets before the delay.
hold_packets() {
  local holder=${NETLAB_HOLDER:-} r i tool
  [ -x "$holder" ] || { echo "netlab: NETLAB_HOLDER must name the delay_holder binary" >&2; return 1; }
  for r in r1 r2 r3 r4; do spawn "$r" "holder-$r" "$holder" 0 "$delay"; done
  for r in r1 r2 r3 r4; do
    for i in $(seq 1 50); do
      grep -qx ready "$state/holder-$r.out" 2>/dev/null && break
      if ! kill -0 "$(cut -d' ' -f1 "$state/holder-$r.pid")" 2>/dev/null || [ "$i" = 50 ]; then
        echo "netlab: delay_holder in $name-$r did not become ready: $(cat "$state/holder-$r.err")" >&2
        return 1
      fi
      sleep 0.1
    done
  done
  for tool in iptables ip6tables; do
    for r in r1 r2 r3 r4; do
      in_ns "$r" "$tool" -t mangle -A POSTROUTING -j NFQUEUE --queue-num 0 --queue-bypass
    done
    in_ns r1 "$tool" -t mangle -A PREROUTING -i tonear -j NFQUEUE --queue-num 0 --queue-bypass
    in_ns r4 "$tool" -t mangle -A PREROUTING -i tofar -j NFQUEUE --queue-num 0 --queue-bypass
  done
}

# The name server's side: a veth pair inside h; v0 carries the addresses.
resolver_node() {
  add_node h
  ip -n "$name-h" link add v0 type veth peer name v1
  ip -n "$name-h" link set v0 up
  ip -n "$name-h" link set v1 up
  ip -n "$name-h" addr add 198.18.53.1/24 dev v0
  ip -n "$name-h" -6 addr add 2001:db8:53::1/64 dev v0 nodad
  printf 'hosts: files dns\n' | etc_file h nsswitch.conf
}

# h with dnsmasq serving the .test zone over IPv4 and IPv6, and a hosts file of its own.
build_dns() {
  local i
  resolver_node
  {
    printf '127.0.0.1 localhost\n'
    printf '198.18.53.30 files.test fa1.test fa2.test\n'
    printf '2001:db8:53::30 files6.test\n'
    # More aliases than a 1040-byte host entry holds.
    printf '198.18.53.31 crowd.test'
    for i in $(seq -w 1 150); do printf ' alias%s.crowd.test' "$i"; done
    printf '\n'
  } | etc_file h hosts
  printf 'nameserver 198.18.53.1\noptions timeout:1 attempts:2\n' | etc_file h resolv.conf
  cat >"$state/dnsmasq.conf" <<CONF
no-resolv
no-hosts
keep-in-foreground
listen-address=198.18.53.1
listen-address=2001:db8:53::1
bind-interfaces
user=root
pid-file=$state/dnsmasq.own.pid
log-facility=$state/dnsmasq.log
local=/test/
local=/53.18.198.in-addr.arpa/
host-record=real.test,198.18.53.10
cname=www.test,mid.test
cname=mid.test,real.test
host-record=multi.test,198.18.53.21
host-record=multi.test,198.18.53.22
host-record=multi.test,198.18.53.23
host-record=v6only.test,2001:db8:53::10
host-record=dual.test,198.18.53.11,2001:db8:53::11
host-record=xn--mnchen-3ya.test,198.18.53.12
ptr-record=40.53.18.198.in-addr.arpa,ptr.test
txt-record=2.2.18.198.origin.asn.lab.test,"64500 | 198.18.2.0/24 | ZZ | lab | 2026-01-01"
txt-record=AS64500.asn.lab.test,"64500 | ZZ | lab | 2026-01-01 | LAB-NET - Lab network, ZZ"
txt-record=AS64501.asn.lab.test,"64501 | ZZ | lab | x | <b>A|B</b>\t\eend"
txt-record=4.4.18.198.origin.asn.lab.test,"garbage"
server=/silent.lab.test/198.18.53.99
CONF
  # AS records for the AS lookups' tests; the 4000-byte one is too long for a line of the file.
  spawn h dnsmasq dnsmasq --conf-file="$state/dnsmasq.conf" \
    "--txt-record=3.3.18.198.origin.asn.lab.test,64501 | 198.18.3.0/24 | ZZ | lab | $(printf 'y%.0s' $(seq 1 3900))"
  # Ready once it answers.
  for i in $(seq 1 50); do
    in_ns h getent hosts real.test >/dev/null 2>&1 && return 0
    kill -0 "$SPAWNED" 2>/dev/null || break
    sleep 0.1
  done
  echo "netlab: dnsmasq did not come up in $name-h: $(cat "$state/dnsmasq.err")" >&2
  return 1
}

# h whose only name server is a neighbour that does not exist: every DNS lookup waits out its time-out.
build_mute() {
  resolver_node
  printf '127.0.0.1 localhost\n::1 localhost\n' | etc_file h hosts
  printf 'nameserver 198.18.53.99\noptions timeout:5 attempts:1\n' | etc_file h resolv.conf
  ip -n "$name-h" neigh add 198.18.53.99 lladdr 02:00:00:00:00:99 dev v0 nud permanent
}

# h whose only global address is IPv6: one veth link (its peer in h too) and a default route.
build_v6only() {
  add_node h
  ip -n "$name-h" link add v0 type veth peer name v1
  ip -n "$name-h" link set v0 up
  ip -n "$name-h" link set v1 up
  ip -n "$name-h" -6 addr add 2001:db8:60::2/64 dev v0 nodad
  ip -n "$name-h" -6 route add default via 2001:db8:60::1 dev v0
}

build_bare() {
  add_node h
}
