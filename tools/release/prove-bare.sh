#!/usr/bin/env bash
# Proves the release zip on a machine that has nothing but a bare Debian 11
# (debootstrap minbase, nothing added): unpacks it into a fresh X-Plane folder
# there, and the emulated X-Plane (built in Debian 11 by tools/release.sh)
# loads the plug-in, starts it, shows its window, logs in against the
# stand-in website on 127.0.0.1 and stops it. Fails unless all of that works
# and the plug-in misused nothing.
# Usage: prove-bare.sh RELEASE.zip TESTBED_DIR   (run by tools/release.sh --prove)
set -euo pipefail
zip="$(realpath "$1")"
testbed="$(realpath "$2")"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
cache="${QUELBY_CACHE:-$HOME/.cache/quelby}"
mirror="${QUELBY_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
bare="$cache/bullseye-bare-minbase"
website="${QUELBY_WEBSITE:-$root/build/testbed/website/quelby-website}"

source "$root/tools/release/chroot.sh"

if [ ! -x "$website" ]; then
  echo "prove-bare: the stand-in website is not built ($website); run tools/test.sh first" >&2
  exit 1
fi
make_bare_root "$cache" "$mirror"

# A fresh X-Plane folder and the emulated X-Plane; nothing else is added.
xplane="$bare/xplane"
rm -rf "$xplane" "$bare/opt/quelby-testbed"
mkdir -p "$xplane/Resources/plugins" "$bare/opt/quelby-testbed"
(cd "$xplane/Resources/plugins" && cmake -E tar xf "$zip")
cp "$testbed"/* "$bare/opt/quelby-testbed/"

log="$(mktemp)"
"$website" --demo >"$log" 2>&1 &
site=$!
cleanup() { kill "$site" 2>/dev/null || true; wait "$site" 2>/dev/null || true; rm -f "$log"; chroot_unmount_all; }
trap cleanup EXIT
for _ in $(seq 1 100); do
  grep -q "listening on" "$log" && break
  sleep 0.1
done
url="$(sed -n 's|^listening on http://||p' "$log")"
if [ -z "$url" ]; then
  echo "prove-bare: the stand-in website did not start:"; cat "$log"; exit 1
fi
printf '[server]\nPrimary = %s\n' "$url" >"$xplane/quelby.ini"

# As X-Plane 12 the sounds go through X-Plane's mixer; as X-Plane 11 through
# OpenAL, which the bare system has not: one line says so, and nothing else
# fails.
for version in 12 11; do
  echo "== the release in a bare Debian 11 as X-Plane $version: load, start, show, log in at $url, stop"
  chroot_enter "$bare"
  set +e
  chroot "$bare" env LD_LIBRARY_PATH=/opt/quelby-testbed /opt/quelby-testbed/quelby-testbed \
    --plugin /xplane/Resources/plugins/Quelby/lin_x64/Quelby.xpl --root /xplane \
    --login demo:demo --frames 30 --xplane "$version" | tee "$cache/prove-bare.out" | grep -v '^  ('
  status=${PIPESTATUS[0]}
  set -e
  chroot_leave "$bare"
  echo "-- from the plug-in's log:"
  grep -E "Version:|Server:|init alure|Sounds play|Error" "$xplane/quelby_debug.txt" | sed 's/^/   /' | head -n 12
  if [ "$version" = 12 ]; then
    sound_lines="$(grep -c "Sounds play through X-Plane's mixer" "$xplane/quelby_debug.txt" || true)"
  else
    sound_lines="$(grep -c "OpenAL is not installed" "$xplane/quelby_debug.txt" || true)"
  fi
  if [ "$status" -ne 0 ] || ! grep -q "^login: *logged in" "$cache/prove-bare.out" ||
     ! grep -q "^XPluginStop:" "$cache/prove-bare.out" || [ "$sound_lines" != 1 ]; then
    echo "prove-bare: FAILED as X-Plane $version (exit $status, $sound_lines lines on the sound's way)"
    exit 1
  fi
done
echo "prove-bare: the release loaded, logged in and stopped in a bare Debian 11, as X-Plane 12 and 11"
