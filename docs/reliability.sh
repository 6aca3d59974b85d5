#!/usr/bin/env bash
# usage: reliability.sh PAGE RELEASE FUZZ: writes the figures of the page from what was run in those build folders: the log of
# the last tests, if there is one, what the fuzz targets of the last build have tried, and memory in use early and late in a
# million random operations, which it performs. Fails when no fuzz target of that build was run, or one had a finding.
set -euo pipefail
page=$1 tests=$2/Testing/Temporary/LastTest.log executions=$3/executions.txt

die() {
  echo "reliability: $*" >&2
  exit 1
}
[[ -f $executions ]] || die "there are no results of fuzzing in $3"
# What was tried before the code changed is no evidence for the code of today.
code=$(awk 'END { print $4 }' "$executions")
! grep -q "finding - $code$" "$executions" || die "a fuzz target had a finding"
soak=$("$2/bin/fuzz_operations" --soak 25000 | grep "in use")

figures=$(mktemp)
trap 'rm -f "$figures"' EXIT
{
  printf '| figure | |\n| --- | --- |\n'
  if [[ -f $tests ]]; then
    printf '| tests of the release build that passed and failed in the last run | %d, %d |\n' \
      "$(grep -c '^Test Passed' "$tests" || true)" "$(grep -c '^Test Failed' "$tests" || true)"
  fi
  awk -v code="$code" '$4 == code { seconds[$1] += $2; inputs[$1] += $3 }
    END { for (target in seconds) printf "| `%s` | %d inputs in %d s |\n", target, inputs[target], seconds[target] }' \
    "$executions" | sort
  awk -v code="$code" '$4 == code { sum += $2 } END { printf "| fuzzing without a finding | %d min |\n", sum / 60 }' "$executions"
  echo "$soak" | awk '{ printf "| memory in use after 200,000 of a million random operations, and after all | %d, %d bytes |\n", $3, $NF }'
} >"$figures"
awk -v figures="$figures" '
  /<!-- end -->/ { inside = 0 }
  !inside
  /<!-- figures -->/ { inside = 1; while ((getline line < figures) > 0) print line }' "$page" >"$page.new"
mv "$page.new" "$page"
