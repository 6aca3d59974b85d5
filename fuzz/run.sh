#!/usr/bin/env bash
# usage: run.sh BUILD SECONDS [TARGET...]: lets each target of a fuzz build, or those that are named, try inputs for so long,
# from its corpus on, and tells how many it tried. Fails when one has a finding, which is left in BUILD/findings. Adds a line for
# each to BUILD/executions.txt, with a checksum of what was run.
set -euo pipefail
build=$1 seconds=$2
here=$(dirname "$0")
mkdir -p "$build/findings"
code=$(cat "$build"/bin/fuzz_* "$build"/lib/*.so | cksum | cut -d ' ' -f 1)
failed=0
[[ $# -gt 2 ]] && targets=("${@:3}") || mapfile -t targets < <(ls "$here/corpus")
for target in "${targets[@]}"; do
  corpus="$here/corpus/$target"
  found="$build/corpus/$target"
  log="$build/findings/$target.log"
  mkdir -p "$found"
  # A target looks for leaks where the tests replay its corpus: after each input it would take nearly all of the time.
  if "$build/bin/fuzz_$target" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=4096 -len_control=0 -max_len=1200 \
    -detect_leaks=0 -print_final_stats=1 -artifact_prefix="$build/findings/$target-" "$found" "$corpus" >"$log" 2>&1; then
    count=$(awk '/number_of_executed_units/ { print $2 }' "$log")
    echo "$target: $count executions"
    echo "$target $seconds $count $code" >>"$build/executions.txt"
  else
    echo "$target: a finding, see $log"
    echo "$target finding - $code" >>"$build/executions.txt"
    failed=1
  fi
done
exit $failed
