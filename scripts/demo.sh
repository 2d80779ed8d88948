#!/bin/bash
# demo.sh - builds the library and the velnor program natively and runs
# `velnor demo`, which makes a sample customer file in build/velnor-demo and
# walks through it.  Installs whatever the build is missing first.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/deps.sh demo
cmake -S . -B build -G Ninja -DVELNOR_TESTS=OFF -DVELNOR_BENCH=OFF -DVELNOR_TOOLS=ON >/dev/null
cmake --build build -j2 --target velnor_cli
cd build
exec ./tools/velnor demo "$@"
