#!/bin/sh
# wine-run.sh PREFIX PROGRAM [ARGS...] - runs a 64-bit Windows program under
# wine in the private prefix PREFIX, creating and configuring the prefix on
# first use (unattended, no windows, no console noise).  Several copies may
# start at once; the first one sets the prefix up under a lock.
set -e
prefix=$1
shift
export WINEPREFIX="$prefix"
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
unset DISPLAY WAYLAND_DISPLAY

for w in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
  if [ -n "$w" ] && [ -x "$w" ]; then wine=$w; break; fi
done
[ -n "${wine:-}" ] || { echo "wine-run.sh: wine is not installed" >&2; exit 127; }
case $wine in */wine64) export WINELOADER="$wine" ;; esac
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver64)

mkdir -p "$(dirname "$prefix")"
if [ ! -f "$prefix/.velnor-ready" ]; then
  (
    flock 9
    if [ ! -f "$prefix/.velnor-ready" ]; then
      "$wine" wineboot --init >/dev/null 2>&1 || true
      # No display here: the null graphics driver lets windows be created.
      "$wine" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1 || true
      "$wine" reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1 || true
      "$wineserver" -w 2>/dev/null || true
      touch "$prefix/.velnor-ready"
    fi
  ) 9>"$prefix.lock"
fi
exec "$wine" "$@"
