#!/usr/bin/env bash
# Screen-reader memory: the real program under Xvfb with a real accessibility bus (AT-SPI), then
# without it, each pinging and looking up 127.0.0.1 (no other traffic). Flat means no leak.
set -euo pipefail
build=$(cd "${1:-build}" && pwd)
bin="$build/bench/a11y_bench"
rounds=${A11Y_BENCH_ROUNDS:-500}
# Each round lasts this long at least, so the reader reads the table about once a round.
export A11Y_BENCH_DWELL_MS=${A11Y_BENCH_DWELL_MS:-200}
[ -x "$bin" ] || cmake --build "$build" --target a11y_bench >/dev/null
for tool in xvfb-run dbus-run-session /usr/libexec/at-spi-bus-launcher; do
  command -v "$tool" >/dev/null || { echo "a11y: skipped, $tool is missing (packages xvfb, dbus, at-spi2-core)"; exit 0; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -m 700 "$work/run"
export XDG_RUNTIME_DIR="$work/run"
unset QT_QPA_PLATFORM
# A screen reader on the bus where pyatspi is installed: Qt builds accessible objects only when asked.
reader=
/usr/bin/python3 -c "import pyatspi" 2>/dev/null && reader="$(dirname "$0")/reader.py"
echo "-- with the accessibility bus${reader:+ and a screen reader reading the table}"
# The bus goes with its session; the program ends by itself after its rounds.
timeout 600 xvfb-run -a -s "-screen 0 1280x800x24 -noreset" dbus-run-session -- bash -c '
  /usr/libexec/at-spi-bus-launcher --launch-immediately >/dev/null 2>&1 &
  sleep 1
  [ -n "$2" ] && { /usr/bin/python3 "$2" & sleep 1; }
  QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 "$0" "$1"; status=$?
  kill $(jobs -p) 2>/dev/null; wait; exit $status' "$bin" "$rounds" "$reader"
echo "-- without it"
timeout 600 xvfb-run -a -s "-screen 0 1280x800x24 -noreset" "$bin" "$rounds"
