#!/usr/bin/env bash
# Builds the plug-in and the fault suite, then runs the suite: the website
# failing in each of its ways at each step of a flight, a stop while saving,
# damaged settings, a missing data folder, refused writes and a report that
# cannot be saved until later.
#   tools/faults.sh --short          the CI subset
#   tools/faults.sh --strict-frames  a frame over 2 ms fails its case
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/setup.sh"
build="${QUELBY_BUILD_DIR:-$root/build}"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j"${QUELBY_JOBS:-2}" --target Quelby quelby-faults
exec "$build/testbed/faults/quelby-faults" --out "$build/faults" "$@"
