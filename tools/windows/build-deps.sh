#!/usr/bin/env bash
# Cross-builds with MinGW-w64 the libraries the Windows plug-in links in, from
# Debian 12's source packages, into PREFIX as static archives:
#   libcurl   HTTP and HTTPS through Windows' own TLS (Schannel) and
#             certificate store, nothing else
#   pugixml   the rule file's XML
# The header-only libraries (Boost's parts, SimpleIni, OpenAL's headers) are
# the build machine's own and are linked into PREFIX/include.
# The stamp PREFIX/.built holds KEY, the recipe's key, once all is built.
# Usage: build-deps.sh PREFIX KEY
set -euo pipefail
prefix="$1"
recipe="$2"
host=x86_64-w64-mingw32
jobs="${QUELBY_JOBS:-2}"
mirror="${QUELBY_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
work="$(mktemp -d /tmp/quelby-windeps.XXXXXX)"
trap 'rm -rf "$work"' EXIT
rm -rf "$prefix"
mkdir -p "$prefix/include" "$prefix/lib"

# Source packages through a private apt list, so that the machine's own
# sources stay untouched; apt checks every file against the signed index.
mkdir -p "$work/apt/lists/partial" "$work/src"
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
printf 'deb-src [signed-by=%s] %s bookworm main\n' "$keyring" "$mirror" >"$work/apt/sources.list"
apt_opts=(-o "Dir::Etc::SourceList=$work/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
  -o "Dir::State::Lists=$work/apt/lists" -o APT::Sandbox::User=root)
apt-get "${apt_opts[@]}" -qq update
cd "$work/src"
apt-get "${apt_opts[@]}" -qq source --download-only curl pugixml >/dev/null
dpkg-source --no-check -x curl_*.dsc >/dev/null
dpkg-source --no-check -x pugixml_*.dsc >/dev/null

echo "== libcurl $(ls -d curl-*/ | sed 's|curl-||; s|/||') for Windows"
(
  cd curl-*/
  ./configure --quiet --host="$host" --prefix="$prefix" --disable-shared --enable-static \
    --with-schannel --without-zlib --without-brotli --without-zstd \
    --without-libidn2 --without-librtmp --without-libssh2 --without-nghttp2 --without-libpsl \
    --without-gssapi --disable-ldap --disable-ldaps --disable-rtsp --disable-dict \
    --disable-telnet --disable-tftp --disable-pop3 --disable-imap --disable-smb --disable-smtp \
    --disable-gopher --disable-mqtt --disable-ftp --disable-file --disable-cookies \
    --disable-manual --disable-ntlm \
    --disable-alt-svc --disable-hsts --without-ca-bundle --without-ca-path CC="$host-gcc-posix" CFLAGS="-O2"
  make -s -j"$jobs" -C lib >/dev/null
  make -s -C lib install >/dev/null
  make -s -C include install >/dev/null
)

echo "== pugixml $(ls -d pugixml-*/ | sed 's|pugixml-||; s|/||') for Windows"
(
  cd pugixml-*/src
  "$host-g++-posix" -O2 -std=c++17 -c pugixml.cpp -o pugixml.o
  "$host-ar" rcs "$prefix/lib/libpugixml.a" pugixml.o
  cp pugixml.hpp pugiconfig.hpp "$prefix/include/"
)

# Header-only libraries: the same headers as the Linux build.
ln -sfn /usr/include/boost "$prefix/include/boost"
ln -sfn /usr/include/AL "$prefix/include/AL"
ln -sfn /usr/include/SimpleIni.h "$prefix/include/SimpleIni.h"

echo "$recipe" >"$prefix/.built"
echo "Windows libraries: built in $prefix"
ls "$prefix/lib"/*.a
