#!/usr/bin/env bash
# usage: reliability.sh PAGE RELEASE FUZZ: writes the figures of the page from what was run in those build folders: the log of
# the last tests, if there is one, and what the fuzz targets have tried. Fails when these were not run, or the last of them had
# a finding.
set -euo pipefail
page=$1 tests=$2/Testing/Temporary/LastTest.log executions=$3/executions.txt

die() {
  echo "reliability: $*" >&2
  exit 1
}
[[ -f $executions ]] || die "there are no results of fuzzing in $3"
[[ $(tail -n 1 "$executions") != *finding* ]] || die "the last fuzz target had a finding"

figures=$(mktemp)
trap 'rm -f "$figures"' EXIT
{
  printf '| figure | |\n| --- | --- |\n'
  if [[ -f $tests ]]; then
    printf '| tests of the release build that passed and failed in the last run | %d, %d |\n' \
      "$(grep -c '^Test Passed' "$tests" || true)" "$(grep -c '^Test Failed' "$tests" || true)"
  fi
  # Runs that came before a finding are no evidence for the code of today.
  awk '/finding/ { delete seconds; delete inputs; next } { seconds[$1] += $2; inputs[$1] += $3 }
    END { for (target in seconds) printf "| `%s` | %d inputs in %d s |\n", target, inputs[target], seconds[target] }' \
    "$executions" | sort
  awk '/finding/ { sum = 0; next } { sum += $2 } END { printf "| fuzzing since the last finding | %d min |\n", sum / 60 }' \
    "$executions"
} >"$figures"
awk -v figures="$figures" '
  /<!-- end -->/ { inside = 0 }
  !inside
  /<!-- figures -->/ { inside = 1; while ((getline line < figures) > 0) print line }' "$page" >"$page.new"
mv "$page.new" "$page"
