#!/usr/bin/env bash
# Whois: awkward answers shown in the real window, from a server process on 127.0.0.1 (no other traffic).
set -euo pipefail
build=${1:-build}
bin="$build/bench/whois_bench"
[ -x "$bin" ] || cmake --build "$build" --target whois_bench >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
XDG_RUNTIME_DIR="$work" QT_QPA_PLATFORM=offscreen "$bin"
