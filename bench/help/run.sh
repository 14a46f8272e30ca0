#!/usr/bin/env bash
# F1 help: how long one press holds the window and how long until the viewer or browser runs,
# beside a bare xdg-open, on a desktop of the benchmark's own (no network traffic).
set -euo pipefail
build=${1:-build}
bin="$build/bench/help_bench"
[ -x "$bin" ] || cmake --build "$build" --target help_bench >/dev/null
# The offscreen platform's note on each message box is noise here.
"$bin" 10 2> >(grep -v propagateSizeHints >&2)
