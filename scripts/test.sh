#!/bin/bash
# test.sh - runs every test of the project, each build in its own folder:
#   native        build + ctest, and the shared library's export check
#   sanitize      AddressSanitizer + UndefinedBehaviorSanitizer build + ctest
#   fuzz          clang build of the libFuzzer targets; each replays its
#                 regression inputs, then fuzzes for $VELNOR_FUZZ_RUNS runs
#                 (default 20000); one check per target
#   win32         i686 cross build + the DLL's export and import checks
#   win64         x86_64 cross build + ctest under wine
#   python        the Python package (native build) + its pytest suite
#   install       cmake --install + a find_package and a pkg-config consumer
# Installs missing tools first.  Ends with "N passed, M failed" alone on a
# line (tests counted from ctest, each check counted as one) and exits
# non-zero when anything failed.  VELNOR_STEPS="native win64" runs a subset.
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
bash scripts/deps.sh all || { echo "dependencies could not be installed"; echo "0 passed, 1 failed"; exit 1; }

jobs=2
# ccache, when present, shares compiled objects between the builds and runs.
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
steps=${VELNOR_STEPS:-native sanitize fuzz win32 win64 python install}
passed=0
failed=0
failures=()
logs=$root/build-logs
mkdir -p "$logs"

note() { printf '\n=== %s\n' "$*"; }
pass() { passed=$((passed + 1)); echo "PASS $1"; }
fail() { failed=$((failed + 1)); failures+=("$1"); echo "FAIL $1 (log: ${2:-see above})"; }

# check NAME COMMAND...: one check, counted as one test; its output is logged
# and shown when it fails.
check() {
  local name=$1 log=$logs/$1.log
  shift
  if "$@" >"$log" 2>&1; then
    tail -n 1 "$log"
    pass "$name"
  else
    tail -n 40 "$log"
    fail "$name" "$log"
    return 1
  fi
}

# build NAME DIR CMAKE-ARGS...: configure and build everything in DIR.
build() {
  local name=$1 dir=$2
  shift 2
  check "$name-configure" cmake -S "$root" -B "$dir" -G Ninja -DVELNOR_TESTS=ON -DVELNOR_TOOLS=ON \
    -DVELNOR_WERROR=ON "${launcher[@]}" "$@" &&
    check "$name-build" cmake --build "$dir" -j "$jobs"
}

# run_ctest NAME DIR [CTEST-ARGS...]: every test of ctest counts.
run_ctest() {
  local name=$1 dir=$2 log=$logs/$1-ctest.log
  shift 2
  (cd "$dir" && ctest -j "$jobs" --timeout 1500 --output-on-failure "$@") >"$log" 2>&1
  local rc=$?
  local line
  line=$(grep -E '[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+' "$log" | tail -n 1)
  if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
    local f=${BASH_REMATCH[1]} total=${BASH_REMATCH[2]}
    passed=$((passed + total - f))
    failed=$((failed + f))
    [ "$f" -eq 0 ] || failures+=("$name: $f of $total tests")
    echo "$name: $line"
  elif [ $rc -eq 0 ]; then
    echo "$name: no tests"
  fi
  if [ $rc -ne 0 ]; then
    grep -E '^[[:space:]]*[0-9]+ - .*\((Failed|Timeout|SEGFAULT|Subprocess|Exception|Not Run)' "$log" | head -n 50
    grep -E '^\[  FAILED  \]|Failure$|ERROR: AddressSanitizer|runtime error:' "$log" | head -n 40
    [[ -n $line ]] || fail "$name" "$log"
    echo "(full ctest output: $log)"
  fi
}

# run_pytest NAME DIR: the Python package's tests against DIR's package and
# program; every test of pytest's summary line counts.
run_pytest() {
  local name=$1 dir=$root/$2 log=$logs/$1-pytest.log
  (cd "$root/python/tests" && PYTHONPATH=$dir/python VELNOR_EXE=$dir/tools/velnor \
    VELNOR_EXAMPLES=$root/docs/examples VELNOR_EXAMPLE_C=$dir/example_records timeout 1500 pytest-3 -q -p no:cacheprovider) >"$log" 2>&1
  local rc=$? line n p=0 f=0
  # "2 failed, 40 passed, 1 error in 3.2s": failures and errors both fail.
  line=$(grep -E '[0-9]+ (passed|failed|errors?).* in [0-9.]+s' "$log" | tail -n 1)
  for n in $(grep -oE '[0-9]+ (passed|failed|errors?)' <<<"$line" | tr ' ' ':'); do
    case ${n#*:} in passed) p=${n%%:*} ;; *) f=$((f + ${n%%:*})) ;; esac
  done
  passed=$((passed + p))
  failed=$((failed + f))
  [ "$f" -eq 0 ] || failures+=("$name: $f pytest tests")
  echo "$name: ${line:-no summary}"
  if [ $rc -ne 0 ]; then
    tail -n 40 "$log"
    [ $((p + f)) -gt 0 ] || fail "$name" "$log"
  fi
}

start=$SECONDS
for step in $steps; do
  t0=$SECONDS
  case $step in
    native)
      note "native build and tests"
      # Release, so that the tests check the optimised code users get.
      if build native build -DCMAKE_BUILD_TYPE=Release -DVELNOR_BENCH=ON; then
        check native-exports bash scripts/check-so.sh build/libvelnor.so
        run_ctest native build
      fi
      ;;
    sanitize)
      note "AddressSanitizer + UndefinedBehaviorSanitizer build and tests"
      if build sanitize build-asan -DVELNOR_SANITIZE=ON -DVELNOR_BENCH=OFF; then
        ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=0} \
          UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1} \
          run_ctest sanitize build-asan
      fi
      ;;
    fuzz)
      note "libFuzzer targets: regression inputs and a short run each"
      if build fuzz build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang-14 \
        -DCMAKE_CXX_COMPILER=clang++-14 -DVELNOR_FUZZ=ON -DVELNOR_TESTS=OFF -DVELNOR_TOOLS=OFF \
        -DVELNOR_BENCH=OFF; then
        for t in $(bash scripts/fuzz.sh -l); do
          check "fuzz-$t" bash scripts/fuzz.sh -n -B build-fuzz -r "${VELNOR_FUZZ_RUNS:-20000}" "$t"
        done
      fi
      ;;
    win32)
      note "32-bit Windows build (i686-w64-mingw32) and DLL checks"
      # No 32-bit wine here: its test programs could not run, so only the
      # DLL, its import library and the program are built.
      if build win32 build-win32 -DCMAKE_TOOLCHAIN_FILE=cmake/i686-w64-mingw32.cmake -DCMAKE_BUILD_TYPE=Release -DVELNOR_BENCH=OFF \
        -DVELNOR_TESTS=OFF; then
        check win32-dll bash scripts/check-dll.sh build-win32/velnor.dll build-win32/libvelnor.dll.a
      fi
      ;;
    win64)
      note "64-bit Windows build (x86_64-w64-mingw32) and tests under wine"
      # Release, as the DLL ships; without debug information the test
      # programs are a tenth the size, and wine loads them the sooner.
      if build win64 build-win64 -DCMAKE_TOOLCHAIN_FILE=cmake/x86_64-w64-mingw32.cmake -DCMAKE_BUILD_TYPE=Release \
        -DVELNOR_BENCH=OFF; then
        run_ctest win64 build-win64
      fi
      ;;
    python)
      note "Python package and its pytest suite"
      # The native build (made again only if the native step did not run).
      if build python build -DCMAKE_BUILD_TYPE=Release -DVELNOR_BENCH=ON -DVELNOR_PYTHON=ON; then
        run_pytest python build
      fi
      ;;
    install)
      note "install and package consumers"
      check install-consumers bash scripts/check-install.sh
      ;;
    *)
      fail "unknown step $step"
      ;;
  esac
  echo "($step: $((SECONDS - t0)) s)"
done

note "summary ($((SECONDS - start)) s)"
# Tests against code: tracked C and C++ sources, counting lines that are
# neither blank nor only a comment.  Tests are tests/ and fuzz/; code is
# every other source outside bench/, scripts/, docs/ and cmake/.
sloc() { xargs -r cat 2>/dev/null | sed -e 's://.*$::' | grep -cvE '^\s*(\*.*|/\*.*)?$'; }
sources=$(git ls-files 2>/dev/null | grep -E '\.(c|cc|cpp|h|hpp)$')
test_lines=$(grep -E '^(tests|fuzz)/' <<<"$sources" | sloc)
code_lines=$(grep -vE '^(tests|fuzz|bench|scripts|docs|cmake)/' <<<"$sources" | sloc)
[ "${code_lines:-0}" -gt 0 ] &&
  echo "tests are $((100 * test_lines / code_lines))% of the code ($test_lines test lines, $code_lines code lines)"
for f in "${failures[@]}"; do echo "failed: $f"; done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
