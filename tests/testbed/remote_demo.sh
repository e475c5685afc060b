#!/usr/bin/env bash
# Flies the demo against a stand-in website in another process, as the
# Windows demo does against the Linux one: starts "quelby-website --demo" on a
# free port, runs the demo command with --website at it, and stops the site.
#   remote_demo.sh WEBSITE OUT DEMO [DEMO OPTIONS...]
# WEBSITE: the quelby-website program; OUT: a folder for the site's log and the
# demo's files; DEMO and its options: the demo command (e.g. wine quelby-demo.exe).
# Exits with the demo's status.
set -euo pipefail
[[ $# -ge 3 ]] || { echo "usage: remote_demo.sh WEBSITE OUT DEMO [DEMO OPTIONS...]" >&2; exit 2; }
website=$1
out=$2
shift 2
mkdir -p "$out"
log="$out/website.log"
"$website" --demo >"$log" 2>&1 &
site=$!
trap 'kill "$site" 2>/dev/null || true; wait "$site" 2>/dev/null || true' EXIT

port=""
for _ in $(seq 100); do
  port=$(sed -n 's|^listening on http://127\.0\.0\.1:\([0-9][0-9]*\)$|\1|p' "$log")
  [[ -n $port ]] && break
  if ! kill -0 "$site" 2>/dev/null; then
    echo "remote_demo.sh: quelby-website ended before it listened:" >&2
    cat "$log" >&2
    exit 1
  fi
  sleep 0.1
done
if [[ -z $port ]]; then
  echo "remote_demo.sh: quelby-website never said where it listens" >&2
  exit 1
fi
echo "quelby-website --demo listens on 127.0.0.1:$port"
"$@" --out "$out/demo" --website "127.0.0.1:$port"
