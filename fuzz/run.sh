#!/usr/bin/env bash
# usage: run.sh BUILD SECONDS: lets each target of a fuzz build try inputs for so long, from its corpus on, and tells how
# many it tried. Fails when one has a finding, which is left in BUILD/findings.
set -euo pipefail
build=$1 seconds=$2
here=$(dirname "$0")
mkdir -p "$build/findings"
failed=0
for corpus in "$here"/corpus/*; do
  target=$(basename "$corpus")
  found="$build/corpus/$target"
  log="$build/findings/$target.log"
  mkdir -p "$found"
  if "$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=4096 -len_control=0 -max_len=1200 -detect_leaks=0 \
    -print_final_stats=1 -artifact_prefix="$build/findings/$target-" "$found" "$corpus" >"$log" 2>&1; then
    echo "$target: $(awk '/number_of_executed_units/ { print $2 }' "$log") executions"
  else
    echo "$target: a finding, see $log"
    failed=1
  fi
done
exit $failed
