#!/bin/bash
# check-install.sh - installs the native build (build/) into a scratch
# prefix and builds a C program against it the ways a user would: a CMake
# project in C alone with find_package(velnor), linked to the shared and to
# the static library, and plain compiler calls with pkg-config, shared and
# --static; then the program's man pages and bash completion and the
# Python package, where the build made them.  When the 32-bit
# Windows build (build-win32/) exists, checks that its install holds the
# DLL, the import library, velnor.def and the header.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
work=$root/build/install-check
rm -rf "$work"
mkdir -p "$work"

if [ ! -f build/build.ninja ]; then
  cmake -S . -B build -G Ninja -DVELNOR_TESTS=OFF -DVELNOR_BENCH=OFF -DVELNOR_TOOLS=OFF
fi
cmake --build build -j2 --target velnor velnor_static
cmake --install build --prefix "$work/prefix"
for f in include/velnor.h lib/libvelnor.a lib/pkgconfig/velnor.pc \
         lib/cmake/velnor/velnorConfig.cmake lib/cmake/velnor/velnorConfigVersion.cmake; do
  [ -e "$work/prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
ls "$work/prefix/lib"/libvelnor.so.* >/dev/null

cmake -S tests/build/consumer -B "$work/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix"
cmake --build "$work/consumer"
"$work/consumer/consumer_shared"
"$work/consumer/consumer_static"

export PKG_CONFIG_PATH=$work/prefix/lib/pkgconfig
# shellcheck disable=SC2046
cc -o "$work/consumer-pc" tests/build/consumer/main.c $(pkg-config --cflags --libs velnor)
LD_LIBRARY_PATH=$work/prefix/lib "$work/consumer-pc"
# shellcheck disable=SC2046
cc -static -o "$work/consumer-pc-static" tests/build/consumer/main.c $(pkg-config --static --cflags --libs velnor)
"$work/consumer-pc-static"

# The program's man pages and bash completion, when the build made the
# program (with help2man at hand).
if [ -x build/tools/velnor ]; then
  cmake --build build -j2 --target velnor_cli velnor_man
  cmake --install build --prefix "$work/prefix"
  man -M "$work/prefix/share/man" -P cat velnor-load 2>/dev/null | grep -q -- '--csv' ||
    { echo "man velnor-load: no page, or no --csv in it"; exit 1; }
  man -M "$work/prefix/share/man" -P cat velnor 2>/dev/null | grep -q 'export' ||
    { echo "man velnor: no page, or no export command in it"; exit 1; }
  complete_words() {  # what completion offers for the words of a command line
    PATH=$work/prefix/bin:$PATH bash -c '
      shopt -s extglob progcomp
      source "$1"; shift
      COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); cd "$0"
      _velnor; printf "%s\n" "${COMPREPLY[@]}"' "$work/files" \
      "$work/prefix/share/bash-completion/completions/velnor" "$@"
  }
  mkdir -p "$work/files"
  touch "$work/files/a.dat" "$work/files/a.fid" "$work/files/b.cmp"
  complete_words velnor ex | grep -qx export || { echo "completion: no command export"; exit 1; }
  complete_words velnor load --cs | grep -qx -- --csv || { echo "completion: no option --csv"; exit 1; }
  [ "$(complete_words velnor dump '')" = a.dat ] || { echo "completion: dump should offer a.dat alone"; exit 1; }
  [ "$(complete_words velnor archive list '')" = b.cmp ] || { echo "completion: archive should offer b.cmp"; exit 1; }
fi

# The Python package, when the build made it: imported from the install.
if [ -d build/python/velnor ]; then
  cmake --build build -j2 --target _velnor
  cmake --install build --prefix "$work/prefix"
  (cd "$work" && PYTHONPATH=$(echo "$work"/prefix/lib/python3*/dist-packages) \
    python3 -c "import velnor; velnor.Error") ||
    { echo "python3 -c 'import velnor' fails against the install"; exit 1; }
fi

if [ -f build-win32/build.ninja ]; then
  cmake --build build-win32 -j2
  cmake --install build-win32 --prefix "$work/win32"
  for f in bin/velnor.dll lib/libvelnor.dll.a lib/velnor.def include/velnor.h; do
    [ -e "$work/win32/$f" ] || { echo "not installed by the Windows build: $f"; exit 1; }
  done
fi
echo "install: find_package, pkg-config, man pages, completion, Python and the Windows install check out"
