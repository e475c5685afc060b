#!/usr/bin/env bash
# Installs the Debian packages the project needs, skipping those already there.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
mapfile -t wanted < <(grep -v -E '^\s*(#|$)' "$here/packages.txt")
missing=()
for pkg in "${wanted[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$pkg")
  fi
done
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
if [ "${#missing[@]}" -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "All packages present."
fi
# A German locale lets the tests check number parsing under a comma decimal separator.
if ! locale -a 2>/dev/null | grep -qi '^de_DE.utf8$'; then
  if [ -f /etc/locale.gen ]; then
    "${sudo_cmd[@]}" sed -i 's/^# *de_DE.UTF-8 UTF-8/de_DE.UTF-8 UTF-8/' /etc/locale.gen
    "${sudo_cmd[@]}" locale-gen >/dev/null || echo "note: de_DE.UTF-8 locale not generated"
  fi
fi
