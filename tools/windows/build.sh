#!/usr/bin/env bash
# Cross-builds the Windows plug-in (build-windows/Quelby/win_x64/Quelby.xpl),
# the emulated X-Plane's DLLs and the Windows test programs with MinGW-w64.
# The libraries cross-built from Debian's source packages are kept in
# $QUELBY_CACHE (default ~/.cache/quelby) under a name keyed by their recipe,
# so only the first run pays for them (about 5 minutes).
#   tools/windows/build.sh [cmake --build options]
#   tools/windows/build.sh --deps-only    only the libraries (CI makes them
#                                         beside the tests)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
here="$root/tools/windows"
cache="${QUELBY_CACHE:-$HOME/.cache/quelby}"
build="${QUELBY_WINDOWS_BUILD_DIR:-$root/build-windows}"
command -v x86_64-w64-mingw32-g++-posix >/dev/null || bash "$root/tools/setup.sh"

recipe="$(cat "$here/build-deps.sh" | sha256sum | cut -c1-12)"
deps="$cache/mingw-deps-$recipe"
# Built once: another run building them (CI prepares them beside the tests)
# is waited for.
mkdir -p "$cache"
exec 9>"$cache/.mingw-deps.lock"
flock 9
if [ "$(cat "$deps/.built" 2>/dev/null)" != "$recipe" ]; then
  echo "== Windows libraries from Debian's source packages (first run only): $deps"
  bash "$here/build-deps.sh" "$deps" "$recipe"
fi
exec 9>&-
[ "${1:-}" = "--deps-only" ] && exit 0

cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DQUELBY_DEPS_PREFIX="$deps" -DQUELBY_WERROR=ON >/dev/null
cmake --build "$build" -j"${QUELBY_JOBS:-2}" "$@"
