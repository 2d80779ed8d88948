#!/bin/bash
# fuzz.sh - runs the libFuzzer targets of fuzz/ and reports, per target, the
# executions and the findings (crashes, sanitizer reports, leaks, timeouts).
#
#   scripts/fuzz.sh [-t SECONDS | -r RUNS] [-B BUILDDIR] [-n] [TARGET...]
#   scripts/fuzz.sh -l      lists the targets, one a line
#
#   -t SECONDS  fuzz each target for this long (default 600: the long run);
#               after a finding the target starts again for the time left
#   -r RUNS     fuzz each target for this many executions instead, stopping
#               at the first finding (the short run of scripts/test.sh)
#   -B DIR      build folder (default build-fuzz); configured with clang-14
#               and VELNOR_FUZZ=ON unless -n is given
#   -n          use the targets already built in DIR
#   TARGET      fid_text fid_bin index hash records thread archive fastio
#               posting maint (default: all)
#
# Each target first replays the inputs of fuzz/regress/TARGET (earlier
# findings, kept as regression tests) without fuzzing; then it fuzzes a
# working copy of its seed corpus (fuzz/seeds/TARGET, files the library made) in
# DIR/fuzz/work/TARGET.  A finding's input goes to DIR/fuzz/findings/TARGET;
# replay it with DIR/fuzz/fuzz_TARGET FILE, and once fixed copy it to
# fuzz/regress/TARGET.  A run takes at most 10 s per input (-timeout) and
# 2 GB.  Ends with "N executions, M findings" and exits 1 when M > 0.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"

seconds=600
runs=
build=build-fuzz
configure=1
all=(fid_text fid_bin index hash records thread archive fastio posting maint)
while getopts "t:r:B:nl" opt; do
  case $opt in
    t) seconds=$OPTARG ;;
    r) runs=$OPTARG ;;
    B) build=$OPTARG ;;
    n) configure=0 ;;
    l) printf '%s\n' "${all[@]}"; exit 0 ;;
    *) sed -n '2,26p' "$0" >&2; exit 2 ;;
  esac
done
shift $((OPTIND - 1))
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=("${all[@]}")

if [ "$configure" -eq 1 ]; then
  launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
    -DCMAKE_CXX_COMPILER=clang++-14 -DVELNOR_FUZZ=ON -DVELNOR_WERROR=ON -DVELNOR_TESTS=OFF \
    -DVELNOR_TOOLS=OFF -DVELNOR_BENCH=OFF "${launcher[@]}" >/dev/null &&
    cmake --build "$build" -j 2 >/dev/null || { echo "fuzz: build failed"; exit 1; }
fi

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
fuzzdir=$build/fuzz
# The targets' folders go under one of ours, removed at the end: a target
# stopped by a finding cannot remove its own.  In lower case, as the
# archiver lowers names; in memory when there is /dev/shm.
scratch=/tmp
[ -d /dev/shm ] && scratch=/dev/shm
export VELNOR_FUZZ_TMP=$scratch/vnfuzz-run.$$
mkdir -p "$VELNOR_FUZZ_TMP"
trap 'rm -rf "$VELNOR_FUZZ_TMP"' EXIT
total_execs=0
total_findings=0
for t in "${targets[@]}"; do
  bin=$fuzzdir/fuzz_$t
  [ -x "$bin" ] || { echo "$t: no target $bin"; total_findings=$((total_findings + 1)); continue; }
  work=$fuzzdir/work/$t
  found=$fuzzdir/findings/$t
  log=$fuzzdir/$t.log
  rm -rf "$work" "$found"
  mkdir -p "$work" "$found"
  : >"$log"
  findings=0
  execs=0
  # Earlier findings, replayed as they are.
  regress=()
  [ -d fuzz/regress/$t ] && mapfile -t regress < <(find fuzz/regress/$t -type f | sort)
  if [ ${#regress[@]} -gt 0 ]; then
    if ! "$bin" -timeout=10 -rss_limit_mb=2048 "${regress[@]}" >"$log" 2>&1; then
      echo "$t: a regression input fails again (log: $log)"
      grep -E 'ERROR|runtime error|Running:' "$log" | tail -n 5
      findings=$((findings + 1))
    fi
    execs=${#regress[@]}
  fi
  # Fuzzing: by runs, once; by time, again after each finding until the
  # time is spent.
  end=$((SECONDS + seconds))
  while :; do
    limit=(-runs="${runs:-1000000000}")
    [ -n "$runs" ] || limit=(-max_total_time=$((end - SECONDS)))
    "$bin" "${limit[@]}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$found/" "$work" "fuzz/seeds/$t" >>"$log" 2>&1
    rc=$?
    n=$(grep -oE '^stat::number_of_executed_units: [0-9]+' "$log" | tail -n 1 | grep -oE '[0-9]+$')
    [ -n "$n" ] || n=$(grep -oE '^#[0-9]+' "$log" | tail -n 1 | tr -d '#')
    execs=$((execs + ${n:-0}))
    if [ $rc -ne 0 ]; then
      findings=$((findings + 1))
      grep -E '^(==[0-9]+==)?ERROR|runtime error|SUMMARY' "$log" | tail -n 3
    fi
    [ $rc -ne 0 ] && [ -z "$runs" ] && [ $SECONDS -lt "$end" ] || break
  done
  echo "$t: $execs executions, $findings findings$([ $findings -gt 0 ] && echo " (inputs in $found, log $log)")"
  total_execs=$((total_execs + execs))
  total_findings=$((total_findings + findings))
done
echo "$total_execs executions, $total_findings findings"
[ "$total_findings" -eq 0 ]
