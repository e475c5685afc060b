#!/usr/bin/env bash
# Installs what is missing, builds the plug-in, the test bed and the tests,
# then runs the tests; a plain run ends with the benchmark's and the fuzzers'
# short forms and the Windows build's tests and demo flight under Wine.
#   QUELBY_SANITIZE=address,undefined tools/test.sh   builds with sanitizers
#   tools/test.sh -R 'ThreadSync'                     passes options to ctest
#   QUELBY_BUILD_TARGETS="quelby_tests_core" tools/test.sh -R ThreadSync
#                                                     builds only those targets
#   QUELBY_TEST_JOBS=2 tools/test.sh                  tests side by side (default:
#                                                     twice QUELBY_JOBS)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
sanitize="${QUELBY_SANITIZE:-}"
build="${QUELBY_BUILD_DIR:-$root/build${sanitize:+-${sanitize//,/-}}}"
jobs="${QUELBY_JOBS:-2}"
# Most tests fly in real time and sleep between frames: twice as many run
# side by side as there are build jobs.
test_jobs="${QUELBY_TEST_JOBS:-$((jobs * 2))}"
bash "$root/tools/setup.sh"
cmake -S "$root" -B "$build" -DQUELBY_WERROR=ON -DQUELBY_SANITIZE="$sanitize" >/dev/null
targets=()
for target in ${QUELBY_BUILD_TARGETS:-}; do targets+=(--target "$target"); done
cmake --build "$build" -j"$jobs" "${targets[@]}"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/tools/lsan.supp:print_suppressions=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:suppressions=$root/tools/tsan.supp}"
ctest --test-dir "$build" --output-on-failure -j"$test_jobs" "$@"
# The whole suite of a plain build also runs the benchmark's and the fuzzers'
# short forms: the benchmark to see that every run of it still completes
# (never judged by time here), the fuzzers for a minute each. The benchmark
# flies in real time beside the fuzzers, so its figures here are a busy
# machine's; tools/bench.sh takes them on a quiet one.
if [ -z "$sanitize" ] && [ "$#" -eq 0 ]; then
  bench_log="$build/bench-short.txt"
  "$build/bench/quelby-bench" --short --out "$build/bench-run" >"$bench_log" 2>&1 &
  bench=$!
  echo "== fuzzing, a minute per target"
  fuzz_status=0
  bash "$root/tools/fuzz.sh" 60 || fuzz_status=$?
  echo "== benchmark, short form (beside the fuzzers)"
  bench_status=0
  wait "$bench" || bench_status=$?
  cat "$bench_log"
  if [ "$bench_status" -ne 0 ] || [ "$fuzz_status" -ne 0 ]; then
    echo "tools/test.sh: benchmark exit $bench_status, fuzzing exit $fuzz_status" >&2
    exit 1
  fi
  echo "== Windows: cross-built, tested and flown under Wine"
  QUELBY_WEBSITE_PROGRAM="$build/testbed/website/quelby-website" bash "$root/tools/windows/test.sh"
fi
