#!/usr/bin/env bash
# Cross-builds the macOS plug-in on Debian: one universal Mach-O file with an
# x86_64 (Intel) and an arm64 (Apple Silicon) slice, each signed ad hoc,
# build-macos/Quelby/mac_x64/Quelby.xpl with the data folder beside it; then
# checks it with tools/macos/check.sh. Only the plug-in's own code is built:
# nothing built here runs on this machine.
# The toolchain (Zig from the npm registry, Debian's LLVM tools) and pugixml's
# source are installed by tools/macos/setup.sh into $QUELBY_CACHE (default
# ~/.cache/quelby); the first run builds libc++ for both architectures
# (about a minute each).
#   tools/macos/build.sh
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
build="${QUELBY_MACOS_BUILD_DIR:-$root/build-macos}"
jobs="${QUELBY_JOBS:-2}"
eval "$(bash "$root/tools/macos/setup.sh")"

slices=()
for arch in x86_64 arm64; do
  echo "== macOS plug-in, $arch slice"
  cmake -S "$root" -B "$build/$arch" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/macos.cmake" \
    -DQUELBY_MACOS_ARCH="$arch" -DQUELBY_MACOS_TOOLCHAIN="$QUELBY_MACOS_TOOLCHAIN" \
    -DQUELBY_MACOS_MIN="$QUELBY_MACOS_MIN" -DQUELBY_DEPS_PREFIX="$QUELBY_MACOS_DEPS" \
    -DCMAKE_BUILD_TYPE=Release -DQUELBY_BUILD_TESTS=OFF -DQUELBY_WERROR=ON >/dev/null
  # The plug-in, and the strict link that fails on any symbol left unresolved.
  cmake --build "$build/$arch" -j"$jobs" --target Quelby quelby-strict-link
  slices+=("$build/$arch/Quelby/mac_x64/Quelby.xpl")
done

echo "== universal file"
rm -rf "$build/Quelby"
mkdir -p "$build/Quelby/mac_x64"
cp -R "$root/data/." "$build/Quelby/"
# Each slice keeps the signature its linker gave it.
llvm-lipo-14 -create -output "$build/Quelby/mac_x64/Quelby.xpl" "${slices[@]}"
bash "$root/tools/macos/check.sh" "$build/Quelby/mac_x64/Quelby.xpl"
