#!/bin/sh
# exported-names.sh [HEADER] - prints the name of every function the public
# header exports (declarations that begin with VELNOR_API), one a line.
header=${1:-$(dirname "$0")/../include/velnor.h}
grep -E '^[[:space:]]*VELNOR_API[[:space:]]' "$header" |
  sed -E 's/\(.*//; s/.*[[:space:]*]//' | sort -u
