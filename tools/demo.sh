#!/usr/bin/env bash
# Sets up, builds and flies the demo flight: the real plug-in loaded into the
# test-bed simulator, its window opened, and a flight from Frankfurt to
# Stuttgart flown gate to gate by the test bed's flight model.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/tools/setup.sh"
build="${QUELBY_BUILD_DIR:-$root/build}"
cmake -S "$root" -B "$build" >/dev/null
cmake --build "$build" -j"${QUELBY_JOBS:-2}" --target Quelby quelby-testbed quelby-website
exec "$build/testbed/simulator/quelby-testbed" --show --rate 30 \
  --flight "$root/testbed/flights/EDDF-EDDS.flight" "$@"
