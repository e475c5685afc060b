#!/usr/bin/env bash
# Makes the release zip for pilots: build/release/Quelby-v<version>.zip, whose
# Quelby/lin_x64/Quelby.xpl loads on any 64-bit Linux from glibc 2.31
# (Debian 11, Ubuntu 20.04 and everything newer), Quelby/win_x64/Quelby.xpl
# on 64-bit Windows and Quelby/mac_x64/Quelby.xpl on macOS 11 and newer, Intel
# and Apple Silicon, all with nothing to install. The Windows one is
# cross-built with MinGW-w64 (tools/windows/build.sh), the macOS one with Zig
# and ld64.lld (tools/macos/build.sh).
#
# It builds inside a Debian 11 root made with debootstrap from Debian's
# package registry, with that release's compiler and C library; OpenSSL and
# pugixml come from its packages as static archives, libcurl is built there
# from Debian's source package, and the C++ runtime is linked in. OpenAL is
# the pilot's own, opened when the plug-in runs. The root is kept in
# $QUELBY_CACHE (default ~/.cache/quelby) under a name keyed by what goes into
# it, so only the first run pays for it. Needs root (debootstrap, chroot):
# run by another user, it runs itself again with sudo, and gives the files it
# made in the checkout back to that user.
#
#   tools/release.sh           build the zip and check the binary's needs
#   tools/release.sh --prove   also load it in a bare Debian 11 and log in
#                              (tools/release/prove-bare.sh)
#   tools/release.sh --prepare only what a first run fetches and builds once:
#                              the two Debian 11 roots and the libraries built
#                              in one (CI runs it beside the tests)
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
here="$root/tools/release"
cache="${QUELBY_CACHE:-$HOME/.cache/quelby}"
out="$root/build/release"
mirror="${QUELBY_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
prove=0
prepare=0
case "${1:-}" in
  --prove) prove=1 ;;
  --prepare) prepare=1 ;;
esac

if [ "$(id -u)" -ne 0 ]; then
  # The settings this script and the builds it runs read, passed on.
  settings=()
  for name in QUELBY_CACHE QUELBY_JOBS QUELBY_DEBIAN_MIRROR QUELBY_WINDOWS_BUILD_DIR \
    QUELBY_MACOS_BUILD_DIR QUELBY_WEBSITE; do
    if [ -n "${!name:-}" ]; then settings+=("$name=${!name}"); fi
  done
  echo "tools/release.sh: debootstrap and chroot need root; running again with sudo" >&2
  # root's own home, so that root's files stay out of the user's cache.
  exec sudo -H env "${settings[@]}" bash "${BASH_SOURCE[0]}" "$@"
fi
# Run through sudo: what lands in the checkout belongs to the one who asked.
give_back() {
  if [ -n "${SUDO_UID:-}" ] && [ "${SUDO_UID}" != 0 ]; then
    local path
    for path in "$root/build/release" "${QUELBY_WINDOWS_BUILD_DIR:-$root/build-windows}" \
      "${QUELBY_MACOS_BUILD_DIR:-$root/build-macos}"; do
      if [ -e "$path" ]; then chown -R "$SUDO_UID:$SUDO_GID" "$path"; fi
    done
    chown "$SUDO_UID:$SUDO_GID" "$root/build" 2>/dev/null || true
  fi
}
command -v debootstrap >/dev/null || bash "$root/tools/setup.sh"

packages="$(grep -v -E '^\s*(#|$)' "$here/build-root-packages.txt" | paste -sd, -)"
# The root is keyed by its packages, the libraries built in it by their recipe.
key="$(sha256sum <"$here/build-root-packages.txt" | cut -c1-12)"
recipe="$(sha256sum <"$here/build-deps.sh" | cut -c1-12)"
buildroot="$cache/bullseye-build-$key"

source "$here/chroot.sh"
# At the end, however it ends: chroot.sh's unmounting, then the giving back.
trap 'chroot_unmount_all; give_back' EXIT

# What a first run makes is made once: another run making it (CI prepares
# it beside the tests) is waited for.
mkdir -p "$cache"
exec 8>"$cache/.build-root.lock"
flock 8
if [ ! -f "$buildroot/.debootstrapped" ]; then
  echo "== Debian 11 build root (first run only): $buildroot"
  rm -rf "$buildroot"
  debootstrap --variant=minbase --include="$packages" bullseye "$buildroot" "$mirror" \
    >"$cache/debootstrap-build.log" 2>&1 ||
    { tail -20 "$cache/debootstrap-build.log"; exit 1; }
  printf 'deb %s bullseye main\ndeb-src %s bullseye main\n' "$mirror" "$mirror" \
    >"$buildroot/etc/apt/sources.list"
  touch "$buildroot/.debootstrapped"
fi
if [ "$(cat "$buildroot/opt/quelby-deps/.built" 2>/dev/null)" != "$recipe" ]; then
  echo "== libcurl from Debian 11's source package"
  chroot_enter "$buildroot"
  chroot "$buildroot" apt-get update -qq
  install -m 755 "$here/build-deps.sh" "$buildroot/usr/local/bin/quelby-build-deps"
  rm -rf "$buildroot/opt/quelby-deps"
  chroot "$buildroot" /usr/local/bin/quelby-build-deps /opt/quelby-deps "$recipe"
  chroot_leave "$buildroot"
fi

# Debian 11's SimpleIni header wants a ConvertUTF.h that its package lacks;
# Debian 12's header (4.19) is whole and reads the same files.
if [ ! -f "$buildroot/opt/quelby-deps/include/SimpleIni.h" ]; then
  fetched="$(mktemp -d)"
  (cd "$fetched" && apt-get download -qq libsimpleini-dev >/dev/null && dpkg-deb -x libsimpleini-dev_*.deb x)
  install -D -m 644 "$fetched/x/usr/include/SimpleIni.h" "$buildroot/opt/quelby-deps/include/SimpleIni.h"
  rm -rf "$fetched"
fi

exec 8>&-

if [ "$prepare" -eq 1 ]; then
  make_bare_root "$cache" "$mirror"
  echo "release.sh: the Debian 11 roots are ready in $cache"
  exit 0
fi

echo "== release build in Debian 11"
chroot_enter "$buildroot"
mkdir -p "$buildroot/src"
mount --bind "$root" "$buildroot/src"
mount -o remount,bind,ro "$buildroot/src"
chroot_also_unmount "$buildroot/src"
chroot "$buildroot" cmake -S /src -B /build/release -DCMAKE_BUILD_TYPE=Release \
  -DQUELBY_STATIC_RELEASE=ON -DQUELBY_DEPS_PREFIX=/opt/quelby-deps -DQUELBY_WERROR=ON >/dev/null
chroot "$buildroot" cmake --build /build/release -j"${QUELBY_JOBS:-2}"
chroot_leave "$buildroot"

rm -rf "$out"
mkdir -p "$out/testbed"
cp "$buildroot"/build/release/Quelby-v*-lin_x64.zip "$out/"
cp "$buildroot/build/release/testbed/simulator/quelby-testbed" \
  "$buildroot/build/release/testbed/simulator/libxplane_testbed.so" "$out/testbed/"
zip="$(ls "$out"/Quelby-v*-lin_x64.zip)"

echo "== what the plug-in needs"
mkdir -p "$out/unpacked"
(cd "$out/unpacked" && cmake -E tar xf "$zip")
bash "$here/check-needs.sh" "$out/unpacked/Quelby/lin_x64/Quelby.xpl"

echo "== the Windows plug-in, cross-built with MinGW-w64"
bash "$root/tools/windows/build.sh" --target Quelby
windll="${QUELBY_WINDOWS_BUILD_DIR:-$root/build-windows}/Quelby/win_x64/Quelby.xpl"
bash "$root/tools/windows/check-imports.sh" "$windll"

echo "== the macOS plug-in, cross-built with Zig and ld64.lld, checked as a Mac would"
bash "$root/tools/macos/build.sh"
macxpl="${QUELBY_MACOS_BUILD_DIR:-$root/build-macos}/Quelby/mac_x64/Quelby.xpl"

# One zip for every pilot: the three binaries beside the shared data folder,
# in X-Plane's layout for a plug-in with several platforms.
mkdir -p "$out/unpacked/Quelby/win_x64" "$out/unpacked/Quelby/mac_x64"
cp "$windll" "$out/unpacked/Quelby/win_x64/"
cp "$macxpl" "$out/unpacked/Quelby/mac_x64/"
rm -f "$zip"
zip="$out/$(basename "$zip" -lin_x64.zip).zip"
(cd "$out/unpacked" && cmake -E tar cf "$zip" --format=zip Quelby)
echo "release: $zip ($(stat -c %s "$zip") bytes)"
(cd "$out/unpacked" && find Quelby -type f | sort | sed 's/^/  /')

echo "== the macOS plug-in as the zip holds it"
mkdir -p "$out/from-zip"
(cd "$out/from-zip" && cmake -E tar xf "$zip")
bash "$root/tools/macos/check.sh" "$out/from-zip/Quelby/mac_x64/Quelby.xpl"

if [ "$prove" -eq 1 ]; then
  bash "$here/prove-bare.sh" "$zip" "$out/testbed"
fi
