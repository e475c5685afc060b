#!/usr/bin/env bash
# Runs inside the Debian 11 build root: fetches the Debian source package of
# libcurl and builds it as a static, position-independent archive into PREFIX
# with only what the plug-in uses: HTTP and HTTPS over OpenSSL, without
# compression, IDN, HTTP/2, SSH, LDAP or Kerberos, each of which would bring a
# library that a pilot's machine may lack. OpenSSL and pugixml come as static
# archives with Debian's own packages.
# The stamp PREFIX/.built holds KEY, the recipe's key, once all is built.
# Usage: build-deps.sh PREFIX KEY
set -euo pipefail
prefix="$1"
recipe="$2"
stamp="$prefix/.built"
jobs="$(nproc)"
work="$(mktemp -d /tmp/quelby-deps.XXXXXX)"
trap 'rm -rf "$work"' EXIT
cd "$work"

# The source package of the same release as the build root. apt checks its
# files against the signed release index; the maintainer's own signature on
# the .dsc would need Debian's keyring, which says nothing more.
apt-get source -qq --download-only curl >/dev/null 2>&1 || apt-get source --download-only curl
dpkg-source --no-check -x curl_*.dsc >/dev/null

echo "== libcurl $(ls -d curl-*/ | sed 's|curl-||; s|/||')"
cd curl-*/
CFLAGS="-O2 -fPIC" ./configure --quiet --prefix="$prefix" --disable-shared --enable-static \
  --with-pic --with-ssl --without-zlib --without-brotli --without-zstd --without-libidn2 \
  --without-librtmp --without-libssh2 --without-nghttp2 --without-libpsl --without-gssapi \
  --disable-ldap --disable-ldaps --disable-rtsp --disable-dict --disable-telnet --disable-tftp \
  --disable-pop3 --disable-imap --disable-smb --disable-smtp --disable-gopher --disable-mqtt \
  --disable-ftp --disable-file --disable-cookies --disable-manual --without-ca-bundle --without-ca-path \
  --with-ca-fallback
make -s -j"$jobs" -C lib >/dev/null
make -s -C lib install >/dev/null
make -s -C include install >/dev/null

echo "$recipe" >"$stamp"
echo "release libraries: built in $prefix"
ls "$prefix/lib"/*.a
