#!/usr/bin/env bash
# Start-up: first paint and peak memory, on a real X server (Xvfb) and on the offscreen platform.
# Shut-down: close to process gone with work in flight, in the lab (needs root).
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)
bin="$build/bench/startup_bench"
[ -x "$bin" ] && [ -x "$build/lab/delay_holder" ] || cmake --build "$build" --target startup_bench delay_holder >/dev/null
lab=plb-app-$$
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -m 700 "$work/own"
export XDG_RUNTIME_DIR="$work/own"
if command -v xvfb-run >/dev/null; then
  echo "-- start-up, X11 (Xvfb)"
  xvfb-run -a -s "-screen 0 1280x800x24 -noreset" "$bin" 9
fi
echo "-- start-up, offscreen"
QT_QPA_PLATFORM=offscreen "$bin" 9

if [ "$(id -u)" -ne 0 ]; then echo "-- exit latency: skipped, needs root (network namespaces)"; exit 0; fi
trap 'for t in mute path; do bash "$root/lab/netlab.sh" down "$lab-$t"; done; rm -rf "$work"' EXIT
# Reachable by nobody (the build folder may sit under /root); a desktop whose xdg-mime never answers.
chmod 755 "$work"
cp "$bin" "$work/"
mkdir -m 700 "$work/run" && chown nobody:nogroup "$work/run"
mkdir "$work/bin" && printf '#!/bin/sh\nsleep 10\n' >"$work/bin/xdg-mime" && chmod 755 "$work/bin/xdg-mime"
in_lab() {
  local node=$1; shift
  timeout 120 ip netns exec "$lab-$node-h" setpriv --reuid=nobody --regid=nogroup --clear-groups \
    env XDG_RUNTIME_DIR="$work/run" QT_QPA_PLATFORM=offscreen "$@" 2> >(grep -v propagateSizeHints >&2)
}
echo "-- exit latency: close the window with work in flight, 5 runs each"
echo "   whois: its server's name waits on the dead name server; lookup: the reverse lookup of 198.18.53.99"
echo "   waits on it (lab mute); help: F1 waits on an xdg-mime that never answers; trace: to the black hole (lab path)"
bash "$root/lab/netlab.sh" up "$lab-mute" mute
in_lab mute "$work/startup_bench" exit whois
in_lab mute "$work/startup_bench" exit lookup
in_lab mute env PATH="$work/bin:$PATH" "$work/startup_bench" exit help
bash "$root/lab/netlab.sh" down "$lab-mute"
NETLAB_DELAY_MS=5 NETLAB_HOLDER="$build/lab/delay_holder" bash "$root/lab/netlab.sh" up "$lab-path" path
in_lab path "$work/startup_bench" exit trace
