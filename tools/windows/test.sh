#!/usr/bin/env bash
# The Windows build under Wine: cross-builds it (tools/windows/build.sh),
# checks what the plug-in DLL imports and exports, runs the tests of the code
# that differs per system, then flies the demo flight with the Windows
# plug-in, the Windows emulated X-Plane and the Windows demo under Wine,
# against the stand-in website, which runs as the Linux program on
# 127.0.0.1. Needs the Linux build's quelby-website (tools/test.sh makes it).
#   tools/windows/test.sh
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
build="${QUELBY_WINDOWS_BUILD_DIR:-$root/build-windows}"
website="${QUELBY_WEBSITE_PROGRAM:-$root/build/testbed/website/quelby-website}"
wine="${QUELBY_WINE:-$(command -v wine64 || echo /usr/lib/wine/wine64)}"
export WINEPREFIX="${WINEPREFIX:-${QUELBY_CACHE:-$HOME/.cache/quelby}/wine-prefix}"
export WINEDEBUG="${WINEDEBUG:--all}"

bash "$root/tools/windows/build.sh"
echo "== the Windows plug-in's imports and exports"
bash "$root/tools/windows/check-imports.sh" "$build/Quelby/win_x64/Quelby.xpl"

if [ ! -x "$website" ]; then
  echo "tools/windows/test.sh: $website is not built (run tools/test.sh first)" >&2
  exit 1
fi
if [ ! -f "$WINEPREFIX/system.reg" ]; then
  echo "== Wine's prefix (first run only): $WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  "$wine" wineboot -i >/dev/null 2>&1 || true
fi

sites=()
stop_sites() {
  for pid in "${sites[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
}
trap stop_sites EXIT
# Starts a quelby-website --demo on a port the system picks; sets $site_url.
start_site() {
  local log
  log="$(mktemp)"
  "$website" --demo >"$log" 2>&1 &
  sites+=("$!")
  for _ in $(seq 1 100); do
    site_url="$(sed -n 's|^listening on http://||p' "$log")"
    [ -n "$site_url" ] && break
    sleep 0.1
  done
  rm -f "$log"
  [ -n "$site_url" ] || { echo "quelby-website did not start" >&2; exit 1; }
}

echo "== tests under Wine"
start_site
QUELBY_TEST_WEBSITE="$site_url" "$wine" "$build/bin/quelby_tests_windows.exe"

echo "== the demo flight under Wine"
start_site
out="$build/demo-run"
rm -rf "$out"
begin=$(date +%s)
"$wine" "$build/bin/quelby-demo.exe" --website "$site_url" --no-pictures --out "$out" \
  --plugin "$build/Quelby/win_x64/Quelby.xpl"
echo "the demo flight under Wine took $(( $(date +%s) - begin )) s"
