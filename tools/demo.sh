#!/usr/bin/env bash
# Sets up, builds and flies the demo flight: the real plug-in loaded into the
# test-bed simulator, the stand-in website with the demo airline, and one
# booked flight from Frankfurt to Stuttgart from login to the uploaded report,
# flown as X-Plane 12 (with pictures) and then as X-Plane 11.
#   tools/demo.sh --upload-works     passes options to quelby-demo (see --help)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
step() { echo "== $*"; }
fail() { echo "demo.sh: $*" >&2; exit 1; }
step "Installing what is missing"
bash "$root/tools/setup.sh" || fail "installing the Debian packages failed (see above)"
build="${QUELBY_BUILD_DIR:-$root/build}"
step "Building the plug-in, the test bed and the demo in $build"
cmake -S "$root" -B "$build" >/dev/null || fail "configuring the build failed (see above)"
cmake --build "$build" -j"${QUELBY_JOBS:-2}" --target Quelby quelby-package quelby-demo \
  || fail "the build failed (see above)"
step "Flying as X-Plane 12"
"$build/testbed/demo/quelby-demo" --out "$build/demo" "$@" || fail "the demo flight failed (see above)"
step "Flying again as X-Plane 11"
"$build/testbed/demo/quelby-demo" --out "$build/demo-xp11" --no-pictures --xplane 11 "$@" \
  || fail "the demo flight as X-Plane 11 failed (see above)"
echo "install package: $(ls "$build"/Quelby-*.zip)"
