#!/usr/bin/env bash
# Gathers into PREFIX what the macOS plug-in compiles in besides its own code:
#   pugixml   the rule file's XML: its source from Debian 12's source package,
#             compiled by the build for each architecture
#   headers   Boost's header-only parts, SimpleIni, OpenAL's and libcurl's
#             API headers, linked from the build machine's packages; the
#             libraries behind the last two are macOS's own
# Only these are linked into PREFIX/include, so that no header of the build
# machine's C library can meet macOS's.
# The stamp PREFIX/.built holds KEY, the recipe's key, once all is there.
# Usage: build-deps.sh PREFIX KEY
set -euo pipefail
prefix="$1"
recipe="$2"
mirror="${QUELBY_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
work="$(mktemp -d /tmp/quelby-macdeps.XXXXXX)"
trap 'rm -rf "$work"' EXIT
rm -rf "$prefix"
mkdir -p "$prefix/include" "$prefix/src"

# The source package through a private apt list, so that the machine's own
# sources stay untouched; apt checks every file against the signed index.
mkdir -p "$work/apt/lists/partial" "$work/src"
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
printf 'deb-src [signed-by=%s] %s bookworm main\n' "$keyring" "$mirror" >"$work/apt/sources.list"
apt_opts=(-o "Dir::Etc::SourceList=$work/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
  -o "Dir::State::Lists=$work/apt/lists" -o APT::Sandbox::User=root)
apt-get "${apt_opts[@]}" -qq update
cd "$work/src"
apt-get "${apt_opts[@]}" -qq source --download-only pugixml >/dev/null
dpkg-source --no-check -x pugixml_*.dsc >/dev/null
echo "pugixml $(ls -d pugixml-*/ | sed 's|pugixml-||; s|/||')"
cp pugixml-*/src/pugixml.cpp "$prefix/src/"
cp pugixml-*/src/pugixml.hpp pugixml-*/src/pugiconfig.hpp "$prefix/include/"

# Header-only libraries and API headers: the same as the Linux build's.
curl_headers="$(dirname "$(dpkg -L libcurl4-openssl-dev | grep '/curl/curl\.h$' | head -n 1)")"
ln -sfn /usr/include/boost "$prefix/include/boost"
ln -sfn /usr/include/AL "$prefix/include/AL"
ln -sfn /usr/include/SimpleIni.h "$prefix/include/SimpleIni.h"
ln -sfn "$curl_headers" "$prefix/include/curl"

echo "$recipe" >"$prefix/.built"
echo "macOS libraries' sources and headers: $prefix"
