#!/bin/bash
# deps.sh [demo|all] - installs, with apt-get, whatever the build is missing.
# "demo" is what a native build of the library and the velnor program needs;
# "all" (the default) adds the test, benchmark, fuzzing and Windows
# cross-build tools.
# Does nothing when everything is present.
set -euo pipefail

demo_packages=(cmake ninja-build g++ make pkg-config libcli11-dev)
all_packages=("${demo_packages[@]}"
  googletest libgtest-dev libbenchmark-dev clang-14 libclang-rt-14-dev
  g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix binutils-mingw-w64-i686 binutils-mingw-w64-x86-64
  wine wine64
  pybind11-dev python3-dev python3-pytest help2man man-db bash-completion
  libsqlite3-dev sqlite3 libdb-dev liblmdb-dev ncompress gzip valgrind strace binutils file util-linux)

case ${1:-all} in
  demo) wanted=("${demo_packages[@]}") ;;
  all) wanted=("${all_packages[@]}") ;;
  *) echo "usage: $0 [demo|all]" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "deps: installing ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "deps: run as root or install: ${missing[*]}" >&2; exit 1; }
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q </dev/null
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}" </dev/null
