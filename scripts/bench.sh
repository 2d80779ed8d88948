#!/bin/bash
# bench.sh - builds the benchmarks natively (optimised) and runs them.
#   bash scripts/bench.sh                 index, engine, compress, maint, keyword and window,
#                                         full size, with system calls per operation
#   bash scripts/bench.sh engine 100000   one benchmark with its arguments
#   bash scripts/bench.sh engine --scaling   engine cost per operation at
#                                         100,000, 1,000,000 and 4,000,000 records
#   bash scripts/bench.sh callgrind       instructions per operation of the
#                                         index, engine and keyword hot paths
#   bash scripts/bench.sh syscalls        system calls per record in each step of the
#                                         engine, unshared, shared and unshared with a
#                                         secure every 10,000 writes; per word added
#                                         by the keyword benchmark
#   bash scripts/bench.sh maint-cli [N]   load, verify, recover and pack through the program
#                                         against the sqlite3 shell (N rows, 1,000,000)
#   bash scripts/bench.sh maint-syscalls [N]   system calls per record of velnor's
#                                         load, verify, recover and pack (N 100,000)
#   bash scripts/bench.sh window [N]      PACK in the FileMaint window against PACK
#                                         with a callback, 64-bit Windows build under
#                                         wine (N records, 400,000 by default)
# Installs whatever is missing first.  Each benchmark prints its own figures
# and velnor's ratio to its peers (the engine runs each store in a process
# of its own).  The run's output also goes into bench/RESULTS.md, between
# its "latest run" markers; the diary below them is left alone.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/deps.sh all
dir=build-bench
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELNOR_TESTS=OFF -DVELNOR_TOOLS=ON \
  -DVELNOR_BENCH=ON >/dev/null
cmake --build "$dir" -j2 --target index_bench engine_bench compress_bench maint_bench keyword_bench velnor_cli
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
run() {
  local name=$1
  shift
  echo "=== $name $*"
  (cd "$work" && "$root/$dir/bench/$name/${name}_bench" "$@")
}

# callgrind: counts instructions, which stay the same from run to run on a
# busy machine, unlike times.
per_op() {
  local name=$1 count=$2
  shift 2
  local out=$work/$name.cg
  (cd "$work" && valgrind --tool=callgrind --callgrind-out-file="$out" \
    "$root/$dir/bench/$name/${name}_bench" "$count" "$@" >/dev/null 2>&1)
  local total
  total=$(callgrind_annotate "$out" 2>/dev/null | awk '/PROGRAM TOTALS/ {gsub(",", "", $1); print $1}')
  echo "$name $count $*: $total instructions in all, $((total / count)) per record (all steps of the run)"
}

# syscalls: every system call of one store's run, by step, per record of
# the step.  The benchmark reads the process's CPU clock, which is a real
# system call, at the start and end of each step; those calls split the
# trace into steps.
syscalls() {
  local count=$1 store=$2
  local out=$work/$store.steps
  (cd "$work" && strace -f -qq -o "|awk -v n=$count -v s=$store -f $work/steps.awk >$out" \
    "$root/$dir/bench/engine/engine_bench" "$count" "$store" >/dev/null)
  cat "$out"
}
cat >"$work/steps.awk" <<'AWK'
{ split($2, call, "(") }
call[1] == "clock_gettime" { if (call[2] ~ /CPUTIME/) seg++; next }
{ calls[seg, call[1]]++; all[seg]++ }
END {
  split("insert lookup scan delete", step, " ")
  for (k = 1; k <= 4; k++) {
    g = 2 * k - 1
    ops = k == 4 ? int(n / 10) : n
    other = all[g] - calls[g, "pread64"] - calls[g, "pwrite64"] - calls[g, "fcntl"] - calls[g, "fsync"]
    printf "engine %s %d %-6s %7.3f system calls per record: pread %.3f, pwrite %.3f, fcntl %.3f, fsync %.4f, other %.3f\n",
      s, n, step[k], all[g] / ops, calls[g, "pread64"] / ops, calls[g, "pwrite64"] / ops, calls[g, "fcntl"] / ops,
      calls[g, "fsync"] / ops, other / ops
  }
}
AWK

# maint-syscalls: the same for the maintenance benchmark's four velnor
# steps, each of which reads the CPU clock at its start and end.
maint_syscalls() {
  local count=$1
  (cd "$work" && strace -f -qq -o "|awk -v n=$count -f $work/maint.awk >$work/maint.steps" \
    "$root/$dir/bench/maint/maint_bench" "$count" >/dev/null)
  cat "$work/maint.steps"
}
cat >"$work/maint.awk" <<'AWK'
{ split($2, call, "(") }
call[1] == "clock_gettime" && $2 ~ /CPUTIME/ { seg++; next }
{ calls[seg, call[1]]++; all[seg]++ }
END {
  split("load verify recover pack", step, " ")
  for (k = 1; k <= 4; k++) {
    g = 2 * k - 1
    other = all[g] - calls[g, "pread64"] - calls[g, "pwrite64"] - calls[g, "fsync"]
    printf "maint %d %-7s %7.3f system calls per record: pread %.3f, pwrite %.3f, fsync %d, other %.3f\n",
      n, step[k], all[g] / n, calls[g, "pread64"] / n, calls[g, "pwrite64"] / n, calls[g, "fsync"], other / n
  }
}
AWK

# kw_syscalls N STORE: system calls per word added when the keyword
# benchmark builds N documents of 50 words (and does nothing else).
kw_syscalls() {
  local count=$1 store=$2
  (cd "$work" && strace -f -qq -c -o "$work/kw.$store" "$root/$dir/bench/keyword/keyword_bench" \
    "$count" 0 0 "$store" >/dev/null)
  awk -v n=$((count * 50)) -v s="$store" '
    $4 ~ /^[0-9]+$/ && $NF != "total" && $NF != "wait4" { c[$NF] = $4; all += $4 }
    END { printf "keyword %s: %.2f system calls per word added: pwrite %.2f, fcntl %.2f, lseek %.2f, pread %.2f\n",
      s, all / n, c["pwrite64"] / n, c["fcntl"] / n, c["lseek"] / n, c["pread64"] / n }' "$work/kw.$store"
}

# window N: the FileMaint window's cost, from the 64-bit Windows build run
# under wine.
window() {
  local wdir=build-bench-win64
  # The build's output stays out of the results unless it fails.
  if ! { cmake -S . -B "$wdir" -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/x86_64-w64-mingw32.cmake \
    -DCMAKE_BUILD_TYPE=Release -DVELNOR_TESTS=OFF -DVELNOR_TOOLS=OFF -DVELNOR_BENCH=ON &&
    cmake --build "$wdir" -j2 --target window_bench; } >"$work/window-build.log" 2>&1; then
    cat "$work/window-build.log"
    return 1
  fi
  echo "=== window $1"
  (cd "$work" && WINEDEBUG=-all wine "$root/$wdir/bench/window/window_bench.exe" "$1")
}

main() {
case ${1:-all} in
  all)
    # Each table with the counts that say where its time goes: the tables
    # give user-space instructions per operation, and these system calls
    # per operation, counted under strace at a tenth of the size.
    run index
    run engine
    echo "=== system calls, commit table"
    syscalls 100000 single-10k
    syscalls 100000 lmdb-10k
    run compress
    run maint
    echo "=== maint-cli"
    bash bench/maint/cli.sh "$root/$dir/tools/velnor"
    echo "=== system calls, maintenance"
    maint_syscalls 100000
    run keyword
    # Ten times the documents; listing every word of a document takes
    # minutes at this size, for FTS5 too, so only the build and search.
    # The shared build, whose time grows with the square of a word's
    # frequency, runs at 2,000 and 5,000 documents only.
    run keyword 200000 10000 0
    run keyword 2000 1000 0
    run keyword 5000 1000 0
    echo "=== system calls, keyword build"
    kw_syscalls 2000 single
    kw_syscalls 2000 shared
    if command -v wine >/dev/null; then window 400000; else echo "=== window: no wine, skipped"; fi
    ;;
  callgrind)
    per_op index 100000
    per_op engine 10000 single
    per_op engine 30000 single-10k
    per_op keyword 2000 0 0 single
    per_op keyword 2000 0 0 shared
    ;;
  syscalls)
    syscalls 100000 single
    syscalls 100000 shared
    syscalls 100000 single-10k
    kw_syscalls 2000 single
    kw_syscalls 2000 shared
    ;;
  maint-syscalls)
    maint_syscalls "${2:-100000}"
    ;;
  maint-cli)
    echo "=== maint-cli ${2:-}"
    bash bench/maint/cli.sh "$root/$dir/tools/velnor" ${2:+"$2"}
    ;;
  window)
    window "${2:-400000}"
    ;;
  index | engine | compress | maint | keyword)
    name=$1
    shift
    run "$name" "$@"
    ;;
  *)
    echo "usage: $0 [all|callgrind|syscalls|maint-cli [N]|maint-syscalls [N]|window [N]|index|engine|compress|maint|keyword [arguments]]" >&2
    exit 2
    ;;
esac
}

# record FILE COMMAND...: puts the run's output between the markers of
# bench/RESULTS.md, with when, where and how it was made.
record() {
  local out=$1 results=$root/bench/RESULTS.md
  shift
  [ -f "$results" ] || return 0
  {
    echo "<!-- bench.sh: latest run -->"
    echo "\`bash scripts/bench.sh $*\` on $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown):"
    echo
    echo '```text'
    cat "$out"
    echo '```'
    echo "<!-- bench.sh: end -->"
  } >"$work/latest"
  awk -v latest="$work/latest" '
    /<!-- bench.sh: latest run -->/ { while ((getline line < latest) > 0) print line; skip = 1; next }
    /<!-- bench.sh: end -->/ { skip = 0; next }
    !skip' "$results" >"$work/results" && cp "$work/results" "$results"
}

set +e
main "$@" 2>&1 | tee "$work/output"
status=${PIPESTATUS[0]}
set -e
[ "$status" -eq 0 ] && record "$work/output" "$@"
exit "$status"
