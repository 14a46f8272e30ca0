#!/usr/bin/env bash
# Fuzzes one libFuzzer target for SECONDS from its committed seed corpus, which is only read:
# new inputs go to OUT/found/NAME, a failing input to OUT/crashes/NAME-*, the log to
# OUT/NAME.log. Ends with one line of figures; fails (with the log's end) when the target did.
#   run_fuzz.sh TARGET CORPUS SECONDS OUT
set -uo pipefail
target=$1 corpus=$2 seconds=$3 out=$4
name=$(basename "$target")
mkdir -p "$out/found/$name" "$out/crashes"
log=$out/$name.log

# -timeout: one input taking 10 s counts as a hang. The first folder receives what is new.
TIMEFORMAT='%U %S'
{ time "$target" -max_total_time="$seconds" -timeout=10 -max_len=4096 -print_final_stats=1 \
    -artifact_prefix="$out/crashes/$name-" "$out/found/$name" "$corpus" >"$log" 2>&1; } 2>"$log.cpu"
status=$?

stat() { sed -n "s/^stat::$1: *//p" "$log" | tail -n 1; }
cov=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d' ' -f2)
read -r user sys <"$log.cpu"
echo "$name: runs $(stat number_of_executed_units), exec/s $(stat average_exec_per_sec)," \
  "cov ${cov:-?}, CPU ${user}s user + ${sys}s system, exit $status"
if [ "$status" -ne 0 ]; then
  tail -n 60 "$log"
  ls "$out/crashes/$name-"* 2>/dev/null
fi
exit "$status"
