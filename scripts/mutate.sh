#!/usr/bin/env bash
# mutate.sh - damages copies of the demo's customer files at random (bit
# flips, runs of random bytes, zeroed spans, truncation) and runs every
# reading command on them under a time limit, counting crashes (a signal)
# and hangs (the limit reached).
#   bash scripts/mutate.sh [TRIALS] [VELNOR]
set -u
trials=${1:-200}
velnor=$(realpath "${2:-build/tools/velnor}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && "$velnor" demo >/dev/null 2>&1)
src=$work/velnor-demo
crashes=0 hangs=0 runs=0
damage() {  # damage FILE: one random kind of harm
  local f=$1 size off
  size=$(stat -c %s "$f")
  [ "$size" -gt 0 ] || return
  off=$((RANDOM * 32768 % size + RANDOM % size))
  off=$((off % size))
  case $((RANDOM % 4)) in
    0) for _ in 1 2 3 4 5 6; do
         off=$(((RANDOM * 32768 + RANDOM) % size))
         printf "\\x$(printf %02x $((RANDOM % 256)))" | dd of="$f" bs=1 seek=$off conv=notrunc 2>/dev/null
       done ;;
    1) head -c $((RANDOM % 64 + 1)) /dev/urandom | dd of="$f" bs=1 seek=$off conv=notrunc 2>/dev/null ;;
    2) head -c $((RANDOM % 1024 + 1)) /dev/zero | dd of="$f" bs=1 seek=$off conv=notrunc 2>/dev/null ;;
    3) truncate -s $off "$f" ;;
  esac
}
for ((t = 0; t < trials; t++)); do
  d=$work/t && rm -rf "$d" && cp -r "$src" "$d"
  damage "$d/$(printf '%s\n' customer.dat customer.idx customer.fid | shuf -n1)"
  for cmd in "info customer.dat" "dump customer.dat" "dump customer.dat --key 1" \
             "dump customer.dat --key 2" "dump customer.dat --thread 1" \
             "get customer.dat --key 2 Coo" "verify customer.dat"; do
    runs=$((runs + 1))
    # shellcheck disable=SC2086
    (cd "$d" && timeout 20 "$velnor" $cmd >/dev/null 2>&1)
    rc=$?
    if [ $rc -eq 124 ]; then hangs=$((hangs + 1)); echo "hang: trial $t: $cmd"
    elif [ $rc -gt 128 ]; then crashes=$((crashes + 1)); echo "crash ($rc): trial $t: $cmd"; fi
  done
done
echo "trials $trials, commands $runs, crashes $crashes, hangs $hangs"
[ $crashes -eq 0 ] && [ $hangs -eq 0 ]
