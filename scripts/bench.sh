#!/bin/bash
# bench.sh - builds the benchmarks natively (optimised) and runs them.
#   bash scripts/bench.sh                 index, engine, compress, maint and keyword, full size
#   bash scripts/bench.sh engine 100000   one benchmark with its arguments
#   bash scripts/bench.sh engine --scaling   engine cost per operation at
#                                         100,000, 1,000,000 and 4,000,000 records
#   bash scripts/bench.sh callgrind       instructions per operation of the
#                                         index, engine and keyword hot paths
#   bash scripts/bench.sh syscalls        system calls per record of the
#                                         engine, unshared and shared
# Installs whatever is missing first.  Each benchmark prints its own figures
# and velnor's ratio to its peers (the engine runs each store in a process
# of its own).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/deps.sh all
dir=build-bench
cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELNOR_TESTS=OFF -DVELNOR_TOOLS=OFF \
  -DVELNOR_BENCH=ON >/dev/null
cmake --build "$dir" -j2 --target index_bench engine_bench compress_bench maint_bench keyword_bench
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

# syscalls: counts every system call of one store's run, children included;
# per record divides by the records of the run (all steps).
syscalls() {
  local count=$1 store=$2
  local out=$work/$store.strace
  (cd "$work" && strace -c -f -o "$out" "$root/$dir/bench/engine/engine_bench" "$count" "$store" >/dev/null)
  awk -v n="$count" -v s="$store" '
    { calls[$NF] = $4 }
    END {
      printf "engine %s %d: %d system calls, %.2f per record;", s, n, calls["total"], calls["total"] / n
      split("pread64 pwrite64 fcntl lseek", top, " ")
      for (i = 1; i <= 4; i++) printf " %s %.2f", top[i], calls[top[i]] / n
      printf "\n"
    }' "$out"
}

case ${1:-all} in
  all)
    run index
    run engine
    run compress
    run maint
    run keyword
    ;;
  callgrind)
    per_op index 100000
    per_op engine 10000 single
    per_op keyword 2000 0 0 single
    ;;
  syscalls)
    syscalls 100000 single
    syscalls 100000 shared
    ;;
  index | engine | compress | maint | keyword)
    name=$1
    shift
    run "$name" "$@"
    ;;
  *)
    echo "usage: $0 [all|callgrind|syscalls|index|engine|compress|maint|keyword [arguments]]" >&2
    exit 2
    ;;
esac
