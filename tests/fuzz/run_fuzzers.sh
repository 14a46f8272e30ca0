#!/usr/bin/env bash
# Runs every libFuzzer target of a build for a bounded time, starting from its corpus.
set -euo pipefail
build=$1 seconds=${2:-60}
here=$(cd "$(dirname "$0")" && pwd)
for target in "$build"/fuzz/*; do
  [ -x "$target" ] || continue
  name=$(basename "$target")
  work=$(mktemp -d)
  cp -r "$here/corpus/$name/." "$work/" 2>/dev/null || true
  echo "== $name (${seconds}s)"
  "$target" -max_total_time="$seconds" -max_len=65536 "$work"
  rm -rf "$work"
done
