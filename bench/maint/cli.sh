#!/bin/bash
# cli.sh VELNOR [N] - the maintenance runs through the program against the
# sqlite3 shell on the same rows: N rows (1,000,000 by default) of a
# 60-byte record with an id key and a name key, ids in random order.
#   velnor load --create      against  .import, then the same two indexes
#   velnor verify             against  PRAGMA integrity_check
#   velnor recover            against  REINDEX
#   velnor pack               against  VACUUM
# Wall seconds of each, SQLite's time over velnor's (above 1: velnor is
# faster), and the goal line: each run faster than its counterpart.
set -euo pipefail
velnor=$1
n=${2:-1000000}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# The ids i * 7919 mod 10^10 are distinct; the rows come in a shuffled
# order that is the same in every run.
awk -v n="$n" 'BEGIN {
  srand(20261126)
  print "ID,NAME,FILL"
  for (i = 0; i < n; i++) order[i] = i
  for (i = n - 1; i > 0; i--) { j = int(rand() * (i + 1)); t = order[i]; order[i] = order[j]; order[j] = t }
  for (k = 0; k < n; k++) {
    i = order[k]
    printf "%010.0f,NAME %04X%04X%04X%04X,filler text of the record..\n", (i * 7919) % 10000000000,
      int(rand() * 65536), int(rand() * 65536), int(rand() * 65536), int(rand() * 65536)
  }
}' >rows.csv
cat >people.fid <<'FID'
TKF FID v7.0
RecLen = 58
NItems = 3
NKeys = 2
Flags = 0
Item = ID, 'C', 'L', 0, 10, 1, 1,
Item = NAME, 'C', 'L', 10, 21, 1, 2,
Item = FILL, 'C', 'L', 31, 27, 1, 0,
Key = ID, 10, 1
0, 10, 8
Key = NAME, 21, 1
10, 21, 8
FID

# seconds COMMAND...: runs it, its output dropped, and prints the wall
# seconds it took.
seconds() {
  local start end
  start=$(date +%s.%N)
  "$@" >/dev/null 2>&1 || { echo "cli.sh: failed: $*" >&2; exit 1; }
  end=$(date +%s.%N)
  awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }'
}
sql() { sqlite3 peer.db "$@"; }

declare -A v s
v[load]=$(seconds "$velnor" load --create --csv rows.csv people.dat)
s[load]=$(seconds sql "PRAGMA journal_mode=OFF" "PRAGMA synchronous=OFF" ".import --csv rows.csv people" \
  "CREATE UNIQUE INDEX byid ON people(ID)" "CREATE INDEX byname ON people(NAME)")
v[verify]=$(seconds "$velnor" verify people.dat)
s[verify]=$(seconds sql "PRAGMA integrity_check")
v[recover]=$(seconds "$velnor" recover people.dat)
s[recover]=$(seconds sql "REINDEX")
v[pack]=$(seconds "$velnor" pack people.dat)
s[pack]=$(seconds sql "VACUUM")

echo "$n rows of a 60-byte record through the program and the sqlite3 shell; wall seconds"
printf "%-8s %9s %9s %7s\n" run velnor sqlite ratio
goal="goal (each faster than SQLite):"
for run in load verify recover pack; do
  ratio=$(awk -v a="${s[$run]}" -v b="${v[$run]}" 'BEGIN { printf "%.2f", a / b }')
  printf "%-8s %9s %9s %7s\n" "$run" "${v[$run]}" "${s[$run]}" "$ratio"
  goal+=$(awk -v r="$ratio" -v name="$run" 'BEGIN { if (r >= 1) printf " %s met;", name; else printf " %s missed (%.2fx slower);", name, 1 / r }')
done
echo "${goal%;}"
