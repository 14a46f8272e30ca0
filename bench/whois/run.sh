#!/usr/bin/env bash
# Whois: line-end conversion speed, close-to-paint time of a 5 MB answer, peak memory of a
# 16 MB answer. All traffic stays on 127.0.0.1. Each figure is printed with "met" or
# "MISSED" against its target; the script fails only when a benchmark cannot run.
set -euo pipefail
build=${1:-build}
bin="$build/bench/whois_bench"
[ -x "$bin" ] || cmake --build "$build" --target whois_bench
status=0
echo "-- line ends"
"$bin" addcr || status=1
echo "-- 5 MB answer, offscreen"
QT_QPA_PLATFORM=offscreen "$bin" display || status=1
if command -v xvfb-run >/dev/null; then
  echo "-- 5 MB answer, X11 (Xvfb)"
  xvfb-run -a -s "-screen 0 1280x800x24" "$bin" display || status=1
fi
echo "-- memory"
QT_QPA_PLATFORM=offscreen "$bin" memory || status=1
exit $status
