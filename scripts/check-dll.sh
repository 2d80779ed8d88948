#!/bin/bash
# check-dll.sh DLL [IMPLIB] - checks a built 32-bit velnor.dll:
#  - it is a 32-bit x86 DLL;
#  - its export table holds every function of include/velnor.h exactly once
#    under its plain name (no @N decoration), plus "round", and nothing else;
#  - it imports only system DLLs (KERNEL32, USER32, GDI32, msvcrt), so it
#    runs without the compiler's runtime DLLs;
#  - with IMPLIB: a program compiled against velnor.h links with the import
#    library and imports every function from velnor.dll by its plain name.
# Prints one line per failure and exits non-zero when anything is wrong.
set -u
here=$(cd "$(dirname "$0")" && pwd)
dll=$1
implib=${2:-}
objdump=${OBJDUMP:-i686-w64-mingw32-objdump}
cc=${CC_I686:-i686-w64-mingw32-gcc}
fail=0
bad() { echo "check-dll: $*" >&2; fail=1; }

[ -f "$dll" ] || { echo "check-dll: no such file: $dll" >&2; exit 1; }
dump=$("$objdump" -p "$dll") || { echo "check-dll: $objdump cannot read $dll" >&2; exit 1; }

grep -q 'file format pei-i386' <<<"$dump" || bad "$dll is not a 32-bit x86 DLL"

# Export names: the lines "[   n] name" after "[Ordinal/Name Pointer] Table".
exports=$(awk '/^\[Ordinal\/Name Pointer\] Table/ {t=1; next}
               t && /^[[:space:]]*\[ *[0-9]+\]/ {print $NF; next}
               t && NF == 0 {t=0}' <<<"$dump")
expected=$( { "$here/exported-names.sh" "$here/../include/velnor.h"; echo round; } | sort)

while read -r name; do
  n=$(grep -cx -- "$name" <<<"$exports")
  [ "$n" -eq 1 ] || bad "export '$name' appears $n times"
done <<<"$expected"
while read -r name; do
  [ -n "$name" ] || continue
  case $name in *@*) bad "decorated export '$name'" ;; esac
  grep -qx -- "$name" <<<"$expected" || bad "unexpected export '$name'"
done <<<"$exports"

# Imports: only the system DLLs.
while read -r lib; do
  [ -n "$lib" ] || continue
  case ${lib,,} in
    kernel32.dll | user32.dll | gdi32.dll | msvcrt.dll) ;;
    *) bad "imports $lib (only KERNEL32, USER32, GDI32 and msvcrt may be imported)" ;;
  esac
done < <(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$dump")

if [ -n "$implib" ]; then
  work=$(mktemp -d)
  trap 'rm -rf "$work"' EXIT
  {
    echo '#include "velnor.h"'
    echo 'void *velnor_all[] = {'
    "$here/exported-names.sh" "$here/../include/velnor.h" | sed 's/.*/  (void *)\&&,/'
    echo '};'
    echo 'int main(void) { return velnor_all[0] == 0; }'
  } >"$work/use.c"
  if "$cc" -Wall -Werror -I"$here/../include" "$work/use.c" "$implib" -o "$work/use.exe" 2>"$work/err"; then
    used=$("$objdump" -p "$work/use.exe" | awk '/DLL Name: velnor.dll/ {v=1; next}
          /DLL Name:/ {v=0} v && NF == 3 && $3 ~ /^[A-Za-z_]/ {print $3}' | sort)
    want=$("$here/exported-names.sh" "$here/../include/velnor.h")
    [ "$used" = "$want" ] || bad "a program linked with $implib does not import every function by its plain name: $(comm -3 <(echo "$used") <(echo "$want") | tr -s '\t\n' '  ')"
  else
    bad "a program using every function does not link with $implib: $(head -5 "$work/err")"
  fi
fi

if [ "$fail" -eq 0 ]; then
  echo "check-dll: $dll exports $(grep -c . <<<"$exports") plain names and imports only system DLLs"
fi
exit "$fail"
