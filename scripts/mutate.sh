#!/usr/bin/env bash
# mutate.sh - damages copies of the demo's customer and keyword files at
# random (bit flips, runs of random bytes, zeroed spans, truncation) and
# runs every reading command on them under a time limit, counting crashes
# (a signal) and hangs (the limit reached).  Then the oracles, each failure
# counted:
#   - only the index damaged: recover succeeds and brings back every
#     record (the dump equals the one before the damage);
#   - pack --yes that succeeds leaves a file verify finds clean;
#   - recover that succeeds leaves a file verify finds clean, or one that a
#     pack then makes clean (recover reads the data file, it mends no more).
# With MUTATE_KEEP set to a folder, each trial that fails an oracle leaves
# its damaged files there (trial-N).
#   bash scripts/mutate.sh [TRIALS] [VELNOR]
set -u
trials=${1:-200}
velnor=$(realpath "${2:-build/tools/velnor}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && "$velnor" demo >/dev/null 2>&1)
src=$work/velnor-demo
crashes=0 hangs=0 runs=0 oracles=0
before=$(cd "$src" && "$velnor" dump customer.dat 2>/dev/null)
# velnor ARGS in $d under the time limit, counted; sets rc.
timed() {
  runs=$((runs + 1))
  (cd "$d" && timeout 20 "$velnor" "$@" >/dev/null 2>&1 </dev/null)
  rc=$?
  if [ $rc -eq 124 ]; then hangs=$((hangs + 1)); echo "hang: trial $t: $*"
  elif [ $rc -gt 128 ]; then crashes=$((crashes + 1)); echo "crash ($rc): trial $t: $*"; fi
}
oracle() {  # oracle TEXT: one failure
  oracles=$((oracles + 1))
  echo "oracle: trial $t ($hit): $1"
  if [ -n "${MUTATE_KEEP:-}" ]; then mkdir -p "$MUTATE_KEEP" && cp -r "$d.orig" "$MUTATE_KEEP/trial-$t"; fi
}
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
customer=(customer.dat)
keyword=(notes.kwd --fid notes.kwf --key-file notes.kwx)
for ((t = 0; t < trials; t++)); do
  d=$work/t && rm -rf "$d" && cp -r "$src" "$d"
  hit=$(printf '%s\n' customer.dat customer.idx customer.fid notes.kwd notes.kwx notes.kwp | shuf -n1)
  damage "$d/$hit"
  rm -rf "$d.orig" && cp -r "$d" "$d.orig"
  for cmd in "info customer.dat" "dump customer.dat" "dump customer.dat --key 1" \
             "dump customer.dat --key 2" "dump customer.dat --thread 1" \
             "get customer.dat --key 2 Coo" "verify customer.dat" \
             "keyword search notes.kwd gate" "keyword search notes.kwd delivery" \
             "keyword list notes.kwd 4" "verify ${keyword[*]}"; do
    # shellcheck disable=SC2086
    timed $cmd
  done
  case $hit in notes.*) files=("${keyword[@]}") ;; *) files=("${customer[@]}") ;; esac
  cp -r "$d" "$d.r"
  timed recover "${files[@]}" --yes
  if [ $rc -eq 0 ]; then
    if [ "$hit" = customer.idx ] && [ "$(cd "$d" && "$velnor" dump customer.dat 2>/dev/null)" != "$before" ]; then
      oracle "recover did not bring back every record"
    fi
    timed verify "${files[@]}"
    if [ $rc -ne 0 ]; then
      timed pack "${files[@]}" --yes
      timed verify "${files[@]}"
      [ $rc -eq 0 ] || oracle "recover succeeded and not even a pack makes the file clean"
    fi
  elif [ "$hit" = customer.idx ]; then
    oracle "recover failed on a file whose index alone was damaged"
  fi
  rm -rf "$d" && mv "$d.r" "$d"
  timed pack "${files[@]}" --yes
  if [ $rc -eq 0 ]; then
    timed verify "${files[@]}"
    [ $rc -eq 0 ] || oracle "pack succeeded and verify rejects the file"
  fi
done
echo "trials $trials, commands $runs, crashes $crashes, hangs $hangs, oracle failures $oracles"
[ $crashes -eq 0 ] && [ $hangs -eq 0 ] && [ $oracles -eq 0 ]
