#!/usr/bin/env bash
# Builds the plug-in and the benchmark in a Release tree of their own and
# measures what the plug-in costs the simulator (see bench/README.md).
#   tools/bench.sh            the full run (about 30 minutes)
#   tools/bench.sh --short    the short run for CI (about 2 minutes)
#   tools/bench.sh --hours 2  passes options to quelby-bench
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${QUELBY_BENCH_BUILD_DIR:-$root/build-bench}"
fail() { echo "bench.sh: $*" >&2; exit 1; }
bash "$root/tools/setup.sh" >/dev/null || fail "installing the Debian packages failed (see above)"
# Timings of an optimised plug-in only: a debug build would measure the wrong thing.
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUELBY_WERROR=ON >/dev/null \
  || fail "configuring the build failed (see above)"
cmake --build "$build" -j"${QUELBY_JOBS:-1}" --target Quelby QuelbyEmpty quelby-bench \
  || fail "the build failed (see above)"
exec "$build/bench/quelby-bench" --out "$build/bench-run" "$@"
