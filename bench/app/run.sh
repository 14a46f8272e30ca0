#!/usr/bin/env bash
# Start-up: first paint and peak memory, on a real X server (Xvfb) and on the offscreen platform.
set -euo pipefail
build=${1:-build}
bin="$build/bench/startup_bench"
[ -x "$bin" ] || cmake --build "$build" --target startup_bench
echo "-- X11 (Xvfb)"
xvfb-run -a -s "-screen 0 1280x800x24" "$bin" 9
echo "-- offscreen"
QT_QPA_PLATFORM=offscreen "$bin" 9
