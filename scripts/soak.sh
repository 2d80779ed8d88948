#!/bin/sh
# soak.sh [OPERATIONS] [BUILD] - the long run of the contention soak: four
# processes each make OPERATIONS (default 100000) writes, rewrites under a
# record lock, deletes and keyed reads on one shared file; the file must
# then equal a replay of them, with one index entry per active record.
set -u
ops=${1:-100000}
build=${2:-build}
VELNOR_SOAK_OPS=$ops exec "$build/tests/engine_tests" \
  --gtest_filter='EngineTest.FourProcessesMixingOperationsMatchAReplay'
