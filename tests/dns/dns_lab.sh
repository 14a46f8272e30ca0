#!/usr/bin/env bash
# A resolver lab in a network namespace of its own, for the lookup tests and benchmarks.
#   dns_lab.sh up   NAME WORKDIR lab   namespace with a dnsmasq serving the .test zone
#   dns_lab.sh up   NAME WORKDIR mute  namespace whose only name server never answers
#   dns_lab.sh down NAME WORKDIR       removes namespace, daemon and /etc/netns/NAME
# Addresses are 198.18.53.0/24, inside the namespace only; nothing leaves it.
set -euo pipefail
cmd=$1 name=$2 work=$3 kind=${4:-lab}
netns_etc=/etc/netns/$name

down() {
  if [ -f "$work/dnsmasq.pid" ]; then
    kill "$(cat "$work/dnsmasq.pid")" 2>/dev/null || true
    rm -f "$work/dnsmasq.pid"
  fi
  ip netns del "$name" 2>/dev/null || true
  rm -rf "$netns_etc"
}

up() {
  mkdir -p "$work" "$netns_etc"
  ip netns add "$name"
  ip -n "$name" link set lo up
  # A veth pair inside the namespace carries the server's address.
  ip -n "$name" link add v0 type veth peer name v1
  ip -n "$name" addr add 198.18.53.1/24 dev v0
  ip -n "$name" link set v0 up
  ip -n "$name" link set v1 up

  printf 'hosts: files dns\n' >"$netns_etc/nsswitch.conf"
  {
    printf '127.0.0.1 localhost\n'
    printf '198.18.53.30 files.test fa1.test fa2.test\n'
    # More aliases than a 1040-byte host entry holds.
    printf '198.18.53.31 crowd.test'
    for i in $(seq -w 1 150); do printf ' alias%s.crowd.test' "$i"; done
    printf '\n'
  } >"$netns_etc/hosts"

  if [ "$kind" = mute ]; then
    # Queries to this server leave v0 for a link address nobody has: every DNS lookup
    # waits out its time-out.
    printf 'nameserver 198.18.53.99\noptions timeout:5 attempts:1\n' >"$netns_etc/resolv.conf"
    ip -n "$name" neigh add 198.18.53.99 lladdr 02:00:00:00:00:99 dev v0 nud permanent
    return
  fi

  printf 'nameserver 198.18.53.1\noptions timeout:1 attempts:2\n' >"$netns_etc/resolv.conf"
  cat >"$work/dnsmasq.conf" <<CONF
no-resolv
no-hosts
listen-address=198.18.53.1
bind-interfaces
user=root
pid-file=$work/dnsmasq.pid
log-facility=$work/dnsmasq.log
local=/test/
local=/53.18.198.in-addr.arpa/
host-record=real.test,198.18.53.10
cname=www.test,mid.test
cname=mid.test,real.test
host-record=multi.test,198.18.53.21
host-record=multi.test,198.18.53.22
host-record=multi.test,198.18.53.23
ptr-record=40.53.18.198.in-addr.arpa,ptr.test
CONF
  ip netns exec "$name" dnsmasq --conf-file="$work/dnsmasq.conf"
  # Ready once it answers.
  for _ in $(seq 1 50); do
    ip netns exec "$name" getent hosts real.test >/dev/null 2>&1 && return
    sleep 0.1
  done
  echo "dnsmasq did not come up in $name" >&2
  return 1
}

case $cmd in
  up) up || { down; exit 1; } ;;
  down) down ;;
  *) echo "usage: $0 up|down NAME WORKDIR [lab|mute]" >&2; exit 2 ;;
esac
