#!/usr/bin/env bash
# The network lab: test hosts in network namespaces for every real-network test and benchmark.
#   netlab.sh up   NAME TOPOLOGY   builds namespaces NAME-<node>; exits 0 once they are ready
#   netlab.sh down NAME            removes NAME-*, the daemons started for it and /etc/netns/NAME-*
# TOPOLOGY: path (h r1 r2 r3 r4 t, dual stack), dns, mute, v6only, bare (node h only).
# Environment: NETLAB_DELAY_MS (path; ms per link direction, default 0), NETLAB_RATELIMIT
# (0: ICMP answers never rate limited, the default; default: the kernel's own limits) and
# NETLAB_HOLDER (the delay_holder binary, needed when NETLAB_DELAY_MS > 0).
# Only 198.18.0.0/15 and 2001:db8::/32 are used, all inside the lab's own namespaces.
# Daemons' pids (with their start times) are kept in /run/netlab/NAME/ for down.
set -euo pipefail
umask 022

nodes=(h r1 r2 r3 r4 t)
state_root=/run/netlab

usage() {
  echo "usage: netlab.sh up NAME path|dns|mute|v6only|bare | netlab.sh down NAME" >&2
  exit 2
}

cmd=${1:-} name=${2:-}
[[ $name =~ ^[A-Za-z0-9][A-Za-z0-9_.-]{0,199}$ ]] || usage
state=$state_root/$name

# Fields of /proc/PID/stat after the command name: 1 is the state, 20 the start time.
proc_stat() {
  local s
  stat_fields=()
  s=$(cat "/proc/$1/stat" 2>/dev/null) || return 1
  s=${s##*) }
  read -r -a stat_fields <<<"$s"
}

# Ends one process, unless its pid has since been given to another (the start time differs).
stop_pid() {
  local pid=$1 started=${2:-} i
  proc_stat "$pid" || return 0
  [ -z "$started" ] || [ "${stat_fields[19]}" = "$started" ] || return 0
  kill -TERM "$pid" 2>/dev/null || return 0
  for i in $(seq 1 30); do
    # A zombie has finished; its parent will reap it.
    proc_stat "$pid" && [ "${stat_fields[0]}" != Z ] || return 0
    sleep 0.1
  done
  kill -KILL "$pid" 2>/dev/null || true
}

down() {
  local f pid started n ns
  for f in "$state"/*.pid; do
    [ -e "$f" ] || continue
    read -r pid started <"$f" || true
    [ -n "${pid:-}" ] && stop_pid "$pid" "${started:-}" &
  done
  wait
  for n in "${nodes[@]}"; do
    ns=$name-$n
    if [ -e "/run/netns/$ns" ]; then
      # Whatever a test left running inside would keep the namespace alive after its name is gone.
      for pid in $(ip netns pids "$ns" 2>/dev/null); do stop_pid "$pid"; done
      ip netns del "$ns" 2>/dev/null || true
    fi
    rm -rf "/etc/netns/$ns"
  done
  rm -rf "$state"
}

in_ns() { local node=$1; shift; ip netns exec "$name-$node" "$@"; }

# Starts a daemon inside a node (ip netns exec execs it, so $! is the daemon) and records it for down.
spawn() {
  local node=$1 tag=$2; shift 2
  ip netns exec "$name-$node" "$@" </dev/null >"$state/$tag.out" 2>"$state/$tag.err" &
  SPAWNED=$!
  proc_stat "$SPAWNED" || true
  echo "$SPAWNED ${stat_fields[19]:-}" >"$state/$tag.pid"
}

add_node() {
  local node=$1 ns=$name-$1
  ip netns add "$ns"
  ip -n "$ns" link set lo up
  # Link-local addresses usable at once too, like the global ones added with nodad.
  ip netns exec "$ns" sysctl -qw net.ipv6.conf.all.accept_dad=0 net.ipv6.conf.default.accept_dad=0
  if [ "${NETLAB_RATELIMIT:-0}" = 0 ]; then
    ip netns exec "$ns" sysctl -qw net.ipv4.icmp_ratelimit=0 net.ipv6.icmp.ratelimit=0
    ip netns exec "$ns" sysctl -qw net.ipv4.icmp_msgs_burst=100000 net.ipv4.icmp_msgs_per_sec=100000 \
      2>/dev/null || true
  fi
}

# /etc/netns files are bind-mounted over existing /etc files only; a missing one would be silently ignored.
etc_file() {
  local node=$1 file=$2
  [ -e "/etc/$file" ] || { echo "netlab: /etc/$file does not exist, $name-$node cannot have its own" >&2; return 1; }
  mkdir -p "/etc/netns/$name-$node"
  cat >"/etc/netns/$name-$node/$file"
}

. "$(dirname "${BASH_SOURCE[0]}")/topologies.sh"

case $cmd in
  down)
    set +e
    down
    exit 0
    ;;
  up)
    topology=${3:-}
    case $topology in path | dns | mute | v6only | bare) ;; *) usage ;; esac
    case ${NETLAB_RATELIMIT:-0} in 0 | default) ;; *) echo "netlab: NETLAB_RATELIMIT is 0 or default" >&2; exit 2 ;; esac
    delay=${NETLAB_DELAY_MS:-0}
    [[ $delay =~ ^[0-9]+$ ]] || { echo "netlab: NETLAB_DELAY_MS must be a whole number" >&2; exit 2; }
    if [ "$delay" -gt 0 ] && [ "$topology" != path ]; then
      echo "netlab: NETLAB_DELAY_MS applies to the path topology only" >&2
      exit 2
    fi
    [ "$(id -u)" = 0 ] || { echo "netlab: needs root (network namespaces)" >&2; exit 1; }
    for n in "${nodes[@]}"; do
      if [ -e "/run/netns/$name-$n" ] || [ -e "/etc/netns/$name-$n" ] || [ -e "$state" ]; then
        echo "netlab: a lab named $name already exists" >&2
        exit 1
      fi
    done
    # From here on, a failure half way takes down whatever was built.
    trap 'rc=$?; if [ $rc != 0 ]; then echo "netlab: up $name $topology failed, cleaning up" >&2; set +e; down; fi; exit $rc' EXIT
    trap 'exit 130' INT TERM
    mkdir -p "$state"
    "build_$topology"
    ;;
  *) usage ;;
esac
