#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs each one for a
# while over a scratch copy of its seed corpus, as many at once as there are
# build jobs (QUELBY_JOBS, default 2); fails when any target finds
# a crash, a hang or a sanitizer report.
#   tools/fuzz.sh          60 seconds per target
#   tools/fuzz.sh 600      the longer run
#   QUELBY_FUZZ_TARGETS="answer base64" tools/fuzz.sh 30   only some targets
#   QUELBY_FUZZ_RUNS=10000000 tools/fuzz.sh 3600   that many inputs per target,
#                                                  the seconds as a limit
set -uo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
seconds="${1:-60}"
build="${QUELBY_FUZZ_BUILD_DIR:-$root/build-fuzz}"
jobs="${QUELBY_JOBS:-2}"
targets="${QUELBY_FUZZ_TARGETS:-answer report_ini base64 blackbox_xml}"
runs_limit="${QUELBY_FUZZ_RUNS:-}"

if ! [[ "$seconds" =~ ^[0-9]+$ ]] || [ "$seconds" -lt 1 ] ||
  { [ -n "$runs_limit" ] && ! [[ "$runs_limit" =~ ^[0-9]+$ ]]; }; then
  echo "usage: [QUELBY_FUZZ_RUNS=N] tools/fuzz.sh [SECONDS]" >&2
  exit 2
fi
runs_option=()
[ -n "$runs_limit" ] && runs_option=(-runs="$runs_limit")

set -e
bash "$root/tools/setup.sh"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DQUELBY_FUZZ=ON -DQUELBY_WERROR=ON >/dev/null
cmake --build "$build" -j"$jobs" --target quelby-fuzzers
set +e

# The longest input each target takes: one answer block (a little more, to
# cross the limit), a report file with room to grow, short comments, rule files.
max_len_of() {
  case "$1" in
    answer) echo 4200 ;;
    report_ini) echo 32768 ;;
    base64) echo 2048 ;;
    blackbox_xml) echo 8192 ;;
    *) echo 4096 ;;
  esac
}

# The quarantine keeps freed memory from reuse so that a use after free is
# caught. An input frees well under a megabyte, so 64 MB still covers hundreds
# of inputs; the default 256 MB only makes each allocation land on cold memory.
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1:quarantine_size_mb=64}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$root/tools/lsan.supp:print_suppressions=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

runs="$build/fuzz-runs"
# One target's run; its exit status goes to $work/status. Each fuzzer uses
# one core, so as many run side by side as the build has jobs.
run_target() {
  local name="$1"
  local fuzzer="$build/fuzz/${name}_fuzzer"
  local seeds="$root/fuzz/corpus/$name"
  local work="$runs/$name"
  # Each run starts from the committed seeds; what it learns stays here.
  rm -rf "$work/corpus" "$work/tmp" "$work/status"
  mkdir -p "$work/corpus" "$work/crashes" "$work/tmp"
  cp -r "$seeds/." "$work/corpus/"
  local dict=()
  [ -f "$root/fuzz/$name.dict" ] && dict=(-dict="$root/fuzz/$name.dict")
  # Inputs of earlier runs stay in crashes/; only this run's are named below.
  touch "$work/started"
  # The client's files of every input go to memory where there is a tmpfs:
  # a file written per input on a disk costs more than the input.
  local scratch="$work/tmp"
  if [ -d /dev/shm ] && [ -w /dev/shm ]; then
    scratch="$(mktemp -d -p /dev/shm "quelby-fuzz-$name.XXXXXX")" || scratch="$work/tmp"
  fi
  TMPDIR="$scratch" "$fuzzer" "${dict[@]}" -max_len="$(max_len_of "$name")" -timeout=10 \
    -max_total_time="$seconds" "${runs_option[@]}" -print_final_stats=1 -artifact_prefix="$work/crashes/" \
    "$work/corpus" >"$work/log.txt" 2>&1
  echo "$?" >"$work/status"
  [ "$scratch" != "$work/tmp" ] && rm -rf "$scratch"
}

running=()
for name in $targets; do
  echo "== $name: ${runs_limit:+$runs_limit inputs within }${seconds}s"
  run_target "$name" &
  running+=("$!")
  if [ "${#running[@]}" -ge "$jobs" ]; then
    wait "${running[0]}"
    running=("${running[@]:1}")
  fi
done
wait

failed=()
for name in $targets; do
  work="$runs/$name"
  status="$(cat "$work/status" 2>/dev/null || echo 1)"
  echo "== $name"
  grep -E '^(stat::number_of_executed_units|stat::average_exec_per_sec|#[0-9]+ +DONE)' \
    "$work/log.txt" | sed 's/^/   /'
  if [ "$status" -ne 0 ]; then
    failed+=("$name")
    echo "!! $name failed (exit $status); log: $work/log.txt"
    grep -E 'ERROR|runtime error|SUMMARY|mismatch|Test unit written' "$work/log.txt" | head -n 8 |
      sed 's/^/   /'
    find "$work/crashes" -type f -newer "$work/started" | sed 's/^/   input: /'
  fi
done

if [ "${#failed[@]}" -gt 0 ]; then
  echo "Fuzzing found problems in: ${failed[*]}"
  echo "Replay one with: $build/fuzz/<target>_fuzzer <input>"
  exit 1
fi
echo "No crashes in ${runs_limit:+$runs_limit inputs or }${seconds}s per target: $targets"
