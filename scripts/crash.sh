#!/bin/sh
# crash.sh [TRIALS] [BUILD] - the long run of the crash test: TRIALS
# processes (default 100, a quarter each of fixed- and variable-length files
# in SINGLE and shared use) killed at random moments while they write,
# rewrite and delete records.  Prints the trials, the operations announced,
# the secured records lost (must be 0) and the repairs made.
set -u
trials=${1:-100}
build=${2:-build}
VELNOR_CRASH_TRIALS=$(((trials + 3) / 4)) exec "$build/tests/maint_tests" \
  --gtest_filter='MaintTest.KilledProcessLosesNoSecuredRecord'
