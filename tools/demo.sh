#!/usr/bin/env bash
# Sets up, builds and runs the plug-in in the test-bed simulator.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/setup.sh"
build="${QUELBY_BUILD_DIR:-$root/build}"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j"${QUELBY_JOBS:-2}" --target Quelby quelby-testbed
exec "$build/testbed/simulator/quelby-testbed" --show "$@"
