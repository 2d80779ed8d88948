#!/bin/sh
# crash.sh [TRIALS] [BUILD] - the long run of the crash test: TRIALS
# processes (default 100, a quarter each of fixed- and variable-length files
# in SINGLE and shared use) killed at random moments while they write,
# rewrite, move and delete records, then TRIALS more cut off by a simulated
# power cut at a random write (every write since its file's last sync
# thrown away).  Prints for each the trials, the operations announced, the
# secured records lost (must be 0) and the repairs made.
set -u
trials=${1:-100}
build=${2:-build}
each=$(((trials + 3) / 4))
VELNOR_CRASH_TRIALS=$each VELNOR_POWERCUT_TRIALS=$each exec "$build/tests/maint_tests" \
  --gtest_filter='CrashTest.*'
