#!/usr/bin/env bash
# Runs every benchmark script under bench/ against a build folder.
set -euo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
for script in "$here"/*/run.sh; do
  [ -x "$script" ] || continue
  echo "== $(basename "$(dirname "$script")")"
  "$script" "$build"
done
