#!/bin/bash
# check-so.sh LIBRARY - checks a built libvelnor.so: its soname is
# libvelnor.so.<major>, and its dynamic symbol table defines exactly the
# functions of include/velnor.h, so no internal name (osopen, idxsearch, ...)
# nor any template instance of the C++ library leaks out of it.
set -u
here=$(cd "$(dirname "$0")" && pwd)
lib=$1
fail=0
bad() { echo "check-so: $*" >&2; fail=1; }

[ -f "$lib" ] || { echo "check-so: no such file: $lib" >&2; exit 1; }
soname=$(readelf -d "$lib" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
[[ $soname =~ ^libvelnor\.so\.[0-9]+$ ]] || bad "soname is '$soname', not libvelnor.so.<major>"

defined=$(nm -D --defined-only "$lib" | awk '{print $NF}' | sort -u)
expected=$("$here/exported-names.sh" "$here/../include/velnor.h")
missing=$(comm -13 <(echo "$defined") <(echo "$expected"))
extra=$(comm -23 <(echo "$defined") <(echo "$expected"))
[ -z "$missing" ] || bad "not exported: $(echo $missing)"
[ -z "$extra" ] || bad "exported but not in velnor.h: $(echo $extra | cut -c1-400)"

[ "$fail" -ne 0 ] || echo "check-so: $lib ($soname) exports exactly the $(grep -c . <<<"$expected") functions of velnor.h"
exit "$fail"
