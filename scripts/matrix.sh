#!/bin/sh
# matrix.sh [RUNS] [BUILD] - the concurrency matrix at full size: every
# pair of commands started RUNS times (default 20) on the same files at
# random offsets, in the default and the sharing mode; prints one line per
# pair (runs, successes and "in use" refusals of each side) and the totals,
# and fails when a run failed otherwise or the files lost or doubled work.
set -u
runs=${1:-20}
build=${2:-build}
out=$(mktemp)
trap 'rm -f "$out"' EXIT
VELNOR_MATRIX_RUNS=$runs "$build/tests/tools_tests" --gtest_filter='Pairs/Matrix.*' >"$out" 2>&1
status=$?
printf '%-16s %-16s %-8s %9s  %9s  %14s\n' first second mode runs "ok 1st 2nd" "in use 1st 2nd"
grep '^matrix ' "$out" | sed 's/^matrix //'
grep '^matrix ' "$out" | awk '{ runs += $5; ok += $7 + $8; inuse += $10 + $11; pairs++ }
  END { printf "%d pairs, %d runs, %d commands succeeded, %d found the files in use\n", pairs, runs, ok, inuse }'
grep -E '^\[  (PASSED|FAILED)|Failure|^\[  FAILED' "$out" | head -40
exit $status
