#!/usr/bin/env bash
# Installs what is missing, builds the plug-in, the test bed and the tests,
# then runs the tests; a plain run ends with the benchmark's and the fuzzers'
# short forms and the Windows build's tests and demo flight under Wine.
#   QUELBY_SANITIZE=address,undefined tools/test.sh   builds with sanitizers
#   tools/test.sh -R 'ThreadSync'                     passes options to ctest
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
sanitize="${QUELBY_SANITIZE:-}"
build="${QUELBY_BUILD_DIR:-$root/build${sanitize:+-${sanitize//,/-}}}"
jobs="${QUELBY_JOBS:-2}"
bash "$root/tools/setup.sh"
cmake -S "$root" -B "$build" -DQUELBY_WERROR=ON -DQUELBY_SANITIZE="$sanitize" >/dev/null
cmake --build "$build" -j"$jobs"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/tools/lsan.supp:print_suppressions=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
export TSAN_OPTIONS="${TSAN_OPTIONS:-halt_on_error=1:second_deadlock_stack=1:suppressions=$root/tools/tsan.supp}"
ctest --test-dir "$build" --output-on-failure -j"$jobs" "$@"
# The whole suite of a plain build also runs the benchmark's and the fuzzers'
# short forms: the benchmark for its figures (never judged by time here), the
# fuzzers for a minute each.
if [ -z "$sanitize" ] && [ "$#" -eq 0 ]; then
  echo "== benchmark, short form"
  "$build/bench/quelby-bench" --short --out "$build/bench-run"
  echo "== fuzzing, a minute per target"
  bash "$root/tools/fuzz.sh" 60
  echo "== Windows: cross-built, tested and flown under Wine"
  QUELBY_WEBSITE_PROGRAM="$build/testbed/website/quelby-website" bash "$root/tools/windows/test.sh"
fi
