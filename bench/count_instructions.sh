#!/usr/bin/env bash
# count_instructions.sh BENCH [--keep]: counts the instructions an operation takes, with valgrind, for every way of this
# system in the tables, and compares them with those kept in instructions.txt. Fails when one takes more than the
# tolerance above what is kept, or is missing on either side. With --keep it keeps the new counts.
#
# Counts do not depend on the machine's load or speed, but on the compiler and on the instruction set that the loader
# chooses. Valgrind shows programs a processor with AVX2 and without AVX-512 wherever the machine has AVX2, so the loops
# for x86-64-v3 are chosen, and the same kernels of OpenBLAS; the first line kept names both, and must fit.
set -euo pipefail
tolerance_percent=3
here=$(dirname "$0")
kept="$here/instructions.txt"
bench=${1:?"usage: $0 BENCH [--keep]"}

die() {
  echo "count_instructions: $*" >&2
  exit 1
}
command -v valgrind >/dev/null || die "valgrind is missing; it is in cmake/packages.txt"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Each row is a process of its own, which calls benchCounted once.
valgrind --tool=callgrind --callgrind-out-file="$work/counts.%p" --toggle-collect=benchCounted \
  --dump-after=benchCounted "$bench" --instructions >"$work/rows" 2>"$work/log" || {
  tail -n 20 "$work/log" >&2
  die "the run under valgrind failed"
}

{
  head -n 1 "$work/rows"
  tail -n +2 "$work/rows" | while IFS=$'\t' read -r process operations row; do
    total=$(awk '$1 == "totals:" { print $2 }' "$work/counts.$process.1")
    awk -v total="$total" -v operations="$operations" -v row="$row" \
      'BEGIN { printf "%.3f\t%s\n", total / operations, row }'
  done
} >"$work/now"

if [[ ${2:-} == --keep ]]; then
  cp "$work/now" "$kept"
  echo "kept $(($(wc -l <"$kept") - 1)) counts in $kept"
  exit 0
fi

[[ $(head -n 1 "$kept") == $(head -n 1 "$work/now") ]] ||
  die "the kept counts are for '$(head -n 1 "$kept")', this run has '$(head -n 1 "$work/now")'"

awk -F '\t' -v tolerance="$tolerance_percent" '
  FNR == 1 { next }
  NR == FNR { before[$2] = $1; next }
  { now[$2] = 1 }
  !($2 in before) { printf "NEW    %10.3f            %s\n", $1, $2; failed = 1; next }
  $1 > before[$2] * (1 + tolerance / 100) { printf "MORE   %10.3f %10.3f %s\n", $1, before[$2], $2; failed = 1; next }
  $1 < before[$2] * (1 - tolerance / 100) { printf "fewer  %10.3f %10.3f %s\n", $1, before[$2], $2; fewer = 1 }
  END {
    for (row in before) if (!(row in now)) { printf "GONE              %10.3f %s\n", before[row], row; failed = 1 }
    if (failed || fewer) print "(instructions an operation now, kept; --keep keeps what is now)"
    if (!failed) printf "No row takes over %g %% more instructions than is kept.\n", tolerance
    exit failed
  }' "$kept" "$work/now"
