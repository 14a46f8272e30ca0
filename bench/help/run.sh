#!/usr/bin/env bash
# F1 help: time the window is held by one press and time until the viewer or browser runs,
# beside a bare xdg-open, on a desktop of the benchmark's own (no network traffic).
set -euo pipefail
build=${1:-build}
bin="$build/bench/help_bench"
[ -x "$bin" ] || cmake --build "$build" --target help_bench
"$bin" 10
