#!/usr/bin/env bash
# killmatrix.sh [TRIALS] [VELNOR] - kills the velnor program with SIGKILL at
# a random moment of load, pack, recover, keyword addlines, archive add and
# archive delete on copies of the demo's files, TRIALS times each (default
# 100).  Afterwards:
#   - the record files verify clean, or do after one plain recover or,
#     where that is not enough, one pack --yes: the repairs are counted;
#   - nothing the program reported done is missing: a load that exited 0
#     left every row, and pack and recover keep every active record (the
#     key-order dump equals the one before);
#   - an archive is the old one or the new one, byte for byte.
# Prints a line per command and exits non-zero on any failure.
set -u
trials=${1:-100}
velnor=$(realpath "${2:-build/tools/velnor}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && "$velnor" demo >/dev/null 2>&1) || { echo "velnor demo failed"; exit 2; }
src=$work/velnor-demo
failures=0

# A fresh copy of the demo in $d.
fresh() { d=$work/t && rm -rf "$d" && cp -r "$src" "$d"; }

# Milliseconds velnor ARGS takes in $d, run to the end.
span() {
  local t0 t1
  t0=$(date +%s%N)
  (cd "$d" && "$velnor" "$@" >/dev/null 2>&1 </dev/null)
  t1=$(date +%s%N)
  echo $(((t1 - t0) / 1000000 + 1))
}

# Runs velnor ARGS in $d in the background, kills it after a random time
# up to MS milliseconds (the first argument) and sets rc to its exit
# status (137 when killed).
killed() {
  local ms=$1
  shift
  (cd "$d" && exec "$velnor" "$@" >/dev/null 2>&1 </dev/null) &
  local pid=$!
  local wait_ms=$(((RANDOM * 32768 + RANDOM) % ms))
  sleep "$((wait_ms / 1000)).$(printf %03d $((wait_ms % 1000)))"
  kill -9 "$pid" 2>/dev/null
  { wait "$pid"; } 2>/dev/null
  rc=$?
}

# Verifies FILE [OPTIONS...] in $d; when damaged, recovers it, and when
# that is not enough packs it instead (from the files as they were): 0 or 1
# repairs made, or "bad" when no single one makes the file verify.
mend() {
  verifies() { (cd "$d" && "$velnor" verify "$@" >/dev/null 2>&1); }
  if verifies "$@"; then echo 0; return; fi
  rm -rf "$d.keep" && cp -r "$d" "$d.keep"
  for fix in recover pack; do
    (cd "$d" && "$velnor" $fix "$@" --yes >/dev/null 2>&1)
    if verifies "$@"; then rm -rf "$d.keep"; echo 1; return; fi
    rm -rf "$d" && cp -r "$d.keep" "$d"
  done
  echo bad
}

# Key-order dump of FILE in $d.
bykey() { (cd "$d" && "$velnor" dump "$1" --key 1 2>/dev/null); }

report() {  # report NAME TRIALS DONE REPAIRS LOST
  echo "$1: trials $2, completed before the kill $3, repairs $4, failures $5"
  failures=$((failures + $5))
}

fresh
before=$(bykey customer.dat)
rows=$(($(wc -l <"$src/customers.csv") - 1))

# Each command is killed up to a tenth past the time a whole run takes.
# load: rows into a new file.
fresh && cp "$d/customer.fid" "$d/new.fid"
ms=$(span load new.dat --csv customers.csv --create)
done_=0 rep=0 bad=0
for ((t = 0; t < trials; t++)); do
  fresh
  cp "$d/customer.fid" "$d/new.fid"
  killed $((ms * 11 / 10 + 1)) load new.dat --csv customers.csv --create
  [ "$rc" -eq 0 ] && done_=$((done_ + 1))
  [ -e "$d/new.dat" ] || { [ "$rc" -ne 0 ] && continue; }
  m=$(mend new.dat)
  if [ "$m" = bad ]; then bad=$((bad + 1)); echo "load trial $t: does not verify"; continue; fi
  rep=$((rep + m))
  if [ "$rc" -eq 0 ] && [ "$(bykey new.dat | wc -l)" -ne $((rows + 1)) ]; then
    bad=$((bad + 1)); echo "load trial $t: rows missing after success"
  fi
done
report load "$trials" "$done_" "$rep" "$bad"

# pack and recover: every active record kept.
for op in pack recover; do
  fresh && ms=$(span "$op" customer.dat --yes)
  done_=0 rep=0 bad=0
  for ((t = 0; t < trials; t++)); do
    fresh
    killed $((ms * 11 / 10 + 1)) "$op" customer.dat --yes
    [ "$rc" -eq 0 ] && done_=$((done_ + 1))
    m=$(mend customer.dat)
    if [ "$m" = bad ]; then bad=$((bad + 1)); echo "$op trial $t: does not verify"; continue; fi
    rep=$((rep + m))
    if [ "$(bykey customer.dat)" != "$before" ]; then bad=$((bad + 1)); echo "$op trial $t: records differ"; fi
  done
  report "$op" "$trials" "$done_" "$rep" "$bad"
done

# keyword addlines: the keyword's record file verifies, or does after a
# repair.
fresh && ms=$(span keyword addlines notes.kwd notes.txt)
done_=0 rep=0 bad=0
for ((t = 0; t < trials; t++)); do
  fresh
  killed $((ms * 11 / 10 + 1)) keyword addlines notes.kwd notes.txt
  [ "$rc" -eq 0 ] && done_=$((done_ + 1))
  m=$(mend notes.kwd --fid notes.kwf --key-file notes.kwx)
  if [ "$m" = bad ]; then bad=$((bad + 1)); echo "keyword trial $t: does not verify"; continue; fi
  rep=$((rep + m))
done
report "keyword addlines" "$trials" "$done_" "$rep" "$bad"

# archive add and delete: the old archive or the new one.
fresh
old=$(md5sum <"$d/customer.cmp")
addms=$(span archive add customer.cmp customers.csv notes.txt --quiet)
added=$(md5sum <"$d/customer.cmp")
fresh
delms=$(span archive delete customer.cmp customer.dat --quiet)
deleted=$(md5sum <"$d/customer.cmp")
for action in add delete; do
  done_=0 bad=0
  for ((t = 0; t < trials; t++)); do
    fresh
    if [ $action = add ]; then
      killed $((addms * 11 / 10 + 1)) archive add customer.cmp customers.csv notes.txt --quiet; new=$added
    else
      killed $((delms * 11 / 10 + 1)) archive delete customer.cmp customer.dat --quiet; new=$deleted
    fi
    [ "$rc" -eq 0 ] && done_=$((done_ + 1))
    now=$(md5sum <"$d/customer.cmp" 2>/dev/null)
    if [ "$now" != "$old" ] && [ "$now" != "$new" ]; then
      bad=$((bad + 1)); echo "archive $action trial $t: neither the old archive nor the new"
    elif [ "$rc" -eq 0 ] && [ "$now" != "$new" ]; then
      bad=$((bad + 1)); echo "archive $action trial $t: done but the archive is the old one"
    fi
  done
  report "archive $action" "$trials" "$done_" 0 "$bad"
done

echo "kill matrix: $trials trials a command, failures $failures"
[ "$failures" -eq 0 ]
