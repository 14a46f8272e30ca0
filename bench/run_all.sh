#!/usr/bin/env bash
# Runs every benchmark under bench/ against a build folder; figures that need root skip without it.
# Other work on the machine skews the timings: the load average is printed beside each bench.
set -uo pipefail
build=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
cmake --build "$build" --target icmp_bench whois_bench dns_bench startup_bench help_bench a11y_bench monitor_bench asn_bench delay_holder >/dev/null ||
  { echo "bench: the build failed"; exit 1; }
failed=()
for script in "$here"/*/run.sh; do
  name=$(basename "$(dirname "$script")")
  echo "== $name (load average $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores)"
  bash "$script" "$build" || failed+=("$name")
done
[ ${#failed[@]} -eq 0 ] || { echo "bench: could not run: ${failed[*]}"; exit 1; }
