#!/usr/bin/env bash
# DNS: the Lookup page against the lab's dnsmasq (lab `dns`) beside getent hosts, the window's
# answer to a page switch and a key while a host check waits on a dead name server, and a lookup
# on that dead server beside getent and dig (lab `mute`).
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
if [ "$(id -u)" -ne 0 ]; then echo "dns: skipped, needs root (network namespaces)"; exit 0; fi
bin="$build/bench/dns_bench"
[ -x "$bin" ] || cmake --build "$build" --target dns_bench >/dev/null
lab=plb-dns-$$
work=$(mktemp -d)
trap 'for t in dns mute; do bash "$root/lab/netlab.sh" down "$lab-$t"; done; rm -rf "$work"' EXIT
run() {
  XDG_RUNTIME_DIR="$work" QT_QPA_PLATFORM=offscreen timeout 300 ip netns exec "$lab-$1-h" "$bin" "$2" \
    2> >(grep -v propagateSizeHints >&2)
}
bash "$root/lab/netlab.sh" up "$lab-dns" dns
echo "-- lookup (lab dns)"
run dns lookup
bash "$root/lab/netlab.sh" down "$lab-dns"
bash "$root/lab/netlab.sh" up "$lab-mute" mute
echo "-- page switch and typed key -> shown, while a host check waits on a dead name server (lab mute)"
run mute responsive
echo "-- lookup of a name whose name server never answers -> error line, beside the resolver's own limit (lab mute)"
run mute dead
